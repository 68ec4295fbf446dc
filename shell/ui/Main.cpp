#include "shell/ui/Main.h"

#include "platform/help/HelpPages.h"
#include "shell/base/Language.h"
#include "shell/call/Eurit30.h"
#include "shell/ui/HelpWindow.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QShortcut>
#include <QStatusBar>
#include <QStyle>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// Some fonts draw the dots and accents of capitals ("Ö", "Å", "É") above their own ascent; a label is only
// as high as the ascent, so the marks would be cut off and "Österreich" read "Osterreich". The label gets
// that many pixels of room above its text. (A label with selectable text clips to its text's own box
// whatever its margins, so these labels are plain.)
void roomForAccents(QLabel* label) {
    const QFontMetrics metrics(label->font());
    const int above = -metrics.boundingRect(QStringLiteral("ÄÖÜÅÉÎ")).top() - metrics.ascent();
    if (above > 0)
        label->setContentsMargins(0, above, 0, 0);
}

} // namespace

Main::Main(const Language& language, QWidget* parent) : QMainWindow(parent), m_language(language) {
    setObjectName(QStringLiteral("Main"));
    setWindowTitle(QStringLiteral("Morva"));
    m_tbrBigButtons = addToolBar(QStringLiteral("Calls"));
    m_tbrBigButtons->setObjectName(QStringLiteral("tbrBigButtons"));
    m_tbrBigButtons->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    m_tbrBigButtons->setIconSize(QSize(32, 32));
    m_tbrBigButtons->setMovable(false);
    QStyle* st = style();
    addButton("PHONEBOOK", QIcon::fromTheme(QStringLiteral("x-office-address-book"),
                                            st->standardIcon(QStyle::SP_FileDialogContentsView)))
        ->setEnabled(false);
    addButton("PROTOKOLL", QIcon::fromTheme(QStringLiteral("document-open-recent"),
                                            st->standardIcon(QStyle::SP_FileDialogDetailedView)))
        ->setEnabled(false);
    m_tbrBigButtons->addSeparator();
    addButton("DIAL",
              QIcon::fromTheme(QStringLiteral("call-start"), st->standardIcon(QStyle::SP_ArrowRight)));
    addButton("ANSWER",
              QIcon::fromTheme(QStringLiteral("call-start"), st->standardIcon(QStyle::SP_DialogYesButton)));
    addButton("ANSWERAB",
              QIcon::fromTheme(QStringLiteral("call-start"), st->standardIcon(QStyle::SP_MediaVolume)));
    addButton("HANGUP",
              QIcon::fromTheme(QStringLiteral("call-stop"), st->standardIcon(QStyle::SP_DialogCancelButton)));
    connect(m_tbrBigButtons, &QToolBar::actionTriggered, this, &Main::tbrBigButtons_ButtonClick);

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    m_Frame1 = new QGroupBox(central);
    m_Frame1->setObjectName(QStringLiteral("Frame1"));
    auto* grid = new QGridLayout(m_Frame1);
    grid->setColumnStretch(1, 1);

    auto* Label1 = new QLabel(m_Frame1);
    Label1->setObjectName(QStringLiteral("Label1"));
    m_txtNumber = new QLineEdit(m_Frame1);
    m_txtNumber->setObjectName(QStringLiteral("txtNumber"));
    m_txtNumber->setClearButtonEnabled(true);
    m_txtNumber->installEventFilter(this);
    Label1->setBuddy(m_txtNumber);
    grid->addWidget(Label1, 0, 0);
    grid->addWidget(m_txtNumber, 0, 1);
    connect(m_txtNumber, &QLineEdit::textEdited, this, &Main::numberEdited);

    m_lblName = new QLabel(m_Frame1);
    m_lblName->setObjectName(QStringLiteral("lblName"));
    QFont nameFont = m_lblName->font();
    nameFont.setPointSizeF(nameFont.pointSizeF() * 1.6);
    nameFont.setBold(true);
    m_lblName->setFont(nameFont);
    roomForAccents(m_lblName);
    grid->addWidget(m_lblName, 1, 0, 1, 2);

    m_lblOrt = addField(grid, 2, "lblOrtLabel", "lblOrt");
    m_lblMSN = addField(grid, 3, "lblMSNLabel", "lblMSN");
    m_lblStatus = addField(grid, 4, "Laststate_label", "lblStatus");
    m_lblDauer = addField(grid, 5, "Last_dauer_label", "lblDauer");
    m_lblGebühren = addField(grid, 6, "Last_Gebühren_label", "lblGebühren");

    // The number as a data item for other programs; never shown.
    m_DDENummer = new QLineEdit(central);
    m_DDENummer->setObjectName(QStringLiteral("DDENummer"));
    m_DDENummer->setVisible(false);

    layout->addWidget(m_Frame1);
    layout->addStretch(1);
    setCentralWidget(central);

    m_lineWarning = new QLabel(this);
    m_lineWarning->setObjectName(QStringLiteral("lineWarning"));
    const int iconSize = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    m_lineWarning->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(iconSize, iconSize));
    m_lineWarning->setVisible(false);
    statusBar()->addWidget(m_lineWarning);
    m_lineStatus = new QLabel(this);
    m_lineStatus->setObjectName(QStringLiteral("lineStatus"));
    statusBar()->addWidget(m_lineStatus, 1);

    m_timerEifcCallback = new QTimer(this);
    m_timerEifcCallback->setObjectName(QStringLiteral("timerEifcCallback"));
    m_timerEifcCallback->setInterval(100);
    connect(m_timerEifcCallback, &QTimer::timeout, this, &Main::eventTimerTicked);
    m_timerZeitsteuerung = new QTimer(this);
    m_timerZeitsteuerung->setObjectName(QStringLiteral("timerZeitsteuerung"));
    m_timerZeitsteuerung->setInterval(1000);
    connect(m_timerZeitsteuerung, &QTimer::timeout, this, &Main::clockTimerTicked);

    // F1: the help page of the main window.
    auto* help = new QShortcut(QKeySequence::HelpContents, this);
    connect(help, &QShortcut::activated, this, [this] { HelpShow(this, m_language, HelpContext::Display); });

    Me_Set_Language();
    resize(520, 380);
}

