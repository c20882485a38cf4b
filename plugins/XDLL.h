// Base of every plug-in binding: owns one library handle and resolves a binding's entry points
// from a plain table of {export name, slot}, so that all three bindings load the same way.
#pragma once

#include "process/UniqueHandle.h"
#include "text/String.h"

#include <windows.h>

#include <span>
#include <type_traits>

namespace wm {

// Required name (README, Glossary): "X" marks the toolkit and system wrappers.
class XDLL {
  public:
    // One entry point a binding needs: its exact export name and the slot that receives it.
    struct EntryPoint {
        const char* name;
        void* slot; // address of a function-pointer member
    };

    // Builds a table entry for a typed function-pointer slot.
    template <typename Fn> static EntryPoint Slot(const char* name, Fn& slot) {
        static_assert(std::is_pointer_v<Fn> && std::is_function_v<std::remove_pointer_t<Fn>>,
                      "entry point slots are function pointers");
        static_assert(sizeof(Fn) == sizeof(FARPROC), "function pointers share one size");
        return {name, &slot};
    }

    XDLL() = default;
    virtual ~XDLL();
    XDLL(const XDLL&) = delete;
    XDLL& operator=(const XDLL&) = delete;

    // Loads the library once; a second call keeps the first library and returns the ok flag as
    // it stands. The base class resolves no entry points; PluginBinding overrides this.
    virtual bool Load(const String& path);

    bool IsLoaded() const { return module_.valid(); }
    // True only when the library loaded and every entry point of the binding resolved.
    bool LoadedOk() const { return loadedOk_; }
    HMODULE Module() const { return module_.get(); }

  protected:
    // The one resolver: loads `path` (unless a library is loaded already) and writes every slot
    // of `table`, a missing export as null. Resolution goes on after a miss so that no slot
    // keeps a stale address; any miss, or a library that does not load, makes the result false.
    bool LoadAndResolve(const String& path, std::span<const EntryPoint> table);
    // Frees the library (if any) and clears the handle and the ok flag.
    void FreeLibrary();

  private:
    UniqueModule module_;
    bool loadedOk_ = false;
};

} // namespace wm
