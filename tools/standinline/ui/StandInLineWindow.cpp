#include "tools/standinline/ui/StandInLineWindow.h"

#include "tools/standinline/StandInLine.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

StandInLineWindow::StandInLineWindow(StandInLine& line, QWidget* parent)
    : QWidget(parent, Qt::Window), m_line(line) {
    setObjectName(QStringLiteral("StandInLineWindow"));
    setWindowTitle(tr("Morva stand-in line"));
    auto* layout = new QVBoxLayout(this);
    auto* form = new QFormLayout;
    m_calling = new QLineEdit(QStringLiteral("0891234567"), this);
    m_calling->setObjectName(QStringLiteral("callingNumber"));
    m_calling->setPlaceholderText(tr("empty: number suppressed"));
    m_called = new QLineEdit(QStringLiteral("5551"), this);
    m_called->setObjectName(QStringLiteral("calledNumber"));
    m_reason = new QComboBox(this);
    m_reason->setObjectName(QStringLiteral("reason"));
    m_reason->addItem(tr("Normal call clearing (0x3490)"), 0x3490);
    m_reason->addItem(tr("User busy (0x3491)"), 0x3491);
    m_reason->addItem(tr("No answer from user (0x3493)"), 0x3493);
    m_reason->addItem(tr("Unallocated number (0x3481)"), 0x3481);
    m_digit = new QLineEdit(QStringLiteral("1"), this);
    m_digit->setObjectName(QStringLiteral("digit"));
    m_digit->setMaxLength(1);
    form->addRow(tr("Caller's number:"), m_calling);
    form->addRow(tr("Called MSN:"), m_called);
    form->addRow(tr("Reason at hang-up:"), m_reason);
    form->addRow(tr("DTMF digit:"), m_digit);
    layout->addLayout(form);

    auto* buttons = new QHBoxLayout;
    auto addButton = [&](const QString& name, const QString& text, auto handler) {
        auto* button = new QPushButton(text, this);
        button->setObjectName(name);
        connect(button, &QPushButton::clicked, this, handler);
        buttons->addWidget(button);
    };
    addButton(QStringLiteral("cmdRing"), tr("Ring"), [this] {
        QByteArray calling = m_calling->text().trimmed().toLatin1();
        const bool national = calling.startsWith('0') && !calling.startsWith("00");
        if (national)
            calling.remove(0, 1); // the line delivers national numbers without their "0"
        m_line.offerCall(calling, m_called->text().trimmed().toLatin1(), national);
    });
    addButton(QStringLiteral("cmdAnswer"), tr("Far end answers"), [this] { m_line.farEndAnswers(); });
    addButton(QStringLiteral("cmdHangUp"), tr("Far end hangs up"),
              [this] { m_line.farEndHangsUp(m_reason->currentData().toInt()); });
    addButton(QStringLiteral("cmdDigit"), tr("Send digit"), [this] {
        if (!m_digit->text().isEmpty())
            m_line.sendDtmf(m_digit->text().at(0).toLatin1());
    });
    layout->addLayout(buttons);

    m_state = new QLabel(this);
    m_state->setObjectName(QStringLiteral("lineState"));
    layout->addWidget(m_state);

    auto* timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &StandInLineWindow::refresh);
    timer->start(250);
    refresh();
}

void StandInLineWindow::refresh() {
    m_state->setText(m_line.describe());
}
