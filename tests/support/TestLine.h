#pragma once

// The line binding alone: CtiBinding over a stand-in line (or another line library), with the settings,
// logs, configuration sets, sound engine and answering machine it needs, and a call record whose display
// side records what the binding asks of it. No call log, no phonebooks, no window.

#include "config/colConfig.h"
#include "lines/capi/AnsweringSteps.h"
#include "lines/capi/CtiBinding.h"
#include "lines/sound/SoundEngine.h"
#include "platform/Clock.h"
#include "platform/fdsnd/SilentSound.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/CallRecord.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"
#include "tests/support/TestEnvironment.h"
#include "tools/standinline/StandInLine.h"

#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

// The call record as the line binding sees it: the record itself, and a display that remembers what it
// was asked to do.
struct RecordingDisplay : CallRecord, CallDisplay {
    explicit RecordingDisplay(const Clock& clock) : m_clock(clock) { CallStart = clock.now(); }

    // The record as it stood at one Eurit_CallFinished: what the call log would have been given.
    struct Finished {
        int16_t CallState;
        int16_t CallDirection;
        QString CallNumber, CallMSN, CallDuration, CallSoundFile;
    };
    std::vector<Finished> finished;
    // The call states shown (Eurit_ShowCallState), in order, and how often each other request came.
    std::vector<int16_t> shownStates;
    int fieldsShown = 0;
    int statusShown = 0;
    QStringList remembered;

    void Eurit_ResetCall() override { Reset(m_clock.now()); }
    void Eurit_ShowCallState(int) override { shownStates.push_back(CallState); }
    void Eurit_ShowCallFields(int) override { ++fieldsShown; }
    void Eurit_CallFinished() override {
        finished.push_back({CallState, CallDirection, CallNumber, CallMSN, CallDuration, CallSoundFile});
    }
    void Me_Set_Status() override { ++statusShown; }
    void RememberNumber(const QString& number) override { remembered << number; }

private:
    const Clock& m_clock;
};

struct TestLine {
    // The binding on `library`; started (CtiInit and the channel's registration) when `start` is true.
    explicit TestLine(std::unique_ptr<CtiLibrary> library = std::make_unique<StandInLine>(),
                      bool start = true);
    explicit TestLine(bool start) : TestLine(std::make_unique<StandInLine>(), start) {}
    ~TestLine();
    TestLine(const TestLine&) = delete;
    TestLine& operator=(const TestLine&) = delete;

    // As the program starts and stops its line, and as its 100 ms timer takes one event.
    bool startLine();
    void stopLine();
    void eventTick();
    // Lets the stand-in line deliver everything it has raised, then takes it all off the queue.
    void settle();
    // An incoming call from `calling` to `called`, rung and taken off the queue; returns its handle.
    int32_t ring(const QByteArray& calling = "891234567", const QByteArray& called = "5551",
                 bool national = true);
    // The lines of a log file in the data folder; empty when it does not exist.
    QStringList logLines(const QString& fileName) const;

    clsCti& cti() { return *binding.channel(); }

    ManualClock clock;
    QTemporaryDir dir;
    Settings settings;
    Language language;
    Logs logs{clock, settings, dir.path()};
    ProfileStore profiles{&clock};
    colConfig Konfigurationen{ConfigDependencies{.settings = settings,
                                                 .language = language,
                                                 .logs = logs,
                                                 .profiles = profiles,
                                                 .dataFolder = dir.path(),
                                                 .iniPath = dir.filePath(QStringLiteral("Morva.ini"))}};
    SilentSound soundLibrary;
    SoundEngine sound{dir.path(), soundLibrary};
    // The line binding's tests need no machine: its steps do nothing.
    struct : AnsweringSteps {
        void ABOnConnected(clsCti&) override {}
        void ABOnDisconnected(clsCti&) override {}
        void ABOnDigit(clsCti&, char) override {}
        void ABOnFileEnd(clsCti&) override {}
    } machine;
    RecordingDisplay call{clock};
    std::unique_ptr<CtiLibrary> library;
    // The stand-in line when the library is one; null otherwise.
    StandInLine* line = nullptr;
    CtiBinding binding;
};
