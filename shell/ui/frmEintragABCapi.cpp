#include "shell/ui/frmEintragABCapi.h"

#include "shell/base/Language.h"
#include "shell/ui/DialogButtons.h"
#include "shell/ui/ctlDateiAuswahl.h"
#include "shell/ui/ctlNummerText.h"

#include <QCheckBox>
#include <QFontMetrics>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

frmEintragABCapi::frmEintragABCapi(const Language& language, QWidget* parent)
    : QDialog(parent), m_language(language) {
    setObjectName(QStringLiteral("frmEintragABCapi"));
    auto* layout = new QVBoxLayout(this);
    auto* grid = new QGridLayout;
    grid->setColumnStretch(1, 1);
    const auto label = [this](const char* name) {
        auto* l = new QLabel(this);
        l->setObjectName(QString::fromUtf8(name));
        return l;
    };
    const auto check = [this](const char* name) {
        auto* c = new QCheckBox(this);
        c->setObjectName(QString::fromUtf8(name));
        return c;
    };

    // The number, read-only: its entry and the number itself.
    m_lblMSN = label("lblMSN");
    m_txtMSNNr = new QLineEdit(this);
    m_txtMSNNr->setObjectName(QStringLiteral("txtMSNNr"));
    m_txtMSNNr->setReadOnly(true);
    m_txtMSNNr->setFocusPolicy(Qt::ClickFocus);
    m_txtMSNNr->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_txtMSNNr->setFixedWidth(m_txtMSNNr->fontMetrics().horizontalAdvance(QStringLiteral("000")) + 16);
    m_txtMSN = new QLineEdit(this);
    m_txtMSN->setObjectName(QStringLiteral("txtMSN"));
    m_txtMSN->setReadOnly(true);
    m_txtMSN->setFocusPolicy(Qt::ClickFocus);
    auto* number = new QHBoxLayout;
    number->addWidget(m_txtMSNNr);
    number->addWidget(m_txtMSN, 1);
    grid->addWidget(m_lblMSN, 0, 0);
    grid->addLayout(number, 0, 1);

    m_chkABON = check("chkABON");
    grid->addWidget(m_chkABON, 1, 0, 1, 2);

    // Rings and recording time: boxes as wide as their largest value, the rings' seconds beside them.
    const int numberWidth = fontMetrics().horizontalAdvance(QStringLiteral("00000")) + 40;
    m_lblAnzRufsignale = label("lblAnzRufsignale");
    m_ctlAnzRufsignale = new ctlNummerText(this);
    m_ctlAnzRufsignale->setObjectName(QStringLiteral("ctlAnzRufsignale"));
    m_ctlAnzRufsignale->setMinCount(0);
    m_ctlAnzRufsignale->setMaxCount(ABCapiEntry::MaxRings);
    m_ctlAnzRufsignale->setFixedWidth(numberWidth);
    m_lblAnzRufsignale->setBuddy(m_ctlAnzRufsignale);
    m_lblRufsekunden = label("lblRufsekunden");
    auto* rings = new QHBoxLayout;
    rings->addWidget(m_ctlAnzRufsignale);
    rings->addWidget(m_lblRufsekunden);
    rings->addStretch(1);
    grid->addWidget(m_lblAnzRufsignale, 2, 0);
    grid->addLayout(rings, 2, 1);

    m_lblMaxTime = label("lblMaxTime");
    m_ctlMaxTime = new ctlNummerText(this);
    m_ctlMaxTime->setObjectName(QStringLiteral("ctlMaxTime"));
    m_ctlMaxTime->setMinCount(0);
    m_ctlMaxTime->setMaxCount(ABCapiEntry::MaxRecordingSeconds);
    m_ctlMaxTime->setFixedWidth(numberWidth);
    m_lblMaxTime->setBuddy(m_ctlMaxTime);
    m_lblAufnahmesekunden = label("lblAufnahmesekunden");
    auto* time = new QHBoxLayout;
    time->addWidget(m_ctlMaxTime);
    time->addWidget(m_lblAufnahmesekunden);
    time->addStretch(1);
    grid->addWidget(m_lblMaxTime, 3, 0);
    grid->addLayout(time, 3, 1);

    // The machine reads the rings and the recording time of the number a call came in on.
    // One line: the window is as wide as it needs, where a wrapped note would be given the height of
    // a guessed width and cut.
    m_lblHinweis = label("lblHinweis");
    m_lblHinweis->setForegroundRole(QPalette::PlaceholderText);
    grid->addWidget(m_lblHinweis, 4, 1);

    m_chkMithören = check("chkMithören");
    grid->addWidget(m_chkMithören, 5, 0, 1, 2);

    m_lblAnsage = label("lblAnsage");
    m_ctlAnsage = new ctlDateiAuswahl(this);
    m_ctlAnsage->setObjectName(QStringLiteral("ctlAnsage"));
    m_ctlAnsage->setShowPlayButton(true);
    m_ctlAnsage->setShowRed(true);
    m_lblAnsage->setBuddy(m_ctlAnsage);
    grid->addWidget(m_lblAnsage, 6, 0);
    grid->addWidget(m_ctlAnsage, 6, 1);
    layout->addLayout(grid);
    layout->addStretch(1);

    const OkCancelButtons buttons = AddOkCancelButtons(this, layout);
    m_cmdOK = buttons.ok;
    m_cmdCancel = buttons.cancel;
    connect(m_cmdOK, &QPushButton::clicked, this, &frmEintragABCapi::cmdOK_Click);
    connect(m_cmdCancel, &QPushButton::clicked, this, &frmEintragABCapi::cmdCancel_Click);
    connect(m_ctlAnzRufsignale, &ctlNummerText::Change, this, [this] { showSeconds(); });
    connect(m_ctlMaxTime, &ctlNummerText::Change, this, [this] { showSeconds(); });

    Me_Set_Language();
    // Never narrower than its texts in any language.
    layout->setSizeConstraint(QLayout::SetMinimumSize);
}

