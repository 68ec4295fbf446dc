#include "platform/voice/LineAudio.h"

#include <array>

namespace voice {

namespace {

constexpr uint8_t reverseBits(uint8_t x) {
    uint8_t r = 0;
    for (int bit = 0; bit < 8; ++bit)
        r = uint8_t(r | (((x >> bit) & 1) << (7 - bit)));
    return r;
}

// G.711 A-law: 13-bit magnitude in eight segments, even bits inverted (the 0x55 mask).
constexpr uint8_t encodeAlaw(int linear) {
    int mask = 0x55 | 0x80;
    if (linear < 0) {
        mask = 0x55;
        linear = -linear - 1;
    }
    int seg = 0;
    for (int v = linear >> 8; v > 0; v >>= 1)
        ++seg;
    if (seg >= 8)
        return uint8_t(0x7F ^ mask);
    const int quantised = (linear >> (seg ? seg + 3 : 4)) & 0x0F;
    return uint8_t(((seg << 4) | quantised) ^ mask);
}

constexpr int16_t decodeAlaw(uint8_t alaw) {
    alaw ^= 0x55;
    int magnitude = (alaw & 0x0F) << 4;
    const int seg = (alaw & 0x70) >> 4;
    if (seg)
        magnitude = (magnitude + 0x108) << (seg - 1);
    else
        magnitude += 8;
    return int16_t((alaw & 0x80) ? magnitude : -magnitude);
}

// A-law never looks at the three lowest bits of a 16-bit sample, so the encoding tables are indexed by
// the sample shifted right by three: 8192 entries.
constexpr int EncodeShift = 3;
constexpr int EncodeEntries = 65536 >> EncodeShift;

constexpr size_t encodeIndex(int16_t sample) {
    return size_t((sample >> EncodeShift) + EncodeEntries / 2);
}

template <bool Reversed> const std::array<uint8_t, EncodeEntries>& encodeTable() {
    static constexpr std::array<uint8_t, EncodeEntries> table = [] {
        std::array<uint8_t, EncodeEntries> t{};
        for (int i = 0; i < EncodeEntries; ++i) {
            const uint8_t a = encodeAlaw((i - EncodeEntries / 2) << EncodeShift);
            t[size_t(i)] = Reversed ? reverseBits(a) : a;
        }
        return t;
    }();
    return table;
}

template <bool Reversed> const std::array<int16_t, 256>& decodeTable() {
    static constexpr std::array<int16_t, 256> table = [] {
        std::array<int16_t, 256> t{};
        for (int i = 0; i < 256; ++i)
            t[size_t(i)] = decodeAlaw(Reversed ? reverseBits(uint8_t(i)) : uint8_t(i));
        return t;
    }();
    return table;
}

static_assert(reverseBits(encodeAlaw(0)) == LineSilence);

} // namespace

uint8_t lineFromLinear(int16_t sample) {
    return encodeTable<true>()[encodeIndex(sample)];
}

int16_t linearFromLine(uint8_t lineByte) {
    return decodeTable<true>()[lineByte];
}

void lineFromLinear(const int16_t* in, uint8_t* out, size_t count) {
    const auto& table = encodeTable<true>();
    for (size_t i = 0; i < count; ++i)
        out[i] = table[encodeIndex(in[i])];
}

void linearFromLine(const uint8_t* in, int16_t* out, size_t count) {
    const auto& table = decodeTable<true>();
    for (size_t i = 0; i < count; ++i)
        out[i] = table[in[i]];
}

uint8_t alawFromLinear(int16_t sample) {
    return encodeTable<false>()[encodeIndex(sample)];
}

int16_t linearFromAlaw(uint8_t alaw) {
    return decodeTable<false>()[alaw];
}

} // namespace voice
