#pragma once

// Questions to the user, messages and the progress box, for logic that must ask or report progress
// without knowing windows. The main window attaches real dialogs; tests attach their answers. Without a
// window a message goes to debug.txt and a question gets its safe answer: No, or Cancel where it is
// offered, so nothing is deleted or overwritten that nobody agreed to.

#include <QString>

#include <functional>

class Logs;

class UserDialogs {
public:
    enum class Buttons { Ok, YesNo, YesNoCancel };
    enum class Icon { Information, Question, Warning, Critical };
    enum class Answer { Ok, Yes, No, Cancel };

    // The window side of a question: shows it and gives the user's answer.
    using Asker = std::function<Answer(const QString& text, Buttons buttons, Icon icon)>;
    // The window side of the progress box: shown with a caption, told the done share, hidden.
    struct ProgressView {
        std::function<void(const QString& caption)> show;
        std::function<void(int percent)> report;
        std::function<void()> hide;
    };

    explicit UserDialogs(Logs& logs) : m_logs(logs) {}

    void setAsker(Asker asker) { m_asker = std::move(asker); }
    void setProgressView(ProgressView view) { m_progress = std::move(view); }
    // Lets the window system run during a long loop (the progress box's cancel button).
    void setEventPump(std::function<void()> pump) { m_pump = std::move(pump); }
    // The start-up display's progress, in percent.
    void setLoadStatus(std::function<void(int percent)> status) { m_loadStatus = std::move(status); }

    Answer MsgBox(const QString& text, Buttons buttons = Buttons::Ok, Icon icon = Icon::Information);

    void ProgressShow(const QString& caption);
    void ProgressReport(int percent);
    void ProgressHide();
    // The cancel flag of the progress box: set by its button, read by the loop, cleared at its start.
    bool Cancelled() const { return m_cancelled; }
    void Cancel() { m_cancelled = true; }
    void ClearCancel() { m_cancelled = false; }
    void DoEvents();

    void Set_load_stat(int percent);

private:
    Logs& m_logs;
    Asker m_asker;
    ProgressView m_progress;
    std::function<void()> m_pump;
    std::function<void(int)> m_loadStatus;
    bool m_cancelled = false;
};
