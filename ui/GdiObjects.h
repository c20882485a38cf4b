// Small owners for the GDI objects and device contexts the windows draw with: each releases
// what it holds exactly once, however the drawing code leaves.
#pragma once

#include "text/String.h"

#include <windows.h>

#include <utility>

namespace wm {

// A font, brush or pen, deleted with DeleteObject.
template <class Handle> class XGdiObject {
  public:
    XGdiObject() = default;
    explicit XGdiObject(Handle h) : handle_(h) {}
    ~XGdiObject() { reset(); }
    XGdiObject(const XGdiObject&) = delete;
    XGdiObject& operator=(const XGdiObject&) = delete;
    XGdiObject(XGdiObject&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    XGdiObject& operator=(XGdiObject&& other) noexcept {
        if (this != &other)
            reset(std::exchange(other.handle_, nullptr));
        return *this;
    }

    Handle get() const { return handle_; }
    explicit operator bool() const { return handle_ != nullptr; }
    void reset(Handle h = nullptr) {
        if (handle_ && handle_ != h)
            ::DeleteObject(handle_);
        handle_ = h;
    }

  private:
    Handle handle_ = nullptr;
};

using XFont = XGdiObject<HFONT>;
using XBrush = XGdiObject<HBRUSH>;

// BeginPaint/EndPaint around one WM_PAINT.
class XPaintDC {
  public:
    explicit XPaintDC(HWND window) : window_(window), dc_(::BeginPaint(window, &paint_)) {}
    ~XPaintDC() { ::EndPaint(window_, &paint_); }
    XPaintDC(const XPaintDC&) = delete;
    XPaintDC& operator=(const XPaintDC&) = delete;
    HDC get() const { return dc_; }

  private:
    HWND window_;
    PAINTSTRUCT paint_{};
    HDC dc_;
};

// GetDC/ReleaseDC, for measuring outside WM_PAINT.
class XWindowDC {
  public:
    explicit XWindowDC(HWND window) : window_(window), dc_(::GetDC(window)) {}
    ~XWindowDC() {
        if (dc_)
            ::ReleaseDC(window_, dc_);
    }
    XWindowDC(const XWindowDC&) = delete;
    XWindowDC& operator=(const XWindowDC&) = delete;
    HDC get() const { return dc_; }

  private:
    HWND window_;
    HDC dc_;
};

// Selects an object into a DC and puts the previous one back.
class XSelectObject {
  public:
    XSelectObject(HDC dc, HGDIOBJ object) : dc_(dc), previous_(::SelectObject(dc, object)) {}
    ~XSelectObject() {
        if (previous_)
            ::SelectObject(dc_, previous_);
    }
    XSelectObject(const XSelectObject&) = delete;
    XSelectObject& operator=(const XSelectObject&) = delete;

  private:
    HDC dc_;
    HGDIOBJ previous_;
};

// The system's message font (the one dialogs use, already scaled for the screen's DPI), bold
// or underlined on request.
XFont MessageFont(bool bold = false, bool underline = false);

// Size of text in the font selected into dc.
SIZE TextExtent(HDC dc, StringView text);

} // namespace wm
