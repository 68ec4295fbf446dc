#include "platform/capilink/LineVoice.h"

#include "platform/voice/LineAudio.h"

#include <algorithm>

LineVoice::LineVoice(std::shared_ptr<voice::AudioDevice> audio) : m_audio(std::move(audio)) {}

bool LineVoice::startFileOut(const QString& path, QString* error) {
    stopFileOut();
    if (!m_fileOut.open(path, error))
        return false;
    m_fileOutSamples = 0;
    return true;
}

std::optional<int32_t> LineVoice::stopFileOut() {
    if (!m_fileOut.isOpen())
        return std::nullopt;
    m_fileOut.close();
    return m_fileOutSamples;
}

bool LineVoice::startFileIn(const QString& path, int formatNumber, QString* error) {
    stopFileIn();
    if (!m_fileIn.open(path, formatNumber, error))
        return false;
    m_fileInSamples = 0;
    return true;
}

std::optional<int32_t> LineVoice::stopFileIn() {
    if (!m_fileIn.isOpen())
        return std::nullopt;
    m_fileIn.close();
    return m_fileInSamples;
}

void LineVoice::setPlayback(bool on) {
    if (on == m_playback)
        return;
    m_playback = on;
    if (!m_audio)
        return;
    if (on)
        m_audio->startPlayback();
    else
        m_audio->stopPlayback();
}

void LineVoice::setCapture(bool on) {
    if (on == m_capture)
        return;
    m_capture = on;
    if (!m_audio)
        return;
    if (on)
        m_audio->startCapture();
    else
        m_audio->stopCapture();
}

void LineVoice::setDtmfDetection(std::function<void(char)> onDigit) {
    m_dtmf = onDigit ? std::make_unique<voice::DtmfDetector>(std::move(onDigit)) : nullptr;
}

std::optional<LineVoice::FileEnd> LineVoice::fillOutgoing(uint8_t* lineBytes, std::size_t count) {
    m_samples.resize(count);
    std::optional<FileEnd> end;
    if (m_fileOut.isOpen()) {
        // A file in the line takes the place of the microphone while it plays.
        const std::size_t got = m_fileOut.read(m_samples.data(), count);
        m_fileOutSamples += int32_t(got);
        std::fill(m_samples.begin() + std::ptrdiff_t(got), m_samples.end(), int16_t(0));
        if (got < count) {
            m_fileOut.close();
            end = FileEnd{m_fileOutSamples};
        }
    } else if (m_capture && m_audio) {
        m_audio->capture(m_samples.data(), count);
    } else {
        std::fill_n(lineBytes, count, voice::LineSilence);
        return end;
    }
    voice::lineFromLinear(m_samples.data(), lineBytes, count);
    return end;
}

void LineVoice::takeIncoming(const uint8_t* lineBytes, std::size_t count) {
    if (!m_fileIn.isOpen() && !(m_playback && m_audio) && !m_dtmf)
        return;
    m_samples.resize(count);
    voice::linearFromLine(lineBytes, m_samples.data(), count);
    if (m_fileIn.isOpen()) {
        m_fileIn.write(m_samples.data(), count);
        m_fileInSamples += int32_t(count);
    }
    if (m_playback && m_audio)
        m_audio->play(m_samples.data(), count);
    if (m_dtmf)
        m_dtmf->feed(m_samples.data(), count);
}

void LineVoice::reset() {
    stopFileOut();
    stopFileIn();
    setPlayback(false);
    setCapture(false);
    m_dtmf.reset();
}
