#pragma once

// The byte format of voice on an ISDN B channel, and plain A-law for wave files.

#include <cstddef>
#include <cstdint>

namespace voice {

// Bytes (samples) per second on the B channel.
constexpr int LineRate = 8000;

// Transparent voice on an ISDN B channel is A-law with each byte bit-reversed: the line sends the
// least significant bit first, the A-law byte is defined most significant bit first.
uint8_t lineFromLinear(int16_t sample);
int16_t linearFromLine(uint8_t lineByte);
void lineFromLinear(const int16_t* in, uint8_t* out, size_t count);
void linearFromLine(const uint8_t* in, int16_t* out, size_t count);

// A-law silence (0xD5) as the line carries it.
constexpr uint8_t LineSilence = 0xAB;

// Plain A-law (no bit reversal), as A-law wave files store it.
uint8_t alawFromLinear(int16_t sample);
int16_t linearFromAlaw(uint8_t alaw);

} // namespace voice
