#pragma once

// A PulseAudio sound server of its own, in the process's runtime folder (a test's private one): a null sink
// "ci_sink" at 8 kHz mono as the loudspeaker, and "ci_mic", a source made of that sink's monitor, as the
// microphone (with a listener of its own on the sink, so that it renders in small steps as a sound card
// plays). What is played to the sink is therefore heard by the microphone, which lets a test hear
// what the program plays and speak to the program. The server ends with the object.

#include <QString>

#include <sys/types.h>

class PulseServer {
public:
    static constexpr const char* Sink = "ci_sink";
    static constexpr const char* Microphone = "ci_mic";
    // A second loudspeaker nobody hears, to choose a device other than the default.
    static constexpr const char* Headset = "ci_headset";

    PulseServer() = default;
    ~PulseServer();
    PulseServer(const PulseServer&) = delete;
    PulseServer& operator=(const PulseServer&) = delete;

    // Starts the server and waits until it takes connections; false with `error` when it cannot.
    bool start(QString* error);
    // Ends the server as a user's session would, or all at once as a crash does.
    void stop();
    void kill();
    bool running() const { return m_pid > 0; }

private:
    void end(int signal);

    pid_t m_pid = -1;
    pid_t m_pacer = -1;
};
