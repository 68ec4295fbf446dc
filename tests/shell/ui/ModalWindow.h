#pragma once

// For the tests of windows that open other windows modally.

#include <QApplication>
#include <QDeadlineTimer>
#include <QTimer>
#include <QWidget>

#include <functional>

// Runs `open`, which opens a window of type T modally, and `inside` on it while it is up; a window still
// up afterwards is closed, and so is any other modal window still up after 5 s. True when the window came.
template <typename T>
bool withModal(const std::function<void()>& open, const std::function<void(T&)>& inside) {
    bool came = false;
    QTimer poll;
    poll.setInterval(10);
    const QDeadlineTimer deadline(5000);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto* window = qobject_cast<T*>(QApplication::activeModalWidget());
        if (window && window->isVisible()) {
            poll.stop();
            came = true;
            inside(*window);
            if (window->isVisible())
                window->close();
        } else if (deadline.hasExpired()) {
            poll.stop();
            if (QWidget* other = QApplication::activeModalWidget())
                other->close();
        }
    });
    poll.start();
    open();
    poll.stop();
    return came;
}
