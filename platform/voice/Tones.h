#pragma once

// The tones that Morva plays from its sound folder, made from their definitions rather than recorded: the
// ring of an incoming call, and the German ringback and busy tones that a caller hears in the network
// (425 Hz; ringback 1 s on, 4 s off; busy 480 ms on, 480 ms off). The ring and the ringback are played in
// a loop as long as they are wanted, so their files hold one period of the cadence; the busy tone is
// played once after a busy far end, so its file holds five periods, about five seconds, as a network
// gives it before it clears.

#include <QString>

#include <cstdint>
#include <vector>

namespace voice {

// One stretch of a cadence: the frequencies that sound together (none: silence) for a time. With
// `warbleMs` the frequencies take turns every that many milliseconds instead of sounding together.
struct ToneStretch {
    std::vector<double> hertz;
    int ms = 0;
    int warbleMs = 0;
};

struct ToneDefinition {
    QString fileName; // the file in the sound folder
    std::vector<ToneStretch> cadence;
    int periods = 1; // how often the cadence is in the file
};

// The three tones that ship: "ring.wav", "frei.wav" (ringback) and "besetzt.wav" (busy).
std::vector<ToneDefinition> ShippedTones();

// The tone as 8 kHz samples: sine waves at about -10 dBFS, each sounding stretch faded in and out over
// 5 ms so that the loop does not click.
std::vector<int16_t> SynthesizeTone(const ToneDefinition& tone);

// Writes the tone into `path` as a wave file (PCM 8 kHz 16 bit mono). False with `error` on failure.
bool WriteTone(const ToneDefinition& tone, const QString& path, QString* error);

} // namespace voice
