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
    // Slots of the ring that only the connect and the end of a call may take: a flood of digits or of
    // offered calls never leaves the call in progress without room for its end.
    static constexpr int16_t SlotsKeptForCallEnds = 8;
    // The binding's mark for a call the program has asked for and the line has not named yet. Call
    // handles are CAPI PLCIs (at most 0xFFFF) or the line's marks for calls it dials (0x8000xxxx).
    static constexpr int32_t DialPending = -1;

    CtiBinding(CtiLibrary& library, const Clock& clock, const Settings& settings, Logs& logs,
               CallRecord& call, CallDisplay& display, const colConfig& configs, SoundEngine& sound,
               AnsweringSteps& machine, const QString& programDir);
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

    // Places the program's call with the numbers of channel 0's configuration in force (CtiConnect),
    // and holds back the alerting of offered calls until that call has ended. The library's result.
    int32_t CtiDial();

    // Index of the channel with this library id, -1 if none.
    int GetCtiIdbyXcId(int32_t xcId) const;
    // Channel 0, or null before CtiInit and after CtiExit.
    clsCti* channel() { return m_channels.empty() ? nullptr : m_channels.front().get(); }
    const clsCti* channel() const { return m_channels.empty() ? nullptr : m_channels.front().get(); }
    QString fatalMessage() const { return m_fatalMessage; }
    // The link of the line to its server; Unavailable while channel 0 is not registered.
    CtiLinkState linkState() const;
    CtiEventQueue& queue() { return m_queue; }
    // Events in the queue, read under its lock.
    int16_t pendingEvents();

private:
    // The entry's part for a call-state event: the alert decision, and the line's own view of the call
    // in progress. Runs on the library's thread with the ring locked.
    void callStateEntry(clsCti& cti, const CtiEvent& event);
    // Queues an event if the ring has room for its kind; a refused event is logged to error.log.
    bool enqueue(const CtiEvent& event, bool callEnd, uint8_t alert = 0);
    void fail(const QString& line);
    // Takes what stands in the queue, bounded.
    void drainQueue();

    CtiLibrary& m_library;
    const Clock& m_clock;
    const Settings& m_settings;
    Logs& m_logs;
    CallRecord& m_call;
    CallDisplay& m_display;
    const colConfig& m_configs;
    SoundEngine& m_sound;
    AnsweringSteps& m_machine;
    QString m_programDir;

    std::vector<std::unique_ptr<clsCti>> m_channels;
    CtiEventQueue m_queue;
    // The call that the line has offered the program or that the program placed, as the entry sees it;
    // 0 when none, DialPending from the program's connect request until the line names that call. Only the
    // entry reads and writes it, under the ring's lock. The call record's state lags behind by up to a tick
    // of the pump, so the alert decision asks both.
    int32_t m_lineCall = 0;
    int32_t m_initResult = 0;
    QString m_fatalMessage;
};
