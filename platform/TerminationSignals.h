#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM and SIGINT into a Qt signal on the main thread, so that they close the program the
// orderly way a user's close does. One instance per process.
class TerminationSignals : public QObject {
    Q_OBJECT
public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void terminationRequested(int signalNumber);

private:
    QSocketNotifier* m_notifier = nullptr;
    int m_fds[2] = {-1, -1};
};
