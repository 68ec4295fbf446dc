#pragma once

// The line library over CAPI 2.0: the cti_* operations on libcapi20, for an ISDN controller in the
// machine or, as most users have it, a CAPI server on the network (a router's CAPI-over-TCP service or a
// remote CAPI server).
//
// One thread of the library owns the CAPI application: it alone sends and receives CAPI messages, moves
// the voice, and raises the events through the program's callback. The cti_* operations check what they
// can at once, under the library's lock, and leave the sending to that thread, so the program's thread
// never waits on the network. A lost server ends the running call, and the library registers and listens
// again with growing pauses until the server is back.

#include "platform/cti/CtiLibrary.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <memory>

namespace voice {
class AudioDevice;
}

// Which CAPI server libcapi20 talks to. An empty driver leaves the choice to libcapi20's own
// configuration (~/.capi20rc or /etc/capi20.conf, else the kernel's CAPI device).
struct CapiServer {
    QByteArray driver; // "standard", "fritzbox" or "rcapi"
    QByteArray host;
    int port = 0;

    // "fritzbox at 127.0.0.1:5031", or "libcapi20's own configuration".
    QString describe() const;
    // The server in words of no language, for the status bar and the notice of a start that waits for
    // it: "192.168.178.1:5031 (fritzbox)", the driver alone without a host, libcapi20 and its
    // configuration files without a driver.
    QString name() const;
};

class CapiLink final : public CtiLibrary {
public:
    // The id of the one channel, as events carry it in XcId.
    static constexpr int32_t ChannelId = 1;
    // How long cti_Init and cti_Register wait for the server before they give up. Either may be called
    // again after it failed: it asks the server anew, or waits again for an answer still outstanding.
    static constexpr int StartTimeoutMs = 5000;

    // `audio` carries the voice between line and sound card; null gives silence both ways.
    CapiLink(CapiServer server, std::shared_ptr<voice::AudioDevice> audio);
    ~CapiLink() override;
    CapiLink(const CapiLink&) = delete;
    CapiLink& operator=(const CapiLink&) = delete;

    int32_t cti_Init() override;
    int32_t cti_Exit() override;
    int32_t cti_Register(const EifcConfigBlock& config, const FdWaveConfigBlock& wave,
                         CtiEventCallback callback) override;
    int32_t cti_Release(int32_t id) override;
    int32_t cti_IcaSetConfig(int32_t id, const EifcConfigBlock& config) override;
    int32_t cti_IcaGetConfig(int32_t id, EifcConfigBlock& config) override;
    int32_t cti_IcaSetAlert(int32_t id, int32_t alert) override;
    int32_t cti_AnswerCall(int32_t id, int32_t callHandle) override;
    int32_t cti_Connect(int32_t id) override;
    int32_t cti_Disconnect(int32_t id) override;
    int32_t cti_SndOutFileStart(int32_t id, const QByteArray& path) override;
    int32_t cti_SndOutFileStop(int32_t id) override;
    int32_t cti_SndInFileStart(int32_t id, const QByteArray& path, int16_t waveFormat) override;
    int32_t cti_SndInFileStop(int32_t id) override;
    int32_t cti_SndOutStart(int32_t id) override;
    int32_t cti_SndOutStop(int32_t id) override;
    int32_t cti_SndInStart(int32_t id) override;
    int32_t cti_SndInStop(int32_t id) override;
    int32_t cti_GetCapiProfile(int32_t id, int32_t& value1, int32_t& value2) override;
    int32_t cti_SetDebugFlag(int32_t flag) override;

    QString lastError() const override;
    CtiLinkState linkState() const override;

    // The state of the library's thread is shared with it, so that a thread stuck in connecting to an
    // unreachable server can be left behind safely.
    struct Core;

private:
    std::shared_ptr<Core> m_core;
};
