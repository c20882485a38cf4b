// A standard control (button, static...) whose messages pass through a C++ object first, so
// that a derived class can change how it looks or acts and leave the rest to the system.
#pragma once

#include "text/String.h"

#include <windows.h>

#include <functional>

namespace wm {

// Required name (README, Glossary): "X" marks the toolkit and system wrappers.
class XSubClassCtrl {
  public:
    XSubClassCtrl() = default;
    virtual ~XSubClassCtrl();
    XSubClassCtrl(const XSubClassCtrl&) = delete;
    XSubClassCtrl& operator=(const XSubClassCtrl&) = delete;

    // A child of parent of the given system class; false when it cannot be made.
    bool Create(const wchar_t* systemClass, StringView text, DWORD style, HWND parent, int id);
    HWND Handle() const { return control_; }
    void Place(const RECT& bounds);
    void SetFont(HFONT font);

  protected:
    // Default: the control's own procedure.
    virtual LRESULT OnMessage(UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT CallOriginal(UINT message, WPARAM wParam, LPARAM lParam);

  private:
    static LRESULT CALLBACK Dispatch(HWND control, UINT message, WPARAM wParam, LPARAM lParam);

    HWND control_ = nullptr;
    WNDPROC original_ = nullptr;
};

// A link: text in the link colour, underlined, with the hand cursor; it takes the keyboard
// focus and calls onClick for a click, Enter or Space.
class XLinkCtrl : public XSubClassCtrl {
  public:
    bool Create(StringView text, HWND parent, int id, std::function<void()> onClick);
    void SetLinkFont(HFONT font) {
        font_ = font;
        SetFont(font);
    }

  protected:
    LRESULT OnMessage(UINT message, WPARAM wParam, LPARAM lParam) override;

  private:
    void Paint();

    String text_;
    HFONT font_ = nullptr;
    std::function<void()> onClick_;
};

} // namespace wm
