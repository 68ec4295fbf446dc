#include "lines/sound/SoundEngine.h"

#include "platform/FileNames.h"
#include "platform/fdsnd/FdSndLibrary.h"
#include "platform/profile/ProfileStore.h"
#include "platform/voice/WaveFiles.h"
#include "shell/base/Logs.h"
#include "shell/base/modPathModify.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace {

const QString SoundSection = QStringLiteral("Sound");

// A folder as an absolute folder name with a closing "/", so that the path rules apply even when the
// program was given a relative data folder.
QString absoluteFolder(const QString& folder) {
    return QDir(folder).absolutePath() + QLatin1Char('/');
}

// The index of the device with a stable name, or -1.
int32_t deviceIndex(const std::vector<FdSndDevice>& devices, const QString& name) {
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&name](const FdSndDevice& device) { return device.name == name; });
    return found == devices.end() ? -1 : int32_t(found - devices.begin());
}

// The device to open for a stored number and name. The name decides where there is one: the numbering of
// the server's devices changes when a device is plugged in or out. A stored device the server does not
// have now leaves the default for this run (number -1); the stored name stays, so the device is used again
// once it is back. Without a server nothing can be checked and the name is handed on as it is.
QString chooseDevice(int32_t& number, QString& name, const std::vector<FdSndDevice>& devices,
                     bool serverAvailable, const QString& direction, Logs& logs) {
    if (!serverAvailable)
        return name;
    if (name.isEmpty()) {
        if (number >= 0 && number < int32_t(devices.size()))
            name = devices[size_t(number)].name;
        else
            number = -1;
        return name;
    }
    const int32_t index = deviceIndex(devices, name);
    if (index < 0) {
        logs.ErrorLog(QStringLiteral("SoundInit: the sound %1 device \"%2\" is not there; the default device "
                                     "is used instead")
                          .arg(direction, name));
        number = -1;
        return QString();
    }
    number = index;
    return name;
}

std::vector<SoundListEntry> deviceList(const QString& defaultDescription,
                                       const std::vector<FdSndDevice>& devices) {
    std::vector<SoundListEntry> list;
    list.push_back({defaultDescription.isEmpty() ? QStringLiteral("Standard") : defaultDescription, -1});
    for (size_t i = 0; i < devices.size(); ++i)
        list.push_back({devices[i].description, int32_t(i)});
    return list;
}

} // namespace

SoundEngine::SoundEngine(const QString& programDir, FdSndLibrary& library)
    : DefaultSoundPath(QDir(programDir).filePath(QStringLiteral("sound")) + QLatin1Char('/')),
      m_library(library),
      m_promptPath(QDir(programDir).filePath(QStringLiteral("Ansage")) + QLatin1Char('/')) {}

