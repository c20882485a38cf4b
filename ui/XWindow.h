// A top-level window whose messages reach a C++ object. The window class is registered on
// first use; the object must outlive its window.
#pragma once

#include "text/String.h"

#include <windows.h>

namespace wm {

// Required name (README, Glossary): "X" marks the toolkit and system wrappers.
class XWindow {
  public:
    XWindow() = default;
    virtual ~XWindow();
    XWindow(const XWindow&) = delete;
    XWindow& operator=(const XWindow&) = delete;

    // False when the class cannot be registered or the window not made (no display, say).
    bool Create(const wchar_t* className, StringView title, DWORD style, DWORD exStyle,
                const RECT& bounds);
    HWND Handle() const { return window_; }

    // Runs the message loop with dialog keyboard handling (Tab, Enter, Esc) until the window
    // is destroyed.
    void RunModal();

  protected:
    // Default: DefWindowProcW.
    virtual LRESULT OnMessage(UINT message, WPARAM wParam, LPARAM lParam);

  public:
    // The class procedure: routes every message to the object the window was made for.
    static LRESULT CALLBACK Dispatch(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    HWND window_ = nullptr;
};

// Window size for the wanted client size with this style, placed in the middle of the work
// area of the primary monitor.
RECT CentredWindowRect(SIZE client, DWORD style, DWORD exStyle);

} // namespace wm
