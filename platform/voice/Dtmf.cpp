#include "platform/voice/Dtmf.h"

#include <spandsp.h>

#include <algorithm>
#include <string_view>

namespace voice {

namespace {
constexpr std::string_view DtmfDigits = "0123456789*#ABCD";
}

DtmfDetector::DtmfDetector(std::function<void(char)> onDigit)
    : onDigit_(std::move(onDigit)), rx_(dtmf_rx_init(nullptr, &DtmfDetector::report, this)) {}

void DtmfDetector::report(void* self, const char* digits, int length) {
    const auto& onDigit = static_cast<DtmfDetector*>(self)->onDigit_;
    for (int i = 0; onDigit && i < length; ++i)
        onDigit(digits[i]);
}

DtmfDetector::~DtmfDetector() {
    dtmf_rx_free(rx_);
}

void DtmfDetector::feed(const int16_t* samples, size_t count) {
    // dtmf_rx takes an int count; feed in blocks so that any size_t is fine.
    constexpr size_t Block = 4096;
    for (size_t done = 0; done < count; done += Block)
        dtmf_rx(rx_, samples + done, int(std::min(Block, count - done)));
}

DtmfGenerator::DtmfGenerator() : tx_(dtmf_tx_init(nullptr)) {}

DtmfGenerator::~DtmfGenerator() {
    dtmf_tx_free(tx_);
}

void DtmfGenerator::queue(const std::string& digits) {
    for (const char c : digits) {
        if (DtmfDigits.find(c) != std::string_view::npos)
            pending_ += c;
    }
}

bool DtmfGenerator::busy() const {
    return sounding_ || !pending_.empty();
}

void DtmfGenerator::generate(int16_t* out, size_t count) {
    // The generator is handed one digit at a time, so that its own small queue never overflows. It
    // returns fewer samples than asked for once its tone and gap are over.
    size_t done = 0;
    while (done < count) {
        const int ask = int(std::min<size_t>(count - done, 1 << 16));
        const int got = dtmf_tx(tx_, out + done, ask);
        done += size_t(got);
        sounding_ = got == ask;
        if (got < ask) {
            if (pending_.empty())
                break;
            dtmf_tx_put(tx_, pending_.data(), 1);
            pending_.erase(0, 1);
        }
    }
    std::fill(out + done, out + count, int16_t(0));
}

} // namespace voice
