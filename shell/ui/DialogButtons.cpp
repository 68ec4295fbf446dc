#include "shell/ui/DialogButtons.h"

#include <QBoxLayout>
#include <QDialogButtonBox>
#include <QPushButton>

OkCancelButtons AddOkCancelButtons(QWidget* window, QBoxLayout* layout) {
    auto* buttons = new QDialogButtonBox(window);
    OkCancelButtons row;
    row.ok = buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
    row.ok->setObjectName(QStringLiteral("cmdOK"));
    row.ok->setDefault(true);
    row.cancel = buttons->addButton(QString(), QDialogButtonBox::RejectRole);
    row.cancel->setObjectName(QStringLiteral("cmdCancel"));
    layout->addWidget(buttons);
    return row;
}
