#include "ui/XSubClassCtrl.h"

#include "process/WinString.h"
#include "ui/GdiObjects.h"

namespace wm {

namespace {
const wchar_t kObjectProperty[] = L"wm.XSubClassCtrl";
constexpr COLORREF kLinkColour = RGB(0, 102, 204);
} // namespace

XSubClassCtrl::~XSubClassCtrl() {
    if (control_ && ::IsWindow(control_)) {
        ::SetWindowLongPtrW(control_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(original_));
        ::RemovePropW(control_, kObjectProperty);
    }
}

bool XSubClassCtrl::Create(const wchar_t* systemClass, StringView text, DWORD style, HWND parent,
                           int id) {
    String caption(text);
    control_ = ::CreateWindowExW(0, systemClass, W(caption), WS_CHILD | WS_VISIBLE | style, 0, 0, 0,
                                 0, parent, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)),
                                 ::GetModuleHandleW(nullptr), nullptr);
    if (!control_)
        return false;
    ::SetPropW(control_, kObjectProperty, this);
    original_ = reinterpret_cast<WNDPROC>(
        ::SetWindowLongPtrW(control_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Dispatch)));
    return true;
}

void XSubClassCtrl::Place(const RECT& r) {
    ::MoveWindow(control_, r.left, r.top, r.right - r.left, r.bottom - r.top, TRUE);
}

void XSubClassCtrl::SetFont(HFONT font) {
    ::SendMessageW(control_, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
}

LRESULT XSubClassCtrl::OnMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    return CallOriginal(message, wParam, lParam);
}

LRESULT XSubClassCtrl::CallOriginal(UINT message, WPARAM wParam, LPARAM lParam) {
    return ::CallWindowProcW(original_, control_, message, wParam, lParam);
}

LRESULT CALLBACK XSubClassCtrl::Dispatch(HWND control, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* self = static_cast<XSubClassCtrl*>(::GetPropW(control, kObjectProperty));
    if (!self)
        return ::DefWindowProcW(control, message, wParam, lParam);
    if (message == WM_NCDESTROY) {
        ::RemovePropW(control, kObjectProperty);
        ::SetWindowLongPtrW(control, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(self->original_));
        LRESULT result = self->CallOriginal(message, wParam, lParam);
        self->control_ = nullptr;
        return result;
    }
    return self->OnMessage(message, wParam, lParam);
}

bool XLinkCtrl::Create(StringView text, HWND parent, int id, std::function<void()> onClick) {
    text_ = String(text);
    onClick_ = std::move(onClick);
    return XSubClassCtrl::Create(L"STATIC", text, SS_NOTIFY | WS_TABSTOP, parent, id);
}

void XLinkCtrl::Paint() {
    XPaintDC dc(Handle());
    RECT r;
    ::GetClientRect(Handle(), &r);
    HBRUSH background = reinterpret_cast<HBRUSH>(
        ::SendMessageW(::GetParent(Handle()), WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(dc.get()),
                       reinterpret_cast<LPARAM>(Handle())));
    ::FillRect(dc.get(), &r, background ? background : ::GetSysColorBrush(COLOR_WINDOW));
    XSelectObject font(dc.get(),
                       font_ ? static_cast<HGDIOBJ>(font_) : ::GetStockObject(DEFAULT_GUI_FONT));
    ::SetBkMode(dc.get(), TRANSPARENT);
    ::SetTextColor(dc.get(), kLinkColour);
    ::DrawTextW(dc.get(), W(text_), static_cast<int>(text_.size()), &r,
                DT_LEFT | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
    if (::GetFocus() == Handle()) {
        RECT focus = r;
        ::DrawTextW(dc.get(), W(text_), static_cast<int>(text_.size()), &focus,
                    DT_LEFT | DT_SINGLELINE | DT_NOPREFIX | DT_CALCRECT);
        ::OffsetRect(&focus, 0, (r.bottom - focus.bottom) / 2);
        ::DrawFocusRect(dc.get(), &focus);
    }
}

LRESULT XLinkCtrl::OnMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_PAINT:
        Paint();
        return 0;
    case WM_SETCURSOR:
        ::SetCursor(::LoadCursorW(nullptr, IDC_HAND));
        return TRUE;
    case WM_SETFOCUS:
    case WM_KILLFOCUS:
        ::InvalidateRect(Handle(), nullptr, TRUE);
        break;
    case WM_GETDLGCODE: {
        // Enter on a focused link opens it rather than pressing the default button.
        const auto* key = reinterpret_cast<const MSG*>(lParam);
        if (key && key->message == WM_KEYDOWN && key->wParam == VK_RETURN)
            return DLGC_WANTMESSAGE;
        return DLGC_BUTTON;
    }
    case WM_LBUTTONUP:
        if (onClick_)
            onClick_();
        return 0;
    case WM_KEYDOWN:
        if ((wParam == VK_RETURN || wParam == VK_SPACE) && onClick_) {
            onClick_();
            return 0;
        }
        break;
    default:
        break;
    }
    return CallOriginal(message, wParam, lParam);
}

} // namespace wm
