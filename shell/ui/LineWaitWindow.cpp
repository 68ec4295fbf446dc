#include "shell/ui/LineWaitWindow.h"

#include <QCloseEvent>
#include <QDialogButtonBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

LineWaitWindow::LineWaitWindow(const QString& text, const QString& giveUpText, QWidget* parent)
    : QWidget(parent, Qt::Window) {
    setObjectName(QStringLiteral("LineWaitWindow"));
    setWindowTitle(QStringLiteral("Morva"));
    auto* layout = new QVBoxLayout(this);
    auto* lblWait = new QLabel(text, this);
    lblWait->setObjectName(QStringLiteral("lblWait"));
    lblWait->setWordWrap(true);
    layout->addWidget(lblWait);
    // A bar without an end: the start is alive and tries again by itself.
    auto* busy = new QProgressBar(this);
    busy->setObjectName(QStringLiteral("busy"));
    busy->setRange(0, 0);
    busy->setTextVisible(false);
    layout->addWidget(busy);
    auto* buttons = new QDialogButtonBox(this);
    QPushButton* cmdGiveUp = buttons->addButton(giveUpText, QDialogButtonBox::RejectRole);
    cmdGiveUp->setObjectName(QStringLiteral("cmdGiveUp"));
    connect(cmdGiveUp, &QPushButton::clicked, this, &LineWaitWindow::gaveUp);
    layout->addWidget(buttons);
    setMinimumWidth(380);
}

void LineWaitWindow::closeEvent(QCloseEvent* event) {
    // The window stays until its owner ends the wait; closing it is giving up.
    event->ignore();
    Q_EMIT gaveUp();
}
