#include "shell/ui/frmEintragAction.h"

#include "shell/base/Language.h"
#include "shell/ui/DialogButtons.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int TriggerCount = 7;
constexpr int ActionTypeCount = 5;
// What the result box shows while the rule runs.
const char* const TestRunning = "Test ........ ";

// A caption without the accelerator's ampersand.
QString plain(QString text) {
    text.remove(QLatin1Char('&'));
    return text;
}

// A caption with a colon after it, as the language writes one: French puts a space before it, which its
// catalog's own labels show.
QString withColon(const Language& language, const QString& text) {
    const bool spaced = language.LanguageString(3294).endsWith(QStringLiteral(" :"));
    return text + (spaced ? QStringLiteral(" :") : QStringLiteral(":"));
}
} // namespace

frmEintragAction::frmEintragAction(const Language& language, ActionTable& rules, QWidget* parent)
    : QDialog(parent), m_language(language), m_rules(rules) {
    setObjectName(QStringLiteral("frmEintragAction"));
    auto* layout = new QVBoxLayout(this);
    // One grid, so that every field starts at the same place: the captions, the fields, and the test's
    // button at the right of its number.
    auto* grid = new QGridLayout;
    grid->setColumnStretch(1, 1);
    const auto label = [this](const QString& name) {
        auto* l = new QLabel(this);
        l->setObjectName(name);
        return l;
    };

    m_lblStatusAuf = label(QStringLiteral("lblStatusAuf"));
    m_cboStatusAuf = new QComboBox(this);
    m_cboStatusAuf->setObjectName(QStringLiteral("cboStatusAuf"));
    m_lblStatusAuf->setBuddy(m_cboStatusAuf);
    grid->addWidget(m_lblStatusAuf, 0, 0);
    grid->addWidget(m_cboStatusAuf, 0, 1, 1, 2);
    m_lblActionAuf = label(QStringLiteral("lblActionAuf"));
    m_cboActionAuf = new QComboBox(this);
    m_cboActionAuf->setObjectName(QStringLiteral("cboActionAuf"));
    m_lblActionAuf->setBuddy(m_cboActionAuf);
    grid->addWidget(m_lblActionAuf, 1, 0);
    grid->addWidget(m_cboActionAuf, 1, 1, 1, 2);
    const char* const names[3] = {"Command", "Command2", "Command3"};
    for (int i = 0; i < 3; ++i) {
        m_lblCommand[i] = label(QStringLiteral("lbl") + QLatin1String(names[i]));
        m_txtCommand[i] = new QLineEdit(this);
        m_txtCommand[i]->setObjectName(QStringLiteral("txt") + QLatin1String(names[i]));
        // Room for a command line with its arguments.
        m_txtCommand[i]->setMinimumWidth(m_txtCommand[i]->fontMetrics().averageCharWidth() * 60);
        m_lblCommand[i]->setBuddy(m_txtCommand[i]);
        grid->addWidget(m_lblCommand[i], 2 + i, 0);
        grid->addWidget(m_txtCommand[i], 2 + i, 1, 1, 2);
    }
    grid->setRowMinimumHeight(5, 8);

    // The test: a number, the button, and what the run gave.
    m_lblTestNummer = label(QStringLiteral("lblTestNummer"));
    m_txtTestNummer = new QLineEdit(this);
    m_txtTestNummer->setObjectName(QStringLiteral("txtTestNummer"));
    m_lblTestNummer->setBuddy(m_txtTestNummer);
    m_cmdTest = new QPushButton(this);
    m_cmdTest->setObjectName(QStringLiteral("cmdTest"));
    m_cmdTest->setAutoDefault(false);
    grid->addWidget(m_lblTestNummer, 6, 0);
    grid->addWidget(m_txtTestNummer, 6, 1);
    grid->addWidget(m_cmdTest, 6, 2);
    m_lblResult = label(QStringLiteral("lblResult"));
    m_lblResult->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_txtResult = new QPlainTextEdit(this);
    m_txtResult->setObjectName(QStringLiteral("txtResult"));
    m_txtResult->setReadOnly(true);
    m_txtResult->setTabChangesFocus(true);
    m_txtResult->setFixedHeight(m_txtResult->fontMetrics().lineSpacing() * 4 + 12);
    m_lblResult->setBuddy(m_txtResult);
    grid->addWidget(m_lblResult, 7, 0);
    grid->addWidget(m_txtResult, 7, 1, 1, 2);
    layout->addLayout(grid);
    layout->addStretch(1);

    const OkCancelButtons buttons = AddOkCancelButtons(this, layout);
    m_cmdOK = buttons.ok;
    m_cmdCancel = buttons.cancel;

    connect(m_cmdOK, &QPushButton::clicked, this, &frmEintragAction::cmdOK_Click);
    connect(m_cmdCancel, &QPushButton::clicked, this, &frmEintragAction::cmdCancel_Click);
    connect(m_cmdTest, &QPushButton::clicked, this, &frmEintragAction::cmdTest_Click);
    connect(m_cboActionAuf, &QComboBox::currentIndexChanged, this, [this] { cboActionAuf_Click(); });

    Me_Set_Language();
    layout->setSizeConstraint(QLayout::SetMinimumSize);
}

