#pragma once

// The answering machine's steps that the call path calls. Until the machine exists it never takes a
// call, so every step does nothing.
class AnsweringMachine {
public:
    void ABConnect() {}
    void ABDisconnect() {}
    void ABTick() {}
    void ABDigit(char) {}
    // Runs on the line library's thread when a file played into the line has ended.
    void ABFileEnd() {}
};
