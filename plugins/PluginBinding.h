// What the three bindings share: one table of entry points, the one instance the library
// created, and the load / create / destroy / unload steps around them. A binding supplies its
// entry-point record (with a Table() of {export name, slot}) and its thin calls.
#pragma once

#include "crash/ForeignCall.h"
#include "plugins/XDLL.h"
#include "sdk/wavemill_plugin.h"

#include <cstdint>

namespace wm {

template <class EntryPointRecord> class PluginBinding : public XDLL {
  public:
    using EntryPoints = EntryPointRecord;

    ~PluginBinding() override { DestroyInstance(); }

    bool Load(const String& path) override {
        const auto table = entry_.Table();
        return LoadAndResolve(path, table);
    }

    // Destroys any current instance, then calls the create entry; true when an instance came back.
    bool CreateInstance(void* hostContext) {
        DestroyInstance();
        if (entry_.create) {
            ScopedForeignCall mark(reinterpret_cast<const void*>(entry_.create));
            instance_ = entry_.create(hostContext);
        }
        return instance_ != nullptr;
    }

    // Calls the destroy entry when there is an instance; the instance is forgotten in any case.
    void DestroyInstance() {
        if (instance_ && entry_.destroy) {
            ScopedForeignCall mark(reinterpret_cast<const void*>(entry_.destroy));
            entry_.destroy(instance_);
        }
        instance_ = nullptr;
    }

    // Destroys the instance, frees any library, clears the entry points, then loads `path`.
    bool Reload(const String& path) {
        Unload();
        return Load(path);
    }

    // Destroys the instance, frees the library and clears the entry points.
    virtual void Unload() {
        DestroyInstance();
        FreeLibrary();
        entry_ = {};
    }

    const EntryPoints& Entries() const { return entry_; }

    // The named values every kind of plug-in answers; thin calls like the bindings' own.
    uint32_t Get(const char16_t* name, PluginValue* value) { return Call(entry_.get, name, value); }
    uint32_t Set(const char16_t* name, PluginValue* value) { return Call(entry_.set, name, value); }

    // The plug-in's own words for its last failure ("LastError"); empty when it has none.
    String LastError() {
        PluginValue value{};
        if (!Get(WM_VALUE_LAST_ERROR, &value) || !value.pointer1)
            return {};
        return String(static_cast<const char16_t*>(value.pointer1));
    }

    // The plug-in's lines that are not errors ("Information"), asked once the run has ended; a
    // plug-in that never says "no more" is cut off.
    StringList Information() {
        StringList lines;
        for (uint32_t index = 0; index < 64; ++index) {
            PluginValue value{};
            value.value1 = index;
            if (!Get(WM_VALUE_INFORMATION, &value) || !value.pointer1)
                break;
            lines.emplace_back(static_cast<const char16_t*>(value.pointer1));
        }
        return lines;
    }

  protected:
    // The guard of every thin call: 0 without calling anything when there is no instance or no
    // entry point. The call is marked so that a crash inside it names the plug-in and the call.
    template <class Fn, class... Args> uint32_t Call(Fn fn, Args... args) {
        if (!instance_ || !fn)
            return 0;
        ScopedForeignCall mark(reinterpret_cast<const void*>(fn));
        return fn(instance_, args...);
    }

    EntryPoints entry_;

  private:
    void* instance_ = nullptr;
};

} // namespace wm
