#include "shell/ui/frmPlayRecord.h"

#include "shell/base/Language.h"
#include "shell/base/modPathModify.h"
#include "shell/ui/PlayRecordSound.h"
#include "shell/ui/ctlDateiAuswahl.h"

#include <QAction>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

namespace {

bool askWithMessageBox(QWidget* owner, const QString& text) {
    return QMessageBox::question(owner, QStringLiteral("Morva"), text, QMessageBox::Yes | QMessageBox::No,
                                 QMessageBox::No) == QMessageBox::Yes;
}

// The desktop's record icon, or a red dot where the theme has none.
QIcon recordIcon(int side) {
    QIcon icon = QIcon::fromTheme(QStringLiteral("media-record"));
    if (!icon.isNull())
        return icon;
    QPixmap dot(side, side);
    dot.fill(Qt::transparent);
    QPainter painter(&dot);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(200, 0, 0));
    const qreal margin = side / 5.0;
    painter.drawEllipse(QRectF(margin, margin, side - 2 * margin, side - 2 * margin));
    return QIcon(dot);
}

} // namespace

QString PlayRecordSecondsText(double seconds) {
    QString text = QString::number(seconds, 'f', 3);
    const qsizetype point = text.indexOf(QLatin1Char('.'));
    const bool negative = text.startsWith(QLatin1Char('-'));
    const qsizetype digits = point - (negative ? 1 : 0);
    if (digits < 2)
        text.insert(negative ? 1 : 0, QString(2 - digits, QLatin1Char('0')));
    text.replace(QLatin1Char('.'), QLatin1Char(','));
    return text + QStringLiteral(" sec");
}

frmPlayRecord::frmPlayRecord(const Language& language, PlayRecordSound& sound, QWidget* parent)
    : QDialog(parent), m_language(language), m_sound(sound), m_asker(askWithMessageBox) {
    setObjectName(QStringLiteral("frmPlayRecord"));
    setWindowTitle(m_language.LanguageString(3212));
    auto* layout = new QVBoxLayout(this);

    const int iconSide = style()->pixelMetric(QStyle::PM_ToolBarIconSize, nullptr, this);
    m_Toolbar1 = new QToolBar(this);
    m_Toolbar1->setObjectName(QStringLiteral("Toolbar1"));
    m_Toolbar1->setIconSize(QSize(iconSide, iconSide));
    const auto key = [this](const char* name, const QIcon& icon) {
        QAction* action = m_Toolbar1->addAction(icon, QString());
        action->setObjectName(QString::fromLatin1(name));
        return action;
    };
    key("play", QIcon::fromTheme(QStringLiteral("media-playback-start"),
                                 style()->standardIcon(QStyle::SP_MediaPlay)));
    key("record", recordIcon(iconSide));
    key("stop",
        QIcon::fromTheme(QStringLiteral("media-playback-stop"), style()->standardIcon(QStyle::SP_MediaStop)));
    connect(m_Toolbar1, &QToolBar::actionTriggered, this, &frmPlayRecord::Toolbar1_ButtonClick);
    layout->addWidget(m_Toolbar1);

    auto* grid = new QGridLayout;
    grid->setColumnStretch(1, 1);
    const auto caption = [this, grid](int row, const char* name, const QString& text) {
        auto* label = new QLabel(text, this);
        label->setObjectName(QString::fromUtf8(name));
        grid->addWidget(label, row, 0);
        return label;
    };
    const auto value = [this, grid](int row, const char* name) {
        auto* label = new QLabel(this);
        label->setObjectName(QString::fromUtf8(name));
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        grid->addWidget(label, row, 1);
        return label;
    };
    QLabel* fileCaption = caption(0, "lblDateiLabel", m_language.LanguageString(3219));
    m_ctlDateiAuswahl1 = new ctlDateiAuswahl(this);
    m_ctlDateiAuswahl1->setObjectName(QStringLiteral("ctlDateiAuswahl1"));
    fileCaption->setBuddy(m_ctlDateiAuswahl1);
    grid->addWidget(m_ctlDateiAuswahl1, 0, 1);
    caption(1, "lblDateiinfoLabel", m_language.LanguageString(3213));
    m_lblDateiinfo = value(1, "lblDateiinfo");
    caption(2, "lblDateilängeLabel", m_language.LanguageString(3214));
    m_lblDateilänge = value(2, "lblDateilänge");
    caption(3, "lblDateigrößeLabel", m_language.LanguageString(3215));
    m_lblDateigröße = value(3, "lblDateigröße");
    caption(4, "lblDateiPositionLabel", m_language.LanguageString(3216));
    m_lblDateiPosition = value(4, "lblDateiPosition");
    layout->addLayout(grid);

    m_prgProgress = new QProgressBar(this);
    m_prgProgress->setObjectName(QStringLiteral("prgProgress"));
    m_prgProgress->setRange(0, 100);
    m_prgProgress->setValue(0);
    m_prgProgress->setTextVisible(false);
    layout->addWidget(m_prgProgress);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    const auto button = [this, buttons](const char* name) {
        auto* b = new QPushButton(this);
        b->setObjectName(QString::fromLatin1(name));
        b->setAutoDefault(false);
        buttons->addWidget(b);
        return b;
    };
    m_cmdPlay = button("cmdPlay");
    m_cmdRecord = button("cmdRecord");
    m_cmdStop = button("cmdStop");
    layout->addLayout(buttons);
    connect(m_cmdPlay, &QPushButton::clicked, this, &frmPlayRecord::cmdPlay_Click);
    connect(m_cmdRecord, &QPushButton::clicked, this, &frmPlayRecord::cmdRecord_Click);
    connect(m_cmdStop, &QPushButton::clicked, this, &frmPlayRecord::cmdStop_Click);

    m_timerProgress = new QTimer(this);
    m_timerProgress->setObjectName(QStringLiteral("timerProgress"));
    m_timerProgress->setInterval(50);
    connect(m_timerProgress, &QTimer::timeout, this, &frmPlayRecord::timerProgress_Timer);

    connect(m_ctlDateiAuswahl1, &ctlDateiAuswahl::FilePathChanged, this,
            [this] { ctlDateiAuswahl1_FilePathChanged(); });
    setMinimumWidth(460);
}

