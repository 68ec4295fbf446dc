#pragma once

// DTMF digits in and out of 8 kHz audio, over spandsp's detector and generator.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

struct dtmf_rx_state_s;
struct dtmf_tx_state_s;

namespace voice {

// Finds DTMF digits in 8 kHz audio; each digit is reported once, as '0'-'9', '*', '#' or 'A'-'D', from
// within feed().
class DtmfDetector {
public:
    explicit DtmfDetector(std::function<void(char)> onDigit);
    ~DtmfDetector();
    DtmfDetector(const DtmfDetector&) = delete;
    DtmfDetector& operator=(const DtmfDetector&) = delete;

    void feed(const int16_t* samples, size_t count);

private:
    static void report(void* self, const char* digits, int length);

    std::function<void(char)> onDigit_;
    dtmf_rx_state_s* rx_;
};

// Makes DTMF tones: queue digits, then generate() gives each tone with the gap after it, and silence when
// nothing is queued. Characters that are no DTMF digit are left out.
class DtmfGenerator {
public:
    DtmfGenerator();
    ~DtmfGenerator();
    DtmfGenerator(const DtmfGenerator&) = delete;
    DtmfGenerator& operator=(const DtmfGenerator&) = delete;

    void queue(const std::string& digits);
    // True while digits wait or a tone or its gap is not yet fully generated.
    bool busy() const;
    void generate(int16_t* out, size_t count);

private:
    dtmf_tx_state_s* tx_;
    std::string pending_;
    bool sounding_ = false;
};

} // namespace voice
