#include "ui/dlgCrashReport.h"

#include "files/Folders.h"
#include "process/RunProcess.h"
#include "process/WinString.h"

#include <commctrl.h>
#include <shellapi.h>

#include <algorithm>

namespace wm {

namespace {

// Built in from the configuration (ui/CMakeLists.txt).
const wchar_t kSupportForum[] = L"" WAVEMILL_SUPPORT_FORUM;

const wchar_t kClassName[] = L"WavemillCrashReport";
constexpr DWORD kStyle = WS_POPUP | WS_CAPTION | WS_SYSMENU;
constexpr DWORD kExStyle = WS_EX_DLGMODALFRAME | WS_EX_TOPMOST | WS_EX_CONTROLPARENT;
enum : int { kIdForum = 101, kIdLocation, kIdExit };

const char16_t kIntro[] = u"Something unexpected happend which led to a crash.";
const char16_t kForum[] = u"1) Report on support forum";
const char16_t kStep2[] = u"2) Send crash dump, helping fix the issue";
const char16_t kLocation[] = u"Crash Dump Location";
const char16_t kExit[] = u"Exit";

} // namespace

// Pixel positions, all derived from the font's dialog units so the window grows with the
// system font and the screen's DPI.
struct dlgCrashReport::Layout {
    SIZE client{};
    RECT icon{}, intro{}, forum{}, step2{}, location{}, exit{}, band{};
};

dlgCrashReport::dlgCrashReport(StringView appTitle, StringView dumpPath)
    : title_(appTitle), dumpPath_(dumpPath) {}

bool dlgCrashReport::Show() {
    String caption = title_ + u" has stopped working";
    RECT start{0, 0, 100, 100};
    if (!Create(kClassName, caption, kStyle, kExStyle, start) || !CreateControls())
        return false;
    Arrange(Measure());
    ::ShowWindow(Handle(), SW_SHOW);
    ::SetForegroundWindow(Handle());
    ::SetFocus(exitButton_.Handle());
    RunModal();
    return true;
}

bool dlgCrashReport::CreateControls() {
    font_ = MessageFont();
    linkFont_ = MessageFont(false, true);
    contentBrush_.reset(::CreateSolidBrush(::GetSysColor(COLOR_WINDOW)));
    HWND self = Handle();
    bool made = intro_.Create(L"STATIC", kIntro, SS_LEFT | SS_NOPREFIX, self, -1) &&
                forumLink_.Create(kForum, self, kIdForum, [this] { OpenForum(); }) &&
                step2_.Create(L"STATIC", kStep2, SS_LEFT | SS_NOPREFIX, self, -1) &&
                locationButton_.Create(L"BUTTON", kLocation, BS_PUSHBUTTON | WS_TABSTOP, self,
                                       kIdLocation) &&
                exitButton_.Create(L"BUTTON", kExit, BS_DEFPUSHBUTTON | WS_TABSTOP, self, kIdExit);
    if (!made)
        return false;
    for (XSubClassCtrl* c : {&intro_, &step2_, &locationButton_, &exitButton_})
        c->SetFont(font_.get());
    forumLink_.SetLinkFont(linkFont_.get());
    return true;
}

dlgCrashReport::Layout dlgCrashReport::Measure() const {
    XWindowDC dc(Handle());
    XSelectObject select(dc.get(), font_.get());
    TEXTMETRICW tm{};
    ::GetTextMetricsW(dc.get(), &tm);
    // Dialog units: a quarter of the average character width, an eighth of the line height.
    auto dx = [&](int units) { return ::MulDiv(units, tm.tmAveCharWidth, 4); };
    auto dy = [&](int units) { return ::MulDiv(units, tm.tmHeight, 8); };
    auto width = [&](StringView text) { return TextExtent(dc.get(), text).cx; };
    const int line = tm.tmHeight, margin = dx(10), gap = dy(5), buttonHeight = dy(14);
    const int iconSize = ::GetSystemMetrics(SM_CXICON);

    Layout l;
    const int textLeft = margin + iconSize + dx(7);
    int y = margin;
    l.icon = {margin, y, margin + iconSize, y + iconSize};
    l.intro = {textLeft, y, textLeft + width(kIntro), y + line};
    y += line + dy(9);
    l.forum = {textLeft, y, textLeft + width(kForum) + 2, y + line};
    y += line + gap;
    l.step2 = {textLeft, y, textLeft + width(kStep2), y + line};
    y += line + gap;
    const int locationWidth = std::max<int>(dx(50), width(kLocation) + dx(16));
    l.location = {textLeft + dx(8), y, textLeft + dx(8) + locationWidth, y + buttonHeight};
    y = std::max<int>(y + buttonHeight, l.icon.bottom) + margin;

    const int contentRight = std::max({l.intro.right, l.step2.right, l.location.right});
    l.client.cx = std::max<int>(contentRight + margin, dx(230));
    const int exitWidth = std::max<int>(dx(50), width(kExit) + dx(16));
    l.band = {0, y, l.client.cx, y + dy(7) + buttonHeight + dy(7)};
    const int exitLeft = (l.client.cx - exitWidth) / 2;
    l.exit = {exitLeft, y + dy(7), exitLeft + exitWidth, y + dy(7) + buttonHeight};
    l.client.cy = l.band.bottom;
    return l;
}

void dlgCrashReport::Arrange(const Layout& l) {
    RECT window = CentredWindowRect(l.client, kStyle, kExStyle);
    ::MoveWindow(Handle(), window.left, window.top, window.right - window.left,
                 window.bottom - window.top, FALSE);
    intro_.Place(l.intro);
    forumLink_.Place(l.forum);
    step2_.Place(l.step2);
    locationButton_.Place(l.location);
    exitButton_.Place(l.exit);
    band_ = l.band;
    icon_ = l.icon;
}

void dlgCrashReport::Paint() {
    XPaintDC dc(Handle());
    RECT client;
    ::GetClientRect(Handle(), &client);
    RECT content = client;
    content.bottom = band_.top;
    ::FillRect(dc.get(), &content, contentBrush_.get());
    ::FillRect(dc.get(), &band_, ::GetSysColorBrush(COLOR_3DFACE));
    RECT edge = band_;
    edge.bottom = edge.top + 1;
    ::FillRect(dc.get(), &edge, ::GetSysColorBrush(COLOR_3DLIGHT));
    ::DrawIconEx(dc.get(), icon_.left, icon_.top, ::LoadIconW(nullptr, IDI_WARNING),
                 icon_.right - icon_.left, icon_.bottom - icon_.top, 0, nullptr, DI_NORMAL);
}

void dlgCrashReport::OpenForum() const {
    ::ShellExecuteW(Handle(), L"open", kSupportForum, nullptr, nullptr, SW_SHOWNORMAL);
}

void dlgCrashReport::ShowDumpInExplorer() const {
    RunProcess(SpecialFolder(kFolderWindows) + u"Explorer.exe",
               u" /n, /e, /select, \"" + dumpPath_ + u"\"", false, 0, false, NORMAL_PRIORITY_CLASS,
               false);
}

LRESULT dlgCrashReport::OnMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_PAINT:
        Paint();
        return 0;
    case WM_CTLCOLORSTATIC: // the texts sit on the white content area
        ::SetBkColor(reinterpret_cast<HDC>(wParam), ::GetSysColor(COLOR_WINDOW));
        return reinterpret_cast<LRESULT>(contentBrush_.get());
    case DM_GETDEFID:
        return MAKELRESULT(kIdExit, DC_HASDEFID);
    case WM_COMMAND:
        switch (LOWORD(wParam)) {
        case kIdLocation:
            ShowDumpInExplorer();
            return 0;
        case kIdExit:
        case IDCANCEL: // Esc
            ::DestroyWindow(Handle());
            return 0;
        default:
            break;
        }
        break;
    case WM_CLOSE:
        ::DestroyWindow(Handle());
        return 0;
    case WM_DESTROY:
        ::PostQuitMessage(0);
        return 0;
    default:
        break;
    }
    return XWindow::OnMessage(message, wParam, lParam);
}

void ShowCrashReport(const String& appTitle, const String& dumpPath) {
    // The layout measures in real pixels, so the system must not stretch the window.
    ::SetProcessDPIAware();
    INITCOMMONCONTROLSEX controls{sizeof controls, ICC_STANDARD_CLASSES};
    ::InitCommonControlsEx(&controls);
    dlgCrashReport(appTitle, dumpPath).Show();
}

} // namespace wm
