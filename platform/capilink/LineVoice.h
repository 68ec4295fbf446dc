#pragma once

// The voice of the one B channel, as the line library moves it: what goes out on the line (a wave
// file, the sound card's microphone, or silence) and what comes in (into a wave file, to the sound
// card's loudspeaker, through the DTMF detector). The line library calls it on its own thread once per
// B-channel block; the program's requests switch its parts on and off from any thread, under the line
// library's lock.

#include "platform/voice/AudioDevice.h"
#include "platform/voice/Dtmf.h"
#include "platform/voice/WaveFiles.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class LineVoice {
public:
    // What an outgoing block did to a file played into the line.
    struct FileEnd {
        int32_t samplesPlayed = 0;
    };

    // `audio` may be null: no sound card, the line hears silence and the loudspeaker nothing.
    explicit LineVoice(std::shared_ptr<voice::AudioDevice> audio);

    // A wave file into the line, from its beginning. False with a reason when it cannot be read.
    bool startFileOut(const QString& path, QString* error);
    // Stops the file; returns the samples played when one was playing.
    std::optional<int32_t> stopFileOut();
    bool fileOutPlaying() const { return m_fileOut.isOpen(); }

    // The line into a wave file of a wave format number.
    bool startFileIn(const QString& path, int formatNumber, QString* error);
    // Closes the recording; returns the samples recorded when one was running.
    std::optional<int32_t> stopFileIn();

    void setPlayback(bool on); // line to loudspeaker
    void setCapture(bool on);  // microphone to line
    // The software DTMF detector on the received audio; `onDigit` is called from within takeIncoming().
    void setDtmfDetection(std::function<void(char)> onDigit);
    bool dtmfDetection() const { return m_dtmf != nullptr; }

    // Fills one block of line bytes to send. When the file played into the line reaches its end in
    // this block, the file is closed and the end is returned.
    std::optional<FileEnd> fillOutgoing(uint8_t* lineBytes, std::size_t count);
    // Takes one received block of line bytes.
    void takeIncoming(const uint8_t* lineBytes, std::size_t count);

    // Ends everything of a call: files closed, sound card directions stopped, detector off.
    void reset();

private:
    std::shared_ptr<voice::AudioDevice> m_audio;
    voice::WaveReader m_fileOut;
    int32_t m_fileOutSamples = 0;
    voice::WaveWriter m_fileIn;
    int32_t m_fileInSamples = 0;
    bool m_playback = false;
    bool m_capture = false;
    std::unique_ptr<voice::DtmfDetector> m_dtmf;
    std::vector<int16_t> m_samples; // one block, reused
};
