#pragma once

// The binding of the program to the ISDN line library: the channel table with its one clsCti, the
// event queue between the library's thread and the main thread, and the start and stop of the line.

#include "lines/capi/CtiEventQueue.h"
#include "lines/capi/clsCti.h"

#include <QString>

#include <memory>
#include <vector>

class CtiBinding {
public:
    CtiBinding(CtiLibrary& library, const Clock& clock, const Settings& settings, Logs& logs, Eurit30& call,
               const colConfig& configs, SoundEngine& sound, AnsweringMachine& machine, const QString& programDir);
    ~CtiBinding();

    // Creates the channel, fills its blocks and starts the library. False when the library cannot
    // start: the program must end (the reason is in `fatalMessage`).
    bool CtiInit();
    // Registers channel 0 with the library. False when that fails: the program must end.
    bool CtiRegisterChannel();
    // Takes what is left in the queue, ends the library and clears the channel table.
    void CtiExit();

    // Called by the library on its own thread with each event.
    void CtiEventEntry(const CtiEvent& event);
    // Run by the 100 ms event timer on the main thread: takes at most one event off the queue.
    void CtiEventPump();

    // Index of the channel with this library id, -1 if none.
    int GetCtiIdbyXcId(int32_t xcId) const;
    // Channel 0, or null before CtiInit and after CtiExit.
    clsCti* channel() { return m_channels.empty() ? nullptr : m_channels.front().get(); }
    int32_t ctiInitResult() const { return m_initResult; }
    QString fatalMessage() const { return m_fatalMessage; }
    CtiEventQueue& queue() { return m_queue; }
    // Events in the queue, read under its lock.
    int16_t pendingEvents();

private:
    void alertDecision(clsCti& cti, const CtiEvent& event, bool queued);
    void fail(const QString& line);

    CtiLibrary& m_library;
    const Clock& m_clock;
    const Settings& m_settings;
    Logs& m_logs;
    Eurit30& m_call;
    const colConfig& m_configs;
    SoundEngine& m_sound;
    AnsweringMachine& m_machine;
    QString m_programDir;

    std::vector<std::unique_ptr<clsCti>> m_channels;
    CtiEventQueue m_queue;
    int32_t m_initResult = 0;
    QString m_fatalMessage;
};
