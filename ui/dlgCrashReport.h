// The crash report window the second copy shows: what happened, where to report it, where the
// dump lies, and "Exit".
#pragma once

#include "text/String.h"
#include "ui/GdiObjects.h"
#include "ui/XSubClassCtrl.h"
#include "ui/XWindow.h"

namespace wm {

// Required name (README, Glossary): "dlg" marks windows.
class dlgCrashReport : public XWindow {
  public:
    dlgCrashReport(StringView appTitle, StringView dumpPath);
    // Shows the window and returns once it is closed; false when it could not be shown.
    bool Show();

  protected:
    LRESULT OnMessage(UINT message, WPARAM wParam, LPARAM lParam) override;

  private:
    struct Layout;

    bool CreateControls();
    Layout Measure() const;
    void Arrange(const Layout& layout);
    void Paint();
    void OpenForum() const;
    void ShowDumpInExplorer() const;

    String title_;
    String dumpPath_;
    XFont font_, linkFont_;
    XBrush contentBrush_;
    XSubClassCtrl intro_, step2_, locationButton_, exitButton_;
    XLinkCtrl forumLink_;
    RECT band_{}; // the grey strip along the bottom that holds "Exit"
    RECT icon_{};
};

// What the second copy calls: DPI awareness, the common controls, the window.
void ShowCrashReport(const String& appTitle, const String& dumpPath);

} // namespace wm