void Main::Me_Set_Language() {
    const Language& lang = m_language;
    auto text = [this, &lang](const char* name, int number) {
        if (auto* label = findChild<QLabel*>(QString::fromUtf8(name)))
            label->setText(lang.LanguageString(number));
    };
    m_Frame1->setTitle(lang.LanguageString(3201));
    text("Label1", 3200);
    text("lblOrtLabel", 3224);
    text("lblMSNLabel", 3223);
    text("Laststate_label", 3202);
    text("Last_dauer_label", 3204);
    text("Last_Gebühren_label", 3203);
    m_txtNumber->setPlaceholderText(lang.LanguageString(3176));
    // The big buttons: their tool tips, which are short enough for captions too.
    const std::pair<const char*, int> buttons[] = {{"PHONEBOOK", 3170}, {"PROTOKOLL", 3171},
                                                   {"DIAL", 3172},      {"ANSWER", 3173},
                                                   {"ANSWERAB", 3175},  {"HANGUP", 3174}};
    for (const auto& [key, number] : buttons) {
        QAction* action = m_tbrBigButtons->findChild<QAction*>(QString::fromLatin1(key));
        action->setText(lang.LanguageString(number));
        action->setToolTip(lang.LanguageString(number));
    }
}

Main::~Main() {
    m_timerEifcCallback->stop();
    m_timerZeitsteuerung->stop();
    closeSplash();
}

QLabel* Main::addField(QGridLayout* grid, int row, const char* captionName, const char* fieldName) {
    auto* caption = new QLabel(m_Frame1);
    caption->setObjectName(QString::fromUtf8(captionName));
    auto* field = new QLabel(m_Frame1);
    field->setObjectName(QString::fromUtf8(fieldName));
    roomForAccents(field);
    grid->addWidget(caption, row, 0);
    grid->addWidget(field, row, 1);
    return field;
}

QAction* Main::addButton(const char* key, const QIcon& icon) {
    QAction* action = m_tbrBigButtons->addAction(icon, QString());
    action->setObjectName(QString::fromLatin1(key));
    action->setData(QString::fromLatin1(key));
    if (QWidget* button = m_tbrBigButtons->widgetForAction(action))
        button->setObjectName(QString::fromLatin1(key));
    return action;
}

void Main::showSplash(const QString& versionText) {
    closeSplash();
    m_Start_form = new QWidget(nullptr, Qt::SplashScreen | Qt::WindowStaysOnTopHint);
    m_Start_form->setObjectName(QStringLiteral("Start_form"));
    m_Start_form->setAttribute(Qt::WA_DeleteOnClose);
    auto* layout = new QVBoxLayout(m_Start_form);
    auto* title = new QLabel(QStringLiteral("Morva"), m_Start_form);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 2.4);
    titleFont.setBold(true);
    title->setFont(titleFont);
    auto* lblVersion = new QLabel(versionText, m_Start_form);
    lblVersion->setObjectName(QStringLiteral("lblVersion"));
    layout->addWidget(title, 0, Qt::AlignCenter);
    layout->addWidget(lblVersion, 0, Qt::AlignCenter);
    // The start's progress: the books report while they open and take over old text files.
    m_Load_stat = new QProgressBar(m_Start_form);
    m_Load_stat->setObjectName(QStringLiteral("Load_stat"));
    m_Load_stat->setRange(0, 100);
    m_Load_stat->setTextVisible(false);
    layout->addWidget(m_Load_stat);
    m_Start_form->resize(320, 160);
    m_Start_form->show();
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void Main::closeSplash() {
    if (m_Start_form)
        m_Start_form->close();
    m_Start_form = nullptr;
    m_Load_stat = nullptr;
}

