#pragma once

#include <QWidget>

class StandInLine;
class QLabel;
class QLineEdit;
class QComboBox;

// The far end of the stand-in line for a person: ring the program from a number, answer its outgoing
// call, hang up with a reason, send a digit.
class StandInLineWindow : public QWidget {
    Q_OBJECT
public:
    explicit StandInLineWindow(StandInLine& line, QWidget* parent = nullptr);

private:
    void refresh();

    StandInLine& m_line;
    QLineEdit* m_calling = nullptr;
    QLineEdit* m_called = nullptr;
    QComboBox* m_reason = nullptr;
    QLineEdit* m_digit = nullptr;
    QLabel* m_state = nullptr;
};
