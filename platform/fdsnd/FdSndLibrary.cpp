#include "platform/fdsnd/FdSndLibrary.h"

#include "platform/voice/WaveFiles.h"

#include <limits>

int32_t FdSndLibrary::fdsnd_GetWaveFormat(FdSndWaveInfo& info, const QString& path) {
    voice::WaveFileInfo wave;
    if (!voice::ReadWaveInfo(path, &wave, nullptr))
        return -1;
    info.samplesPerSecond = wave.rate;
    info.bytesPerBlock = wave.bytesPerBlock();
    info.formatText = wave.text();
    info.dataLength = int32_t(std::min<int64_t>(wave.dataBytes(), std::numeric_limits<int32_t>::max()));
    return 0;
}

int32_t FdSndLibrary::fdsnd_AddToFile(const QString& target, const QString& piece) {
    return voice::AppendWave(target, piece, nullptr) ? 0 : -1;
}