void frmEintragABCapi::Me_Set_Language() {
    const Language& lang = m_language;
    setWindowTitle(lang.LanguageString(3270));
    m_lblMSN->setText(lang.LanguageString(3223));
    m_chkABON->setText(lang.LanguageString(3271));
    m_lblAnzRufsignale->setText(lang.LanguageString(3272));
    m_lblMaxTime->setText(lang.LanguageString(3273));
    m_chkMithören->setText(lang.LanguageString(3274));
    m_lblAnsage->setText(lang.LanguageString(3275));
    // The box is wide enough for the whole of its note about the default greeting.
    QLineEdit* greeting = m_ctlAnsage->txtDateiname();
    greeting->setPlaceholderText(lang.LanguageString(3276));
    const int frame = style()->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, greeting);
    greeting->setMinimumWidth(greeting->fontMetrics().horizontalAdvance(greeting->placeholderText()) +
                              2 * frame + greeting->fontMetrics().averageCharWidth() * 4);
    m_ctlAnsage->setDialogHeader(lang.LanguageString(3277));
    m_ctlAnsage->setDialogFileSelect(lang.LanguageString(3278));
    m_lblHinweis->setText(lang.LanguageString(3279));
    m_cmdOK->setText(lang.LanguageString(3281));
    m_cmdCancel->setText(lang.LanguageString(50));
    showSeconds();
}

void frmEintragABCapi::Set_Values(int index, const QString& msn, const ABCapiEntry& values,
                                  const QString& soundFolder) {
    m_index = index;
    m_soundFolder = soundFolder;
    m_txtMSNNr->setText(QString::number(index));
    m_txtMSN->setText(msn);
    m_chkABON->setChecked(values.on);
    m_ctlAnzRufsignale->setValue(values.rings);
    m_ctlMaxTime->setValue(values.recordingSeconds);
    m_chkMithören->setChecked(values.listenIn);
    m_ctlAnsage->setDefaultPath(soundFolder);
    m_ctlAnsage->setFilePath(values.greeting);
    showSeconds();
}

ABCapiEntry frmEintragABCapi::Values() const {
    ABCapiEntry values;
    values.on = m_chkABON->isChecked();
    values.rings = m_ctlAnzRufsignale->Value();
    values.recordingSeconds = m_ctlMaxTime->Value();
    values.listenIn = m_chkMithören->isChecked();
    values.greeting = m_ctlAnsage->FilePath();
    return values;
}

void frmEintragABCapi::cmdOK_Click() {
    // The greeting's name is completed against the sound folder as the box shows it relative to it.
    Q_EMIT valuesChosen(m_index, Values().Confirmed(m_soundFolder));
    accept();
}

void frmEintragABCapi::cmdCancel_Click() {
    reject();
}

void frmEintragABCapi::showSeconds() {
    // What the rings and the recording limit come to in seconds, in the language's way of writing
    // decimals: only English writes a point.
    const auto about = [this](double value) {
        QString seconds = QString::number(value, 'f', 1);
        if (m_language.LanguageCode() != QLatin1String("uk"))
            seconds.replace(QLatin1Char('.'), QLatin1Char(','));
        return m_language.LanguageString(3280).arg(seconds);
    };
    m_lblRufsekunden->setText(about(m_ctlAnzRufsignale->Value() * ABCapiEntry::RingSeconds));
    m_lblAufnahmesekunden->setText(about(m_ctlMaxTime->Value() * ABCapiEntry::RecordingUnitSeconds));
}
