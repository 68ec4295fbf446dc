#pragma once

// The notice of a start that waits for the ISDN line (an autostart at login, while the router is still
// starting up): what it waits for, a running bar, and a button to give up. It takes its texts and emits
// when the user gives up; its owner (ProgramWindows) tries the line again meanwhile.

#include <QWidget>

class LineWaitWindow : public QWidget {
    Q_OBJECT
public:
    // `text` says what the start waits for; `giveUpText` labels the button that ends the wait.
    LineWaitWindow(const QString& text, const QString& giveUpText, QWidget* parent = nullptr);

Q_SIGNALS:
    // The user gave up waiting: with the button, or by closing the window.
    void gaveUp();

protected:
    void closeEvent(QCloseEvent* event) override;
};
