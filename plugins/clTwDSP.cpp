#include "plugins/clTwDSP.h"

namespace wm {

std::array<XDLL::EntryPoint, 11> DspEntryPoints::Table() {
    return {XDLL::Slot("DSP_Create", create),
            XDLL::Slot("DSP_Destroy", destroy),
            XDLL::Slot("DSP_Get", get),
            XDLL::Slot("DSP_Set", set),
            XDLL::Slot("DSP_ShowConfigBit", showConfigBit),
            XDLL::Slot("DSP_RemoveConfigBit", removeConfigBit),
            XDLL::Slot("DSP_BeginConversion", beginConversion),
            XDLL::Slot("DSP_EndConversion", endConversion),
            XDLL::Slot("DSP_PassAudioBlock", passAudioBlock),
            XDLL::Slot("DSP_PassNonLive", passNonLive),
            XDLL::Slot("DSP_AfterConversion", afterConversion)};
}

} // namespace wm
