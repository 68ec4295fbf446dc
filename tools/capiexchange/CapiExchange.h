#pragma once

// A simulated ISDN exchange behind a CAPI-over-TCP service on loopback: the network and the far-end
// telephones of one controller (controller 1) with two B channels. The unmodified libcapi20 "fritzbox"
// module connects to it, so the program's real call path runs end to end without ISDN hardware.
//
// The exchange keeps the rules a real controller keeps (message numbers echoed, Info 0x2001/0x2002 for
// requests in the wrong state or for unknown identifiers, the window of data blocks) and writes every
// breach by the application into violations(), which tests read and expect empty.
//
// Every public function is thread-safe. The exchange runs its own thread; no Qt event loop is needed.

#include "platform/cti/CapiMessage.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

struct ExchangeCall {
    enum State {
        Offered,    // incoming, CONNECT_IND sent to the listening applications
        NotOffered, // incoming, no application listens for it: the far end rings on
        Alerting,   // incoming, an application alerted
        Ignored,    // incoming, every application it was offered to rejected it: the far end rings on
        Dialling,   // outgoing, the far end rings
        Connecting, // the D channel is connected, the data connection (B3) is not (yet) up
        Active,     // voice flows
        Clearing,   // DISCONNECT_IND sent, its DISCONNECT_RESP not yet back
        Ended,
    };
    int id = 0;
    bool incoming = true;
    State state = NotOffered;
    QByteArray called;  // digits
    QByteArray calling; // digits; empty when suppressed
    uint8_t callingType = capi::PartyNumber::Unknown;
    uint16_t cip = 0;
    uint16_t endReason = 0;
    uint32_t plci = 0;
    uint16_t applId = 0;       // the application that holds the call, 0 while none does
    bool facilityDtmf = false; // the application listens for DTMF through the facility
    QByteArray dtmfFromApp;    // digits the application sent through the facility
    QByteArray received;       // line bytes the application sent
    int blocksSent = 0;        // DATA_B3_IND sent
    int blocksSkipped = 0;     // voice slots skipped because the application's window was full
    bool playing = false;      // a wave file plays to the application
};

QString stateName(ExchangeCall::State state);
// The caller's number as a person dials it: 0 before a national number, 00 before an international one.
QString callerText(const ExchangeCall& call);

class CapiExchange {
public:
    struct Options {
        uint16_t port = 0;  // 0: any free port
        double speed = 1.0; // > 1 runs the line's clock faster, for tests
        bool dtmfFacility = true;
    };
    enum class Outgoing { Ring, Answer, Busy, Unallocated, NoAnswer };

    CapiExchange();
    explicit CapiExchange(Options options);
    ~CapiExchange();
    CapiExchange(const CapiExchange&) = delete;
    CapiExchange& operator=(const CapiExchange&) = delete;

    // Binds 127.0.0.1:port (SO_REUSEADDR) and starts the exchange's thread.
    bool start(QString* error);
    // Closes every connection and stops the thread; calls in progress end.
    void stop();
    uint16_t port() const;

    // An incoming call from `from` (empty: number suppressed) to `to`; returns its id.
    int offerCall(const QByteArray& from, const QByteArray& to, uint16_t cip = capi::CipTelephony,
                  uint8_t fromType = capi::PartyNumber::National);
    // What the far end of the next outgoing calls does; noAnswerMs is the ringing time of NoAnswer.
    void setOutgoing(Outgoing behaviour, int noAnswerMs = 500);
    // The far end of a ringing outgoing call answers.
    bool answer(int callId);
    // The far end hangs up (or gives up ringing) with a CAPI reason.
    bool hangUp(int callId, uint16_t reason = capi::NormalClearing);
    bool sendDtmfFacility(int callId, const QByteArray& digits);
    bool sendDtmfInband(int callId, const QByteArray& digits);
    // Plays a wave file to the application instead of silence; an empty path stops playing.
    bool playFile(int callId, const QString& path, QString* error);
    // Writes what the application sends on the call into a wave file (format number as in
    // voice::WaveWriter); an empty path stops recording.
    bool recordTo(int callId, const QString& path, int format, QString* error);
    // Answers DTMF facility requests with 0x300B from now on (and the profile lacks the DTMF bit).
    void setFacilityRefused(bool refused);
    // Closes every TCP connection to the clients at once; their calls end.
    void dropLink();

    std::optional<ExchangeCall> call(int id) const;
    std::vector<ExchangeCall> calls() const;
    int lastCallId() const; // 0 before the first call
    // Evaluates `pred` now and after every change, until it holds or the time is up.
    bool waitFor(const std::function<bool(const CapiExchange&)>& pred, int timeoutMs) const;
    std::vector<QString> violations() const;
    // One line per message both ways ("-> CONNECT_IND appl 5 nr 1 addr 0x101 ..."), DATA_B3 left out.
    std::vector<QString> messageLog() const;
    int registeredApplications() const;

    // Called on the exchange's thread, without its lock held, with one line per event ("call 3:
    // incoming 0891234567 -> 5551, offered to application 5"). Set it before start(). It may call the
    // other functions, except dropLink() and stop(), which wait for the exchange's thread.
    void setEventHandler(std::function<void(const QString&)> handler);

    struct State;

private:
    std::unique_ptr<State> d;
};