bool SoundEngine::SoundInit(ProfileStore& profiles, const QString& iniPath, Logs& logs) {
    if (m_library.fdsnd_Init() < 0) {
        const int32_t again = m_library.fdsnd_Init();
        if (again < 0) {
            logs.Log_Write(QStringLiteral("FdsndInit:Failed Reason:") + QString::number(again));
            return false;
        }
    }
    const auto text = [&](const char* key, const QString& fallback) {
        return profiles.GetPrivateProfileString(SoundSection, QString::fromLatin1(key), fallback, iniPath);
    };
    const auto number = [&](const char* key, int fallback) {
        return profiles.GetPrivateProfileInt(SoundSection, QString::fromLatin1(key), fallback, iniPath);
    };
    DefaultSoundPath = text("DefaultSoundPath", DefaultSoundPath);
    FreizeichenPath = text("FreizeichenPath", FreizeichenPath);
    BesetztPath = text("BesetztPath", BesetztPath);
    FormatRecording = int16_t(number("FormatRecording", FormatRecording));
    InDevice = number("InDevice", InDevice);
    OutDevice = number("OutDevice", OutDevice);
    InDeviceName = text("InDeviceName", InDeviceName);
    OutDeviceName = text("OutDeviceName", OutDeviceName);
    m_library.fdsnd_SetOutVolume(std::clamp(number("OutVolume", m_library.fdsnd_GetOutVolume()), 0, 65535));
    m_library.fdsnd_SetInVolume(std::clamp(number("InVolume", m_library.fdsnd_GetInVolume()), 0, 65535));

    for (const QString& folder : {absoluteFolder(DefaultSoundPath), absoluteFolder(m_promptPath)}) {
        if (QFileInfo(folder).isDir())
            logs.Log_Write(QStringLiteral(" ERROR!! "));
        else
            QDir().mkpath(folder);
    }

    const bool available = m_library.serverAvailable();
    FdSndConfig out;
    out.callback = [this](const FdSndEvent& event) {
        if (event.type == FdSndEvent::Playing) {
            m_progressTotal = event.bytesBefore + event.position;
            m_progressPosition = event.position;
        } else if (event.type == FdSndEvent::Recording) {
            m_progressTotal = event.size;
            m_progressPosition = event.size;
        }
    };
    FdSndConfig in = out;
    out.device = chooseDevice(OutDevice, OutDeviceName, m_library.outDevices(), available,
                              QStringLiteral("output"), logs);
    in.device =
        chooseDevice(InDevice, InDeviceName, m_library.inDevices(), available, QStringLiteral("input"), logs);
    m_library.fdsnd_WaveOutInit(out);
    m_library.fdsnd_WaveInInit(in);
    return true;
}

void SoundEngine::SoundExit(ProfileStore& profiles, const QString& iniPath, Logs& logs) {
    const int32_t result = m_library.fdsnd_Exit();
    if (result < 0)
        logs.Log_Write(QStringLiteral("FdsndExit: Failed, Reason: ") + QString::number(result));
    ProfileBatch batch(profiles, iniPath);
    const auto write = [&](const char* key, const QString& value) {
        profiles.WritePrivateProfileString(SoundSection, QString::fromLatin1(key), value, iniPath);
    };
    write("DefaultSoundPath", DefaultSoundPath);
    write("FreizeichenPath", FreizeichenPath);
    write("BesetztPath", BesetztPath);
    write("FormatRecording", QString::number(FormatRecording));
    write("InDevice", QString::number(InDevice));
    write("OutDevice", QString::number(OutDevice));
    write("InDeviceName", InDeviceName);
    write("OutDeviceName", OutDeviceName);
    write("OutVolume", QString::number(m_library.fdsnd_GetOutVolume()));
    write("InVolume", QString::number(m_library.fdsnd_GetInVolume()));
    batch.commit();
    m_library.fdsnd_WaveOutExit();
    m_library.fdsnd_WaveInExit();
}

int32_t SoundEngine::SoundPlayOnce(const QString& file) {
    return SoundPlayLoop(file, 1);
}

int32_t SoundEngine::SoundPlayLoop(const QString& file, int count) {
    SoundPlayStop();
    m_playingFile = SoundFullPath(file);
    m_playingLoops = count;
    m_progressTotal = 0;
    m_progressPosition = 0;
    const int32_t result = m_library.fdsnd_WaveOutLoopStart(m_playingFile, count);
    if (observer)
        observer(QStringLiteral("play"), m_playingFile);
    return result;
}

void SoundEngine::SoundPlayStop() {
    m_library.fdsnd_WaveOutStop();
    if (m_playingFile.isEmpty())
        return;
    const QString was = m_playingFile;
    m_playingFile.clear();
    m_playingLoops = 0;
    if (observer)
        observer(QStringLiteral("stop"), was);
}

int32_t SoundEngine::SoundRecord(const QString& file) {
    const QString path = SoundFullPath(file);
    m_progressTotal = 0;
    m_progressPosition = 0;
    const int32_t result = m_library.fdsnd_WaveInStart(path, FormatRecording);
    if (observer)
        observer(QStringLiteral("record"), path);
    return result;
}

void SoundEngine::SoundRecordStop() {
    m_library.fdsnd_WaveInStop();
    if (observer)
        observer(QStringLiteral("record stop"), QString());
}

QString SoundEngine::SoundFormatText(int number) {
    return voice::WaveFormatText(number);
}

