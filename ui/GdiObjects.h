// Small owners for the GDI objects and device contexts the windows draw with: each releases
// what it holds exactly once, however the drawing code leaves.
#pragma once

#include "process/UniqueHandle.h"
#include "text/String.h"

#include <windows.h>

namespace wm {

// A font or brush: the program's one handle owner, with DeleteObject as its close call.
namespace close_calls {
inline void GdiObject(HGDIOBJ object) {
    ::DeleteObject(object);
}
} // namespace close_calls
using XFont = unique_any<HFONT, close_calls::GdiObject, 0>;
using XBrush = unique_any<HBRUSH, close_calls::GdiObject, 0>;

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