frmPlayRecord::~frmPlayRecord() {
    // A window deleted while it still plays or records (its owner went) leaves nothing running.
    if (m_loaded && !m_unloaded) {
        m_timerProgress->stop();
        m_sound.SoundPlayStop();
        m_sound.SoundRecordStop();
    }
}

void frmPlayRecord::setDefaultPath(const QString& folder) {
    m_ctlDateiAuswahl1->setDefaultPath(folder);
}

void frmPlayRecord::setAsker(YesNoAsker asker) {
    m_asker = asker ? std::move(asker) : YesNoAsker(askWithMessageBox);
}

QString frmPlayRecord::fileName() const {
    const QString text = m_ctlDateiAuswahl1->FilePath();
    const QString folder = m_ctlDateiAuswahl1->DefaultPath();
    return text.isEmpty() || folder.isEmpty() ? text : PathComplete(text, folder);
}

void frmPlayRecord::showEvent(QShowEvent* event) {
    m_unloaded = false;
    if (!m_loaded) {
        m_loaded = true;
        Form_Load();
    }
    QDialog::showEvent(event);
}

void frmPlayRecord::Form_Load() {
    const Language& lang = m_language;
    // The buttons and the tool bar's keys: play, record, stop.
    const std::pair<QString, std::pair<QPushButton*, const char*>> commands[] = {
        {lang.LanguageString(606), {m_cmdPlay, "play"}},
        {lang.LanguageString(605), {m_cmdRecord, "record"}},
        {lang.LanguageString(604), {m_cmdStop, "stop"}}};
    for (const auto& [text, controls] : commands) {
        controls.first->setText(text);
        QAction* key = m_Toolbar1->findChild<QAction*>(QString::fromLatin1(controls.second));
        key->setText(text);
        key->setToolTip(text);
    }
    for (QLabel* label : {m_lblDateiinfo, m_lblDateilänge, m_lblDateigröße, m_lblDateiPosition})
        label->clear();

    if (!mctlPathTextControl) {
        // Only playing: no recording, and the file is the one given.
        m_cmdRecord->setVisible(false);
        m_Toolbar1->findChild<QAction*>(QStringLiteral("record"))->setVisible(false);
        m_ctlDateiAuswahl1->setFilePath(mstrFile);
        m_ctlDateiAuswahl1->setEnabled(false);
    } else {
        // The box's text as it stands, written relative to the same folder as this field's.
        m_ctlDateiAuswahl1->txtDateiname()->setText(mctlPathTextControl->text());
    }
    // The labels of the file also when the field's text did not change.
    ctlDateiAuswahl1_FilePathChanged();

    if (mintAutoPlay)
        cmdPlay_Click();
}

void frmPlayRecord::done(int result) {
    if (!m_unloaded) {
        m_unloaded = true;
        Form_QueryUnload();
    }
    QDialog::done(result);
}

void frmPlayRecord::Form_QueryUnload() {
    if (mctlPathTextControl)
        mctlPathTextControl->setText(m_ctlDateiAuswahl1->FilePath());
    m_timerProgress->stop();
    m_prgProgress->setValue(100);
    m_sound.SoundPlayStop();
    m_sound.SoundRecordStop();
}

void frmPlayRecord::cmdPlay_Click() {
    const QString file = fileName();
    m_prgProgress->setValue(0);
    m_timerProgress->start();
    m_sound.SoundPlayLoop(file, 0);
    m_mode = Playing;
}

void frmPlayRecord::cmdRecord_Click() {
    const QString file = fileName();
    if (m_sound.SoundFileExists(file) &&
        !m_asker(this, m_language.LanguageString(3334) + QLatin1Char('\n') + file))
        return;
    m_prgProgress->setValue(100);
    m_timerProgress->start();
    m_sound.SoundRecord(file);
    m_mode = Recording;
}

void frmPlayRecord::cmdStop_Click() {
    m_timerProgress->stop();
    m_prgProgress->setValue(100);
    if (m_mode == Playing) {
        m_sound.SoundPlayStop();
    } else {
        m_sound.SoundRecordStop();
        // The file is new or longer now: its format and length are shown anew.
        ctlDateiAuswahl1_FilePathChanged();
    }
}

void frmPlayRecord::Toolbar1_ButtonClick(QAction* button) {
    const QString key = button->objectName();
    if (key == QLatin1String("play"))
        cmdPlay_Click();
    else if (key == QLatin1String("record"))
        cmdRecord_Click();
    else if (key == QLatin1String("stop"))
        cmdStop_Click();
}

void frmPlayRecord::timerProgress_Timer() {
    const SoundProgressView progress = m_sound.SoundProgress();
    m_prgProgress->setValue(progress.bar);
    m_lblDateigröße->setText(progress.size);
    m_lblDateiPosition->setText(progress.position);
}

void frmPlayRecord::ctlDateiAuswahl1_FilePathChanged() {
    const QString file = fileName();
    m_lblDateiinfo->setText(m_sound.SoundFileFormatText(file));
    m_lblDateilänge->setText(PlayRecordSecondsText(m_sound.SoundFileSeconds(file)));
}