void frmEintragAction::Me_Set_Language() {
    const Language& lang = m_language;
    setWindowTitle(lang.LanguageString(264));
    m_lblStatusAuf->setText(withColon(lang, lang.LanguageString(263)));
    m_lblActionAuf->setText(withColon(lang, lang.LanguageString(264)));
    // The lists keep their choice across the new texts.
    const int status = m_cboStatusAuf->currentIndex();
    const int typ = m_cboActionAuf->currentIndex();
    {
        const QSignalBlocker quietStatus(m_cboStatusAuf);
        const QSignalBlocker quietAction(m_cboActionAuf);
        m_cboStatusAuf->clear();
        for (int i = 0; i < TriggerCount; ++i)
            m_cboStatusAuf->addItem(ActionTriggerLabel(lang, i));
        m_cboActionAuf->clear();
        for (int i = 0; i < ActionTypeCount; ++i)
            m_cboActionAuf->addItem(ActionTypLabel(lang, i));
        m_cboStatusAuf->setCurrentIndex(status);
        m_cboActionAuf->setCurrentIndex(typ);
    }
    m_lblTestNummer->setText(lang.LanguageString(3294));
    m_lblResult->setText(lang.LanguageString(3295));
    m_cmdTest->setText(lang.LanguageString(3293));
    m_cmdOK->setText(lang.LanguageString(3281));
    m_cmdCancel->setText(lang.LanguageString(50));
    cboActionAuf_Click();
}

void frmEintragAction::SetValues(int index) {
    const ActionEntryValues v = ActionEntryLoad(m_rules, index);
    m_index = index;
    // A trigger or an action outside the lists (a hand-edited settings file) is no choice.
    m_cboStatusAuf->setCurrentIndex(v.status >= 0 && v.status < TriggerCount ? v.status : -1);
    m_cboActionAuf->setCurrentIndex(v.typ >= 0 && v.typ < ActionTypeCount ? v.typ : -1);
    m_txtCommand[0]->setText(v.command);
    m_txtCommand[1]->setText(v.command2);
    m_txtCommand[2]->setText(v.command3);
    m_txtResult->clear();
    cboActionAuf_Click();
}

void frmEintragAction::setTestNumber(const QString& number) {
    m_txtTestNummer->setText(number);
}

QString frmEintragAction::testNumber() const {
    return m_txtTestNummer->text().trimmed();
}

ActionEntryValues frmEintragAction::values() const {
    return {m_cboStatusAuf->currentIndex(), m_cboActionAuf->currentIndex(), m_txtCommand[0]->text().trimmed(),
            m_txtCommand[1]->text().trimmed(), m_txtCommand[2]->text().trimmed()};
}

bool frmEintragAction::save() {
    if (!ActionEntrySave(m_rules, m_index, values())) {
        QMessageBox::warning(this, plain(windowTitle()), m_language.LanguageString(3299));
        return false;
    }
    Q_EMIT saved(m_index);
    return true;
}

void frmEintragAction::cmdOK_Click() {
    if (save())
        accept();
}

void frmEintragAction::cmdCancel_Click() {
    reject();
}

void frmEintragAction::cmdTest_Click() {
    if (!save())
        return;
    m_txtResult->setPlainText(QLatin1String(TestRunning));
    // The notice is on the screen before the rule runs, which may take a moment.
    m_txtResult->repaint();
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    if (m_runner)
        m_txtResult->setPlainText(m_runner(m_index, testNumber()));
}

void frmEintragAction::cboActionAuf_Click() {
    const ActionFields fields = ActionFieldsFor(m_cboActionAuf->currentIndex());
    const int labels[3] = {fields.label1, fields.label2, fields.label3};
    for (int i = 0; i < 3; ++i) {
        const bool shown = labels[i] != 0;
        if (shown) {
            // The one field of the actions on programs and windows is "Parameter 1".
            QString text = m_language.LanguageString(labels[i]);
            if (labels[i] == 265)
                text = withColon(m_language, text + QStringLiteral(" 1"));
            m_lblCommand[i]->setText(text);
        }
        m_lblCommand[i]->setVisible(shown);
        m_txtCommand[i]->setVisible(shown);
    }
    // The window is as high as its fields: no gap where a hidden one was.
    if (isVisible() && layout()) {
        layout()->activate();
        resize(width(), minimumSizeHint().height());
    }
}