QString SoundEngine::SoundFileFormatText(const QString& file) const {
    FdSndWaveInfo info;
    if (FdSndLibrary::fdsnd_GetWaveFormat(info, SoundFullPath(file)) < 0)
        return QString();
    return info.formatText;
}

double SoundEngine::SoundFileSeconds(const QString& file) const {
    FdSndWaveInfo info;
    if (FdSndLibrary::fdsnd_GetWaveFormat(info, SoundFullPath(file)) < 0 || info.samplesPerSecond <= 0 ||
        info.bytesPerBlock <= 0)
        return 0;
    return double(info.dataLength) / (double(info.samplesPerSecond) * info.bytesPerBlock);
}

QString SoundEngine::SoundFullPath(const QString& name) const {
    if (name.isEmpty())
        return name;
    return PathComplete(name, absoluteFolder(DefaultSoundPath));
}

QString SoundEngine::soundFolder() const {
    return absoluteFolder(DefaultSoundPath);
}

QString SoundEngine::PromptFullPath(const QString& name) const {
    if (name.isEmpty())
        return name;
    return PathComplete(name, absoluteFolder(m_promptPath));
}

QString SoundEngine::SoundRelativePath(const QString& name) const {
    if (name.isEmpty())
        return name;
    return PathRelative(SoundFullPath(name), absoluteFolder(DefaultSoundPath));
}

bool SoundEngine::SoundFileExists(const QString& name) const {
    return !name.isEmpty() && QFileInfo(SoundFullPath(name)).isFile();
}

QString SoundEngine::SoundUniqueName(const QString& prefix, bool useDate) const {
    return PathUnique(prefix, QStringLiteral(".wav"), absoluteFolder(DefaultSoundPath), useDate, now);
}

int32_t SoundEngine::SoundGetVolume() const {
    return m_library.fdsnd_GetOutVolume() & 0xFFFF;
}

void SoundEngine::SoundSetVolume(int32_t value) {
    m_library.fdsnd_SetOutVolume(value & 0xFFFF);
}

int32_t SoundEngine::GetInVolume() const {
    return m_library.fdsnd_GetInVolume() & 0xFFFF;
}

void SoundEngine::SetInVolume(int32_t value) {
    m_library.fdsnd_SetInVolume(value & 0xFFFF);
}

std::vector<SoundListEntry> SoundEngine::SoundFillFormats() {
    return {{SoundFormatText(3), 3}, {SoundFormatText(17), 17}};
}

std::vector<SoundListEntry> SoundEngine::SoundFillOutDevices() const {
    return deviceList(m_library.defaultOutDescription(), m_library.outDevices());
}

std::vector<SoundListEntry> SoundEngine::SoundFillInDevices() const {
    return deviceList(m_library.defaultInDescription(), m_library.inDevices());
}

SoundProgressView SoundEngine::SoundProgress() const {
    const int32_t total = m_progressTotal;
    const int32_t position = m_progressPosition;
    SoundProgressView view;
    view.bar = total < 1 ? 0 : int(std::clamp<int64_t>(int64_t(position) * 100 / total, 0, 100));
    view.size = QString::number(total);
    view.position = QString::number(position);
    return view;
}

bool SoundEngine::soundAvailable() const {
    return m_library.serverAvailable();
}

void SoundEngine::setAvailabilityWatcher(std::function<void(bool)> watcher) {
    m_library.setServerWatcher(std::move(watcher));
}
QStringList SoundEngine::InstallShippedSounds(QStringList* failed) const {
    QStringList installed;
    const QDir folder(absoluteFolder(DefaultSoundPath));
    QDir().mkpath(folder.path());
    const QDir shipped(QStringLiteral(":/sounds"));
    for (const QString& name : shipped.entryList(QDir::Files, QDir::Name)) {
        const QString target = folder.filePath(name);
        if (QFileInfo::exists(target))
            continue;
        if (InstallFile(shipped.filePath(name), target))
            installed << name;
        else if (failed)
            *failed << target;
    }
    return installed;
}
