#include "plugins/clTwEncoder.h"

namespace wm {

std::array<XDLL::EntryPoint, 9> EncoderEntryPoints::Table() {
    return {XDLL::Slot("ENC_Create", create),
            XDLL::Slot("ENC_Destroy", destroy),
            XDLL::Slot("ENC_Get", get),
            XDLL::Slot("ENC_Set", set),
            XDLL::Slot("ENC_ShowConfigBit", showConfigBit),
            XDLL::Slot("ENC_RemoveConfigBit", removeConfigBit),
            XDLL::Slot("ENC_BeginConversion", beginConversion),
            XDLL::Slot("ENC_EndConversion", endConversion),
            XDLL::Slot("ENC_EncodeBlock", encodeBlock)};
}

} // namespace wm