void Main::setLoadProgress(int percent) {
    if (!m_Load_stat)
        return;
    m_Load_stat->setValue(std::clamp(percent, 0, 100));
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

int Main::twipsPerPixel() const {
    // 1440 twips to the inch.
    return std::max(1, 1440 / std::max(1, logicalDpiX()));
}

bool Main::normalState() const {
    return !(windowState() & (Qt::WindowMinimized | Qt::WindowMaximized));
}

void Main::setEventTimer(bool on) {
    if (on)
        m_timerEifcCallback->start();
    else
        m_timerEifcCallback->stop();
}

void Main::setClockTimer(bool on) {
    if (on)
        m_timerZeitsteuerung->start();
    else
        m_timerZeitsteuerung->stop();
}

void Main::showMessage(const QString& text) {
    // The splash stays on top of every window: a message of the start would stand under it.
    closeSplash();
    QMessageBox::warning(this, QStringLiteral("Morva"), text);
}

UserDialogs::Answer Main::askUser(const QString& text, UserDialogs::Buttons buttons, UserDialogs::Icon icon) {
    closeSplash();
    using B = UserDialogs::Buttons;
    using I = UserDialogs::Icon;
    const QMessageBox::Icon shown = icon == I::Question   ? QMessageBox::Question
                                    : icon == I::Warning  ? QMessageBox::Warning
                                    : icon == I::Critical ? QMessageBox::Critical
                                                          : QMessageBox::Information;
    const QMessageBox::StandardButtons offered =
        buttons == B::YesNo         ? QMessageBox::Yes | QMessageBox::No
        : buttons == B::YesNoCancel ? QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel
                                    : QMessageBox::StandardButtons(QMessageBox::Ok);
    QMessageBox box(shown, QStringLiteral("Morva"), text, offered, isVisible() ? this : nullptr);
    switch (box.exec()) {
    case QMessageBox::Yes:
        return UserDialogs::Answer::Yes;
    case QMessageBox::No:
        return UserDialogs::Answer::No;
    case QMessageBox::Ok:
        return UserDialogs::Answer::Ok;
    default:
        return buttons == B::Ok ? UserDialogs::Answer::Ok : UserDialogs::Answer::Cancel;
    }
}

void Main::Me_ShowPanel(const StatusPanel& p) {
    m_lblName->setText(p.lblName);
    m_lblName->setToolTip(p.lblNameToolTip);
    m_lblOrt->setText(p.lblOrt);
    m_lblOrt->setToolTip(p.lblOrtToolTip);
    m_lblMSN->setText(p.lblMSN);
    m_lblStatus->setText(p.lblStatus);
    m_lblDauer->setText(p.lblDauer);
    m_lblGebühren->setText(p.lblGebühren);
    if (m_txtNumber->text() != p.txtNumber)
        m_txtNumber->setText(p.txtNumber);
    m_DDENummer->setText(p.DDENummer);
    auto button = [this](const char* key) {
        return m_tbrBigButtons->findChild<QAction*>(QString::fromLatin1(key));
    };
    button("ANSWER")->setVisible(p.buttons.answerVisible);
    button("ANSWERAB")->setVisible(p.buttons.answerABVisible);
    button("DIAL")->setVisible(p.buttons.dialVisible);
    button("DIAL")->setEnabled(p.buttons.dialEnabled);
    button("HANGUP")->setEnabled(p.buttons.hangupEnabled);
}

void Main::Me_ShowStatusBar(const QString& lineState, bool ready) {
    if (m_lineStatus->text() != lineState)
        m_lineStatus->setText(lineState);
    m_lineWarning->setVisible(!ready);
}

void Main::tbrBigButtons_ButtonClick(QAction* button) {
    const QString key = button->data().toString();
    if (key == QLatin1String("DIAL"))
        Q_EMIT dialRequested(m_txtNumber->text());
    else if (key == QLatin1String("ANSWER"))
        Q_EMIT answerRequested();
    else if (key == QLatin1String("ANSWERAB"))
        Q_EMIT takeOverRequested();
    else if (key == QLatin1String("HANGUP"))
        Q_EMIT hangupRequested();
}

bool Main::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_txtNumber && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            Q_EMIT dialRequested(m_txtNumber->text());
            return true;
        }
        if (key == Qt::Key_Escape) {
            Q_EMIT hangupRequested();
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

void Main::showNormalAndFocus() {
    setWindowState((windowState() & ~(Qt::WindowMinimized | Qt::WindowMaximized)) | Qt::WindowActive);
    show();
    raise();
    activateWindow();
}

void Main::minimize() {
    setWindowState(windowState() | Qt::WindowMinimized);
}

void Main::closeEvent(QCloseEvent* event) {
    // SIGTERM, SIGINT and the window's close all come here; the owner's query may refuse.
    if (!m_mayClose || m_mayClose()) {
        m_timerZeitsteuerung->stop();
        event->accept();
    } else {
        event->ignore();
    }
}
