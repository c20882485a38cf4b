#include "ui/XWindow.h"

#include "process/WinString.h"

namespace wm {

namespace {

bool RegisterOnce(const wchar_t* className) {
    HINSTANCE instance = ::GetModuleHandleW(nullptr);
    WNDCLASSEXW wc{};
    wc.cbSize = sizeof wc;
    if (::GetClassInfoExW(instance, className, &wc))
        return true;
    wc.lpfnWndProc = &XWindow::Dispatch;
    wc.hInstance = instance;
    wc.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
    wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    wc.hIcon = ::LoadIconW(nullptr, IDI_APPLICATION);
    wc.lpszClassName = className;
    return ::RegisterClassExW(&wc) != 0;
}

} // namespace

XWindow::~XWindow() {
    if (window_ && ::IsWindow(window_))
        ::DestroyWindow(window_);
}

bool XWindow::Create(const wchar_t* className, StringView title, DWORD style, DWORD exStyle,
                     const RECT& bounds) {
    if (!RegisterOnce(className))
        return false;
    String text(title);
    // The object travels in the creation parameters, so WM_CREATE already reaches OnMessage.
    ::CreateWindowExW(exStyle, className, W(text), style, bounds.left, bounds.top,
                      bounds.right - bounds.left, bounds.bottom - bounds.top, nullptr, nullptr,
                      ::GetModuleHandleW(nullptr), this);
    return window_ != nullptr;
}

void XWindow::RunModal() {
    MSG message;
    while (window_ && ::IsWindow(window_) && ::GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (!::IsDialogMessageW(window_, &message)) {
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
    }
}

LRESULT XWindow::OnMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    return ::DefWindowProcW(window_, message, wParam, lParam);
}

LRESULT CALLBACK XWindow::Dispatch(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* self = reinterpret_cast<XWindow*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == WM_NCCREATE) {
        self = static_cast<XWindow*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
        self->window_ = window;
        ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
    }
    if (!self)
        return ::DefWindowProcW(window, message, wParam, lParam);
    LRESULT result = self->OnMessage(message, wParam, lParam);
    if (message == WM_NCDESTROY) {
        ::SetWindowLongPtrW(window, GWLP_USERDATA, 0);
        self->window_ = nullptr;
    }
    return result;
}

RECT CentredWindowRect(SIZE client, DWORD style, DWORD exStyle) {
    RECT frame{0, 0, client.cx, client.cy};
    ::AdjustWindowRectEx(&frame, style, FALSE, exStyle);
    RECT work{0, 0, 1024, 768};
    ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    const LONG width = frame.right - frame.left, height = frame.bottom - frame.top;
    const LONG left = work.left + (work.right - work.left - width) / 2;
    const LONG top = work.top + (work.bottom - work.top - height) / 2;
    return {left, top, left + width, top + height};
}

} // namespace wm
