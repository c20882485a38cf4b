// Decoder and encoder never see each other; at fixed stages of a run they exchange named values
// through this relay ("Communicate" / "CommunicateResult"). With standard input there is no
// decoder, so it takes no part.
#pragma once

#include "flow/BlockFlow.h"
#include "plugins/clTwDecoder.h"
#include "plugins/clTwEncoder.h"
#include "text/String.h"

namespace wm {

class MessageRelay {
  public:
    // decoder is null when the audio comes from standard input.
    MessageRelay(clTwDecoder* decoder, clTwEncoder& encoder, const ConversionInfo& conversion)
        : decoder_(decoder), encoder_(encoder), conversion_(conversion) {}

    // Runs the exchanges of one stage ("BeforeOpen", "BeforeEncoding", "EndEncoding",
    // "AfterConversion"): the decoder's turn, then the encoder's. Returns the encoder's last
    // "Communicate" answer.
    uint32_t Communicate(const char16_t* stage);
    // Carries out one request; the called entry point's result, or 0.
    uint32_t Relay(const PluginValue& request);

  private:
    template <class Binding> uint32_t Turn(Binding& plugin, const char16_t* stage);
    template <class Binding>
    static uint32_t GetOrSet(Binding& plugin, StringView verb, const PluginValue& request);

    clTwDecoder* decoder_;
    clTwEncoder& encoder_;
    const ConversionInfo& conversion_;
};

// The files the encoder reports as written ("FileName1", "FileName2", ... in the second block
// of the conversion record), announced to the parent; the output path alone when none.
StringList CollectOutputNames(const ConversionInfo& conversion, const String& outputPath,
                              FlowHost* parent);

} // namespace wm
