#include "shell/ui/frmOptHotkey.h"

#include "shell/base/Language.h"
#include "shell/ui/DialogButtons.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>

frmOptHotkey::frmOptHotkey(const Language& language, QWidget* parent)
    : QDialog(parent), m_language(language) {
    setObjectName(QStringLiteral("frmOptHotkey"));
    auto* layout = new QVBoxLayout(this);
    auto* grid = new QGridLayout;
    grid->setColumnStretch(2, 1);
    const int fieldWidth = fontMetrics().horizontalAdvance(QStringLiteral("0")) * 10 + 16;
    const auto field = [this, fieldWidth](const char* name, QLabel*& label, QLineEdit*& edit) {
        label = new QLabel(this);
        label->setObjectName(QStringLiteral("lbl") + QString::fromUtf8(name).mid(3));
        edit = new QLineEdit(this);
        edit->setObjectName(QString::fromUtf8(name));
        edit->setFixedWidth(fieldWidth);
        // Digits only: the rules work on the digits of a number.
        edit->setValidator(
            new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[0-9]*")), edit));
        label->setBuddy(edit);
    };
    field("txtHotPrefix", m_lblHotPrefix, m_txtHotPrefix);
    field("txtHotReplace", m_lblHotReplace, m_txtHotReplace);
    grid->addWidget(m_lblHotPrefix, 0, 0);
    grid->addWidget(m_txtHotPrefix, 0, 1);
    grid->addWidget(m_lblHotReplace, 1, 0);
    grid->addWidget(m_txtHotReplace, 1, 1);
    m_chkHotLandPlus = new QCheckBox(this);
    m_chkHotLandPlus->setObjectName(QStringLiteral("chkHotLandPlus"));
    grid->addWidget(m_chkHotLandPlus, 2, 0, 1, 3);
    field("txtHotReplacePlus", m_lblHotReplacePlus, m_txtHotReplacePlus);
    grid->addWidget(m_lblHotReplacePlus, 3, 0);
    grid->addWidget(m_txtHotReplacePlus, 3, 1);
    layout->addLayout(grid);
    layout->addStretch(1);

    const OkCancelButtons buttons = AddOkCancelButtons(this, layout);
    m_cmdOK = buttons.ok;
    m_cmdCancel = buttons.cancel;
    connect(m_cmdOK, &QPushButton::clicked, this, &frmOptHotkey::cmdOK_Click);
    connect(m_cmdCancel, &QPushButton::clicked, this, &frmOptHotkey::cmdCancel_Click);
    connect(m_chkHotLandPlus, &QCheckBox::toggled, this, &frmOptHotkey::chkHotLandPlus_Click);

    Me_Set_Language();
    chkHotLandPlus_Click();
    layout->setSizeConstraint(QLayout::SetMinimumSize);
}

void frmOptHotkey::Me_Set_Language() {
    const Language& lang = m_language;
    setWindowTitle(lang.LanguageString(3237));
    m_lblHotPrefix->setText(lang.LanguageString(3238));
    m_lblHotReplace->setText(lang.LanguageString(3239));
    m_chkHotLandPlus->setText(lang.LanguageString(3241));
    m_lblHotReplacePlus->setText(lang.LanguageString(3242));
    m_cmdOK->setText(lang.LanguageString(3281));
    m_cmdCancel->setText(lang.LanguageString(50));
}

void frmOptHotkey::SetValues(const HotkeyRules& rules) {
    m_txtHotPrefix->setText(rules.prefix);
    m_txtHotReplace->setText(rules.replace);
    m_chkHotLandPlus->setChecked(rules.replacePlus != 0);
    m_txtHotReplacePlus->setText(rules.plusString);
    chkHotLandPlus_Click();
}

HotkeyRules frmOptHotkey::Values() const {
    HotkeyRules rules;
    rules.prefix = m_txtHotPrefix->text().trimmed();
    rules.replace = m_txtHotReplace->text().trimmed();
    rules.replacePlus = m_chkHotLandPlus->isChecked() ? 1 : 0;
    rules.plusString = m_txtHotReplacePlus->text().trimmed();
    return rules;
}

void frmOptHotkey::cmdOK_Click() {
    Q_EMIT valuesChosen(Values());
    accept();
}

void frmOptHotkey::cmdCancel_Click() {
    reject();
}

void frmOptHotkey::chkHotLandPlus_Click() {
    const bool on = m_chkHotLandPlus->isChecked();
    m_txtHotReplacePlus->setEnabled(on);
    m_lblHotReplacePlus->setEnabled(on);
}
