#pragma once

class clsCti;

// The answering machine's steps that the call path calls (the machine itself lives in lines/answering).
// All run on the main thread except ABOnFileEnd, which runs on the line library's thread.
class AnsweringSteps {
public:
    virtual ~AnsweringSteps() = default;
    // "Connected" of an incoming call that the machine answered (lngABState not 0).
    virtual void ABOnConnected(clsCti& cti) = 0;
    // "Disconnected" of the followed call, after its log entry was written.
    virtual void ABOnDisconnected(clsCti& cti) = 0;
    // A DTMF digit while the machine owns the call.
    virtual void ABOnDigit(clsCti& cti, char digit) = 0;
    // On the line library's thread: a file played into the line has ended or stopped (every report).
    virtual void ABOnFileEnd(clsCti& cti) = 0;
};
