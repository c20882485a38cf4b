#include "bundled/wav_encoder/WavEncoder.h"

#include "bundled/wav/WaveFormatRules.h"

#include <cstring>
#include <new>
#include <string>
#include <string_view>

namespace wm::bundled {

namespace {

// Few, large writes; the header shares the first one.
constexpr size_t kBufferSize = 512 * 1024;

bool Is(const WmChar* name, std::u16string_view wanted) {
    return name && name == wanted;
}

} // namespace

uint32_t WavEncoder::Get(const WmChar* name, PluginValue* value) noexcept {
    if (!value || !Is(name, WM_VALUE_EXTENSION))
        return 0;
    value->pointer1 = const_cast<char16_t*>(u".wav");
    return 1;
}

uint32_t WavEncoder::Set(const WmChar* name, PluginValue*) noexcept {
    return Is(name, WM_VALUE_BATCH_ID) ? 1 : 0;
}

uint32_t WavEncoder::Begin(const ConversionInfo* conversion) noexcept {
    Abandon();
    if (!conversion || !conversion->outputPath || !conversion->sourceFormat)
        return 0;
    try {
        std::string error;
        if (!writer_.Init(*conversion->sourceFormat, error))
            return 0;
        if (!buffer_)
            buffer_.reset(new (std::nothrow) uint8_t[kBufferSize]);
        if (!buffer_ || !file_.CreateForWriting(conversion->outputPath))
            return 0;
        const std::vector<uint8_t> header = writer_.Build(0);
        std::memcpy(buffer_.get(), header.data(), header.size());
        used_ = header.size();
    } catch (const std::bad_alloc&) {
        Abandon();
        return 0;
    }
    begun_ = true;
    return 1;
}

uint32_t WavEncoder::Encode(const AudioBlockInfo* block) noexcept {
    if (!begun_ || failed_ || !block)
        return 0;
    if (block->length == 0)
        return 1;
    WmWaveFormat format = block->format;
    std::string error;
    try {
        if (!block->data || !wav::NormaliseWaveFormat(format, error) ||
            !wav::SameSampleLayout(format, writer_.Format()))
            return 0;
    } catch (const std::bad_alloc&) {
        return 0;
    }
    if (!Append(static_cast<const uint8_t*>(block->data), block->length)) {
        failed_ = true;
        return 0;
    }
    dataBytes_ += block->length;
    return 1;
}

uint32_t WavEncoder::End(uint32_t* tagAfterwards) noexcept {
    if (tagAfterwards)
        *tagAfterwards = 0;
    if (!begun_)
        return 0;
    bool ok = !failed_;
    try {
        static const uint8_t pad = 0;
        if (ok && dataBytes_ % 2)
            ok = Append(&pad, 1);
        ok = ok && Flush();
        if (ok) {
            const std::vector<uint8_t> header = writer_.Build(dataBytes_);
            ok = file_.WriteAt(0, header.data(), header.size());
        }
    } catch (const std::bad_alloc&) {
        ok = false;
    }
    ok = file_.Close() && ok;
    Abandon();
    // The encoder writes no tags itself: the host hands them to the decoder's "IDTags" writer,
    // which puts them into the finished file.
    if (ok && tagAfterwards)
        *tagAfterwards = 1;
    return ok ? 1 : 0;
}

bool WavEncoder::Append(const uint8_t* data, size_t length) {
    if (used_ + length > kBufferSize && !Flush())
        return false;
    if (length >= kBufferSize)
        return file_.Write(data, length);
    std::memcpy(buffer_.get() + used_, data, length);
    used_ += length;
    return true;
}

bool WavEncoder::Flush() {
    const bool ok = used_ == 0 || file_.Write(buffer_.get(), used_);
    used_ = 0;
    return ok;
}

void WavEncoder::Abandon() {
    file_.Close();
    used_ = 0;
    dataBytes_ = 0;
    begun_ = false;
    failed_ = false;
}

} // namespace wm::bundled
