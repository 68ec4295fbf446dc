#pragma once

// The operations of the line library, cti_*. The program drives exactly one B-channel connection
// through them (see lines/capi/clsCti.h). An implementation raises CtiEvent records on a thread of its
// own through the callback given to cti_Register. Results follow the library's convention: 0 or more
// is success, a negative value a failure.
//
// Implementations: tools/standinline (an in-process stand-in line for tests and for running without
// ISDN) and the CAPI 2.0 library over libcapi20.

#include "platform/cti/CtiRecords.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>

// Called on the library's thread with each event; the record is valid for the call only.
using CtiEventCallback = std::function<void(const CtiEvent&)>;

// How the library stands with the server that carries its calls, for the user to see.
struct CtiLinkState {
    enum Kind {
        Ready,      // the channel takes and places calls
        Lost,       // the server went away; the library reaches for it again
        Unavailable // no channel is registered
    };
    Kind kind = Ready;
    QString server;         // the server for people ("192.168.178.1:5031 (fritzbox)"); empty: not known
    int retryInSeconds = 0; // Lost: seconds to the next attempt; 0 while one is being made
    int losses = 0;         // how often the server was lost since the start
};

class CtiLibrary {
public:
    virtual ~CtiLibrary() = default;

    virtual int32_t cti_Init() = 0;
    virtual int32_t cti_Exit() = 0;
    // Returns the channel id. The callback travels beside the configuration block (see
    // EifcConfigBlock::Callback).
    virtual int32_t cti_Register(const EifcConfigBlock& config, const FdWaveConfigBlock& wave,
                                 CtiEventCallback callback) = 0;
    virtual int32_t cti_Release(int32_t id) = 0;
    virtual int32_t cti_IcaSetConfig(int32_t id, const EifcConfigBlock& config) = 0;
    virtual int32_t cti_IcaGetConfig(int32_t id, EifcConfigBlock& config) = 0;
    // The answer to an incoming "D_ConnectPending": 1 alert, 0 ignore. Called from inside the
    // callback, on the library's thread.
    virtual int32_t cti_IcaSetAlert(int32_t id, int32_t alert) = 0;
    virtual int32_t cti_AnswerCall(int32_t id, int32_t callHandle) = 0;
    virtual int32_t cti_Connect(int32_t id) = 0;
    virtual int32_t cti_Disconnect(int32_t id) = 0;
    virtual int32_t cti_SndOutFileStart(int32_t id, const QByteArray& path) = 0;
    virtual int32_t cti_SndOutFileStop(int32_t id) = 0;
    virtual int32_t cti_SndInFileStart(int32_t id, const QByteArray& path, int16_t waveFormat) = 0;
    virtual int32_t cti_SndInFileStop(int32_t id) = 0;
    virtual int32_t cti_SndOutStart(int32_t id) = 0;
    virtual int32_t cti_SndOutStop(int32_t id) = 0;
    virtual int32_t cti_SndInStart(int32_t id) = 0;
    virtual int32_t cti_SndInStop(int32_t id) = 0;
    virtual int32_t cti_GetCapiProfile(int32_t id, int32_t& value1, int32_t& value2) = 0;
    virtual int32_t cti_SetDebugFlag(int32_t flag) = 0;

    // Why the last failing cti_Init or cti_Register failed, in words for the user: what was tried and
    // what to change. Empty when there is nothing to say.
    virtual QString lastError() const { return {}; }
    // The link to the server. A library without a server of its own is always ready.
    virtual CtiLinkState linkState() const { return {}; }
};
