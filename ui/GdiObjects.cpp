#include "ui/GdiObjects.h"

#include "process/WinString.h"

namespace wm {

XFont MessageFont(bool bold, bool underline) {
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    LOGFONTW font{};
    if (::SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0))
        font = metrics.lfMessageFont;
    else
        ::GetObjectW(::GetStockObject(DEFAULT_GUI_FONT), sizeof font, &font);
    if (bold)
        font.lfWeight = FW_BOLD;
    font.lfUnderline = underline;
    return XFont(::CreateFontIndirectW(&font));
}

SIZE TextExtent(HDC dc, StringView text) {
    SIZE size{};
    ::GetTextExtentPoint32W(dc, reinterpret_cast<const wchar_t*>(text.data()),
                            static_cast<int>(text.size()), &size);
    return size;
}

} // namespace wm
