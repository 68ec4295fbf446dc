#include "shell/ui/Main.h"

#include "platform/help/HelpPages.h"
#include "shell/base/Language.h"
#include "shell/base/ListItems.h"
#include "shell/call/Eurit30.h"
#include "shell/ui/HelpWindow.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIdentityProxyModel>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QMouseEvent>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QShortcut>
#include <QStackedWidget>
#include <QStatusBar>
#include <QStyle>
#include <QTabBar>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QTreeView>
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

// A list's rows as the window shows them: the row pictures by their keys, and a row dragged out as its
// number, in plain text and, on the lists of numbers, in the phone number format as well.
class RowDragModel : public QIdentityProxyModel {
public:
    RowDragModel(QHash<QString, QIcon> icons, bool phoneFormat, QObject* parent)
        : QIdentityProxyModel(parent), m_icons(std::move(icons)), m_phoneFormat(phoneFormat) {}
    std::function<QString(int)> numberOfRow;

    QVariant data(const QModelIndex& index, int role) const override {
        if (role == Qt::DecorationRole && index.column() == 0) {
            const QString key = QIdentityProxyModel::data(index, ListItems::SmallIconRole).toString();
            return key.isEmpty() ? QVariant() : QVariant(m_icons.value(key));
        }
        return QIdentityProxyModel::data(index, role);
    }
    Qt::ItemFlags flags(const QModelIndex& index) const override {
        return QIdentityProxyModel::flags(index) | Qt::ItemIsDragEnabled;
    }
    QStringList mimeTypes() const override {
        QStringList types{QStringLiteral("text/plain")};
        if (m_phoneFormat)
            types << QString::fromLatin1(PhoneNumberMimeType);
        return types;
    }
    QMimeData* mimeData(const QModelIndexList& indexes) const override {
        if (indexes.isEmpty() || !numberOfRow)
            return nullptr;
        const QString number = numberOfRow(indexes.first().row());
        if (number.isEmpty())
            return nullptr;
        auto* data = new QMimeData;
        data->setText(number);
        if (m_phoneFormat)
            data->setData(QString::fromLatin1(PhoneNumberMimeType), number.toUtf8());
        return data;
    }
    Qt::DropActions supportedDragActions() const override { return Qt::CopyAction; }

private:
    QHash<QString, QIcon> m_icons;
    bool m_phoneFormat;
};

namespace {

// The pictures of the calls list: "S" + "1" with a message, "0" without + "1" seen, "0" new. A call seen
// is drawn faded.
QHash<QString, QIcon> callPictures(const QStyle* style) {
    const QIcon message =
        QIcon::fromTheme(QStringLiteral("audio-x-generic"), style->standardIcon(QStyle::SP_MediaVolume));
    const QIcon missed =
        QIcon::fromTheme(QStringLiteral("call-missed"), style->standardIcon(QStyle::SP_MessageBoxWarning));
    const auto faded = [](const QIcon& icon) {
        QIcon seen;
        for (int size : {16, 22, 32})
            seen.addPixmap(icon.pixmap(size, size, QIcon::Disabled));
        return seen;
    };
    return {{QStringLiteral("S10"), message},
            {QStringLiteral("S11"), faded(message)},
            {QStringLiteral("S00"), missed},
            {QStringLiteral("S01"), faded(missed)}};
}

// A caption with its accelerator, as a tool tip: "&Phonebook" -> "Phonebook".
QString withoutAccelerator(QString text) {
    text.remove(QRegularExpression(QStringLiteral("&(?!&)")));
    return text;
}

// The language strings of the menus' items and the list toolbar's buttons, by object name.
struct Caption {
    const char* name;
    int string;
};
constexpr Caption MenuCaptions[] = {
    {"M_Eurit", 3108},
    {"mnuEuritConnect", 3105},
    {"M_Wählen", 3100},
    {"M_Auflegen", 3101},
    {"mnuEuritUseMSN", 3118},
    {"mnuEuritSelProvider", 3142},
    {"mnuEuritProtokoll", 3102},
    {"mnuEuritKonfig", 3107},
    {"mnuEuritPhonebook", 3103},
    {"M_Beenden", 3104},
    {"M_Optionen", 3110},
    {"M_Setup", 3111},
    {"M_Action", 3113},
    {"mnuView", 3116},
    {"mnuViewExtended", 3115},
    {"mnuViewMSNSelect", 3117},
    {"mnuViewProvider", 3143},
    {"mnuViewAktualisieren", 3114},
    {"M_Help", 3144},
    {"mnuHelpAnzeige", 3145},
    {"mnuHelpBedienung", 3146},
    {"M_Help_cont", 3147},
    {"M_Info", 3112},
    {"mnuKontextwählen", 3130},
    {"mnuKontextTophonebook", 3131},
    {"mnuKontextPlayAnsage", 3138},
    {"mnuKontextGelesen", 3132},
    {"mnuKontextGelesenAll", 3133},
    {"mnuKontextDelete", 3134},
    {"mnuKontextDeleteSound", 3139},
    {"mnuKontextDeleteSoundAll", 3140},
    {"mnuKontextMarkandDeleteAll", 3141},
    {"M_DialCurrentNumber", 3160},
    {"mnuMainEditEntry", 3161},
    {"mnuMainGotoPhoneBook", 3162},
};
// The list toolbar's buttons: their tool tips.
constexpr Caption ListButtonTips[] = {{"GOTOBOOK", 3131},    {"DELETE", 3134}, {"MARKREAD", 3132},
                                      {"MARKALLREAD", 3133}, {"STOP", 3156},   {"PLAY", 3138}};
// The commands whose windows are not there yet: shown, disabled, with their caption as tool tip.
constexpr const char* WindowsToCome[] = {"mnuEuritProtokoll",     "mnuEuritPhonebook", "M_Setup",
                                         "mnuKontextTophonebook", "GOTOBOOK",          "mnuMainEditEntry",
                                         "mnuMainGotoPhoneBook"};

} // namespace

Main::Main(const Language& language, QWidget* parent) : QMainWindow(parent), m_language(language) {
    setObjectName(QStringLiteral("Main"));
    setWindowTitle(QStringLiteral("Morva"));
    // The tool bars are fixed: no menu to hide them.
    setContextMenuPolicy(Qt::PreventContextMenu);
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

    // The own number of outgoing calls, one button per MSN.
    m_tbMSNSelect = addToolBar(QStringLiteral("MSN"));
    m_tbMSNSelect->setObjectName(QStringLiteral("tbMSNSelect"));
    m_tbMSNSelect->setMovable(false);
    m_tbMSNSelect->setToolButtonStyle(Qt::ToolButtonTextOnly);
    auto* msnGroup = new QActionGroup(this);
    for (int index = 1; index <= 5; ++index) {
        QAction* msn = m_tbMSNSelect->addAction(QString(QLatin1Char(char('A' + index - 1))));
        msn->setObjectName(QStringLiteral("tbMSNSelect%1").arg(index));
        msn->setCheckable(true);
        msnGroup->addAction(msn);
        connect(msn, &QAction::triggered, this, [this, index] { Q_EMIT dialMSNChosen(index); });
        m_msnButtons[std::size_t(index - 1)] = msn;
    }

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

    // The carrier line: the carrier put in front of long-distance numbers.
    m_lblProvider = new QLabel(m_Frame1);
    m_lblProvider->setObjectName(QStringLiteral("lblProvider"));
    m_cmdProvider = new QPushButton(QStringLiteral("---"), m_Frame1);
    m_cmdProvider->setObjectName(QStringLiteral("cmdProvider"));
    m_cmdProvider->setProperty("tag", 0.0);
    m_cmdProvider->setStyleSheet(QStringLiteral("text-align: left; padding: 2px 8px"));
    m_lblProvider->setBuddy(m_cmdProvider);
    connect(m_cmdProvider, &QPushButton::pressed, this, &Main::carrierListRequested);
    grid->addWidget(m_lblProvider, 1, 0);
    grid->addWidget(m_cmdProvider, 1, 1);

    m_lblName = new QLabel(m_Frame1);
    m_lblName->setObjectName(QStringLiteral("lblName"));
    QFont nameFont = m_lblName->font();
    nameFont.setPointSizeF(nameFont.pointSizeF() * 1.6);
    nameFont.setBold(true);
    m_lblName->setFont(nameFont);
    roomForAccents(m_lblName);
    m_lblName->installEventFilter(this);
    grid->addWidget(m_lblName, 2, 0, 1, 2);

    m_lblOrt = addField(grid, 3, "lblOrtLabel", "lblOrt");
    m_lblMSN = addField(grid, 4, "lblMSNLabel", "lblMSN");
    m_lblStatus = addField(grid, 5, "Laststate_label", "lblStatus");
    m_lblDauer = addField(grid, 6, "Last_dauer_label", "lblDauer");
    m_lblGebühren = addField(grid, 7, "Last_Gebühren_label", "lblGebühren");

    // The number as a data item for other programs; never shown.
    m_DDENummer = new QLineEdit(central);
    m_DDENummer->setObjectName(QStringLiteral("DDENummer"));
    m_DDENummer->setVisible(false);

    layout->addWidget(m_Frame1);
    buildLists(central);
    layout->addWidget(m_listArea, 1);
    layout->addStretch(0);
    setCentralWidget(central);

    buildMenus();
    buildStatusBar();
    showTab(MainTab::Quick, {});

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
    resize(560, 420);
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
    text("lblProvider", 3148);
    m_txtNumber->setPlaceholderText(lang.LanguageString(3176));
    // The big buttons: their tool tips, which are short enough for captions too.
    const std::pair<const char*, int> buttons[] = {{"PHONEBOOK", 3170}, {"PROTOKOLL", 3171},
                                                   {"DIAL", 3172},      {"ANSWER", 3173},
                                                   {"ANSWERAB", 3175},  {"HANGUP", 3174}};
    for (const auto& [key, number] : buttons) {
        QAction* button = m_tbrBigButtons->findChild<QAction*>(QString::fromLatin1(key));
        button->setText(lang.LanguageString(number));
        button->setToolTip(lang.LanguageString(number));
    }
    for (const auto& [name, number] : MenuCaptions) {
        if (QAction* item = action(name))
            item->setText(lang.LanguageString(number));
        else if (auto* menu = findChild<QMenu*>(QString::fromUtf8(name)))
            menu->setTitle(lang.LanguageString(number));
    }
    // The dial hotkey's number rules: the window's title as the item, which opens a window.
    action("mnuOptHotkey")->setText(lang.LanguageString(3237) + QStringLiteral("..."));
    for (const auto& [name, number] : ListButtonTips) {
        action(name)->setText(withoutAccelerator(lang.LanguageString(number)));
        action(name)->setToolTip(action(name)->text());
    }
    for (const char* name : WindowsToCome)
        action(name)->setToolTip(withoutAccelerator(action(name)->text()));
    const int tabStrings[3][2] = {{3150, 3151}, {3152, 3153}, {3154, 3155}};
    for (int index = 0; index < 3; ++index) {
        m_tbsTabStrip->setTabText(index, lang.LanguageString(tabStrings[index][0]));
        m_tbsTabStrip->setTabToolTip(index, lang.LanguageString(tabStrings[index][1]));
    }
    m_cmdProvider->setToolTip(lang.LanguageString(3149));
    m_ZIEL->setToolTip(lang.LanguageString(3157));
    showSoundState();
    m_AB->setToolTip(lang.LanguageString(3159));
    m_tbMSNSelect->setWindowTitle(withoutAccelerator(lang.LanguageString(3117)));
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
    const QEvent::Type type = event->type();
    if (watched == m_txtNumber) {
        if (type == QEvent::KeyPress) {
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
        if ((type == QEvent::DragEnter || type == QEvent::DragMove || type == QEvent::Drop) &&
            numberDrop(event))
            return true;
    } else if (watched == m_lvListView || watched == m_lvListAnrufe) {
        if (type == QEvent::KeyPress &&
            listKey(static_cast<QTreeView*>(watched), static_cast<QKeyEvent*>(event)))
            return true;
    } else if (qobject_cast<QHeaderView*>(watched->parent())) {
        // The column headers of the lists.
        if (type == QEvent::MouseButtonPress || type == QEvent::MouseButtonDblClick)
            m_headerPressed = true;
        else if (type == QEvent::MouseButtonRelease)
            m_headerPressed = false;
    } else if (watched == m_lblName) {
        if (type == QEvent::MouseButtonDblClick) {
            Q_EMIT editShownEntryRequested();
            return true;
        }
        if (type == QEvent::MouseButtonPress &&
            static_cast<QMouseEvent*>(event)->button() == Qt::RightButton) {
            m_Menu_frm->popup(static_cast<QMouseEvent*>(event)->globalPosition().toPoint());
            return true;
        }
    } else if (type == QEvent::MouseButtonPress &&
               static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        // The status bar's panels.
        if (watched == m_ZIEL) {
            Q_EMIT extendedViewToggled();
            return true;
        }
        if (watched == m_VOL || watched == m_VOLTEXT) {
            Q_EMIT volumeRequested();
            return true;
        }
        if (watched == m_AB) {
            Q_EMIT listenInToggled();
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

QAction* Main::action(const char* name) const {
    return findChild<QAction*>(QString::fromUtf8(name));
}

QAction* Main::addAction(QMenu* menu, const char* name, int string) {
    QAction* item = menu->addAction(string ? m_language.LanguageString(string) : QString());
    item->setObjectName(QString::fromUtf8(name));
    return item;
}

void Main::buildMenus() {
    const auto addMenu = [this](QMenu* parent, const char* name) {
        QMenu* menu = parent ? parent->addMenu(QString()) : menuBar()->addMenu(QString());
        menu->setObjectName(QString::fromUtf8(name));
        menu->setToolTipsVisible(true);
        return menu;
    };
    const auto separator = [](QMenu* menu, const char* name) {
        menu->addSeparator()->setObjectName(QString::fromUtf8(name));
    };

    m_M_Eurit = addMenu(nullptr, "M_Eurit");
    // The link to the telephone has no command of its own: its item stays hidden.
    addAction(m_M_Eurit, "mnuEuritConnect")->setVisible(false);
    m_M_Eurit->addSeparator()->setObjectName(QStringLiteral("mnuBlank1"));
    action("mnuBlank1")->setVisible(false);
    connect(addAction(m_M_Eurit, "M_Wählen"), &QAction::triggered, this, &Main::M_Wählen_Click);
    connect(addAction(m_M_Eurit, "M_Auflegen"), &QAction::triggered, this, &Main::hangupRequested);
    separator(m_M_Eurit, "mnuEuritBlank");
    QMenu* useMSN = addMenu(m_M_Eurit, "mnuEuritUseMSN");
    for (int index = 1; index <= 5; ++index) {
        QAction* item = useMSN->addAction(QString());
        item->setObjectName(QStringLiteral("mnuEuritUseMSNA%1").arg(index));
        item->setCheckable(true);
        connect(item, &QAction::triggered, this, [this, index] { Q_EMIT dialMSNChosen(index); });
        m_msnItems[std::size_t(index - 1)] = item;
    }
    connect(addAction(m_M_Eurit, "mnuEuritSelProvider"), &QAction::triggered, this,
            &Main::selectCarrierRequested);
    separator(m_M_Eurit, "M_Blank1");
    addAction(m_M_Eurit, "mnuEuritProtokoll");
    connect(addAction(m_M_Eurit, "mnuEuritKonfig"), &QAction::triggered, this, &Main::configurationRequested);
    addAction(m_M_Eurit, "mnuEuritPhonebook");
    separator(m_M_Eurit, "M_Blank2");
    QAction* quit = addAction(m_M_Eurit, "M_Beenden");
    quit->setShortcut(QKeySequence::Quit);
    connect(quit, &QAction::triggered, this, &QWidget::close);

    QMenu* options = addMenu(nullptr, "M_Optionen");
    addAction(options, "M_Setup");
    connect(addAction(options, "M_Action"), &QAction::triggered, this, &Main::actionSetupRequested);
    // Until the options dialog has its hotkey page, the dial hotkey's number rules have an item here.
    connect(addAction(options, "mnuOptHotkey"), &QAction::triggered, this, &Main::hotkeyRulesRequested);

    QMenu* view = addMenu(nullptr, "mnuView");
    QAction* extended = addAction(view, "mnuViewExtended");
    extended->setCheckable(true);
    connect(extended, &QAction::triggered, this, &Main::extendedViewToggled);
    QAction* msnBar = addAction(view, "mnuViewMSNSelect");
    msnBar->setCheckable(true);
    connect(msnBar, &QAction::triggered, this, &Main::msnBarToggled);
    QAction* carrierLine = addAction(view, "mnuViewProvider");
    carrierLine->setCheckable(true);
    connect(carrierLine, &QAction::triggered, this, &Main::carrierLineToggled);
    separator(view, "mnuViewBlank");
    QAction* refresh = addAction(view, "mnuViewAktualisieren");
    refresh->setShortcut(QKeySequence::Refresh);
    connect(refresh, &QAction::triggered, this, &Main::refreshRequested);

    QMenu* help = addMenu(nullptr, "M_Help");
    connect(addAction(help, "mnuHelpAnzeige"), &QAction::triggered, this,
            [this] { HelpShow(this, m_language, HelpContext::Display); });
    connect(addAction(help, "mnuHelpBedienung"), &QAction::triggered, this,
            [this] { HelpShow(this, m_language, HelpContext::Operation); });
    separator(help, "mnuHelpBlank");
    connect(addAction(help, "M_Help_cont"), &QAction::triggered, this,
            [this] { HelpContents(this, m_language); });
    separator(help, "mnuHelpBlank2");
    connect(addAction(help, "M_Info"), &QAction::triggered, this, [this] {
        QMessageBox::about(this, withoutAccelerator(m_language.LanguageString(3112)),
                           QStringLiteral("<h3>Morva</h3><p>%1</p>").arg(m_versionText.toHtmlEscaped()));
    });

    // The context menu of the lists.
    m_mnuKontext = new QMenu(this);
    m_mnuKontext->setObjectName(QStringLiteral("mnuKontext"));
    m_mnuKontext->setToolTipsVisible(true);
    const auto command = [this](const char* name, ListCommand which) {
        connect(addAction(m_mnuKontext, name), &QAction::triggered, this,
                [this, which] { Q_EMIT listCommand(which, currentRow()); });
    };
    command("mnuKontextwählen", ListCommand::Dial);
    command("mnuKontextTophonebook", ListCommand::ToPhonebook);
    separator(m_mnuKontext, "mnuBlank10");
    command("mnuKontextPlayAnsage", ListCommand::Play);
    separator(m_mnuKontext, "mnuBlank11");
    command("mnuKontextGelesen", ListCommand::MarkRead);
    command("mnuKontextGelesenAll", ListCommand::MarkAllRead);
    command("mnuKontextDelete", ListCommand::Delete);
    separator(m_mnuKontext, "mnublank12");
    command("mnuKontextDeleteSound", ListCommand::DeleteSound);
    command("mnuKontextDeleteSoundAll", ListCommand::DeleteSoundAll);
    separator(m_mnuKontext, "mnuBlank13");
    command("mnuKontextMarkandDeleteAll", ListCommand::MarkAndDeleteAll);

    // The popup of the call panel's name.
    m_Menu_frm = new QMenu(this);
    m_Menu_frm->setObjectName(QStringLiteral("Menu_frm"));
    m_Menu_frm->setToolTipsVisible(true);
    connect(addAction(m_Menu_frm, "M_DialCurrentNumber"), &QAction::triggered, this,
            &Main::dialShownNumberRequested);
    connect(addAction(m_Menu_frm, "mnuMainEditEntry"), &QAction::triggered, this,
            &Main::editShownEntryRequested);
    addAction(m_Menu_frm, "mnuMainGotoPhoneBook");

    for (const char* name : WindowsToCome)
        if (QAction* item = action(name))
            item->setEnabled(false);
}

void Main::buildLists(QWidget* parent) {
    m_listArea = new QWidget(parent);
    m_listArea->setObjectName(QStringLiteral("listArea"));
    auto* layout = new QVBoxLayout(m_listArea);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* top = new QHBoxLayout;
    m_tbsTabStrip = new QTabBar(m_listArea);
    m_tbsTabStrip->setObjectName(QStringLiteral("tbsTabStrip"));
    m_tbsTabStrip->setDrawBase(false);
    m_tbsTabStrip->setExpanding(false);
    for (MainTab tab : {MainTab::Quick, MainTab::Log, MainTab::LastUsed})
        m_tbsTabStrip->setTabData(m_tbsTabStrip->addTab(QString()), TabKey(tab));
    connect(m_tbsTabStrip, &QTabBar::tabBarClicked, this, [this](int index) {
        if (index >= 0)
            Q_EMIT tabSelected(TabFromKey(m_tbsTabStrip->tabData(index).toString()));
    });
    top->addWidget(m_tbsTabStrip);
    top->addStretch(1);

    m_tbToolBar = new QToolBar(m_listArea);
    m_tbToolBar->setObjectName(QStringLiteral("tbToolBar"));
    m_tbToolBar->setIconSize(QSize(16, 16));
    m_tbToolBar->setToolButtonStyle(Qt::ToolButtonIconOnly);
    const QStyle* st = style();
    const auto button = [this](const char* key, const QIcon& icon, ListCommand which) {
        QAction* a = m_tbToolBar->addAction(icon, QString());
        a->setObjectName(QString::fromLatin1(key));
        connect(a, &QAction::triggered, this, [this, which] { Q_EMIT listCommand(which, currentRow()); });
        return a;
    };
    button("GOTOBOOK",
           QIcon::fromTheme(QStringLiteral("x-office-address-book"),
                            st->standardIcon(QStyle::SP_FileDialogContentsView)),
           ListCommand::ToPhonebook);
    button("DELETE", QIcon::fromTheme(QStringLiteral("edit-delete"), st->standardIcon(QStyle::SP_TrashIcon)),
           ListCommand::Delete);
    button("MARKREAD",
           QIcon::fromTheme(QStringLiteral("mail-mark-read"), st->standardIcon(QStyle::SP_DialogApplyButton)),
           ListCommand::MarkRead);
    button("MARKALLREAD",
           QIcon::fromTheme(QStringLiteral("mail-mark-read"), st->standardIcon(QStyle::SP_DialogYesButton)),
           ListCommand::MarkAllRead);
    m_tbToolBar->addSeparator()->setObjectName(QStringLiteral("SEPSOUND"));
    button("STOP",
           QIcon::fromTheme(QStringLiteral("media-playback-stop"), st->standardIcon(QStyle::SP_MediaStop)),
           ListCommand::Stop)
        ->setVisible(false);
    button("PLAY",
           QIcon::fromTheme(QStringLiteral("media-playback-start"), st->standardIcon(QStyle::SP_MediaPlay)),
           ListCommand::Play);
    top->addWidget(m_tbToolBar);
    layout->addLayout(top);

    m_listStack = new QStackedWidget(m_listArea);
    const auto makeList = [this](const char* name) {
        auto* list = new QTreeView(m_listStack);
        list->setObjectName(QString::fromLatin1(name));
        list->setRootIsDecorated(false);
        list->setUniformRowHeights(true);
        list->setAllColumnsShowFocus(true);
        list->setSelectionMode(QAbstractItemView::SingleSelection);
        list->setSelectionBehavior(QAbstractItemView::SelectRows);
        list->setEditTriggers(QAbstractItemView::NoEditTriggers);
        list->setDragEnabled(true);
        list->setDragDropMode(QAbstractItemView::DragOnly);
        list->setDefaultDropAction(Qt::CopyAction);
        list->setContextMenuPolicy(Qt::CustomContextMenu);
        list->header()->setStretchLastSection(true);
        // A column fitted to its content measures the rows in view, not thousands of them.
        list->header()->setResizeContentsPrecision(0);
        list->header()->setSectionsMovable(false);
        list->installEventFilter(this);
        connect(list, &QWidget::customContextMenuRequested, this, &Main::showContextMenu);
        // A column the user drags (or fits by a double click on its edge) is a width chosen, which the tab
        // keeps.
        QHeaderView* header = list->header();
        header->viewport()->installEventFilter(this);
        connect(header, &QHeaderView::sectionResized, this, [this, list] {
            if (m_headerPressed)
                m_widthsChosen[std::size_t(list == m_lvListAnrufe ? MainTab::Log : currentTab())] = true;
        });
        connect(list, &QAbstractItemView::doubleClicked, this, [this] {
            Q_EMIT listCommand(currentTab() == MainTab::Log ? ListCommand::Play : ListCommand::Dial,
                               currentRow());
        });
        m_listStack->addWidget(list);
        return list;
    };
    m_lvListView = makeList("lvListView");
    m_lvListAnrufe = makeList("lvListAnrufe");
    m_viewModel = new RowDragModel({}, true, this);
    m_callsModel = new RowDragModel(callPictures(style()), false, this);
    m_lvListView->setModel(m_viewModel);
    m_lvListAnrufe->setModel(m_callsModel);
    layout->addWidget(m_listStack, 1);
}

void Main::buildStatusBar() {
    QStatusBar* bar = statusBar();
    bar->setObjectName(QStringLiteral("StatusBar1"));
    const auto panel = [this, bar](const char* key, bool permanent) {
        auto* label = new QLabel(this);
        label->setObjectName(QString::fromLatin1(key));
        label->installEventFilter(this);
        if (permanent)
            bar->addPermanentWidget(label);
        else
            bar->addWidget(label);
        return label;
    };
    m_ZIEL = panel("ZIEL", false);
    m_ZIEL->setCursor(Qt::PointingHandCursor);
    m_lineWarning = new QLabel(this);
    m_lineWarning->setObjectName(QStringLiteral("lineWarning"));
    const int iconSize = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    m_lineWarning->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(iconSize, iconSize));
    m_lineWarning->setVisible(false);
    bar->addWidget(m_lineWarning);
    m_lineStatus = new QLabel(this);
    m_lineStatus->setObjectName(QStringLiteral("lineStatus"));
    bar->addWidget(m_lineStatus, 1);
    m_VOLTEXT = panel("VOLTEXT", true);
    m_VOL = panel("VOL", true);
    panel("ABTEXT", true);
    m_AB = panel("AB", true);
    Me_Set_Status(QString(), false);
}

void Main::setLists(ListItems* lvListView, ListItems* lvListAnrufe, std::function<QString(int)> numberOfRow) {
    m_viewItems = lvListView;
    m_callsItems = lvListAnrufe;
    m_numberOfRow = std::move(numberOfRow);
    m_viewModel->numberOfRow = m_numberOfRow;
    m_callsModel->numberOfRow = m_numberOfRow;
    m_viewModel->setSourceModel(lvListView);
    m_callsModel->setSourceModel(lvListAnrufe);
    // The view follows the list's selected row, and the list the user's.
    const auto follow = [this](QTreeView* view, ListItems* items) {
        if (!items)
            return;
        // Once a fill is over (the rows come one by one): the list's selected row becomes the view's, and
        // columns that follow the content follow the new rows.
        connect(items, &QAbstractItemModel::rowsInserted, view, [this, view, items] {
            bool& pending = m_afterFillPending[view == m_lvListAnrufe ? 1 : 0];
            if (pending)
                return;
            pending = true;
            QMetaObject::invokeMethod(
                view,
                [this, view, items, &pending] {
                    pending = false;
                    const int row = items->Selected();
                    if (row >= 0 && row < items->Count())
                        view->setCurrentIndex(view->model()->index(row, 0));
                    const MainTab tab = view == m_lvListAnrufe ? MainTab::Log : currentTab();
                    if (!m_widthsChosen[std::size_t(tab)] && m_listStack->currentWidget() == view)
                        fitColumns(view);
                },
                Qt::QueuedConnection);
        });
        connect(view->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
                [this, items](const QModelIndex& current) {
                    items->Select(current.isValid() ? current.row() : -1);
                    updatePlayCommands();
                });
    };
    follow(m_lvListView, lvListView);
    follow(m_lvListAnrufe, lvListAnrufe);
}

MainTab Main::currentTab() const {
    return TabFromKey(m_tbsTabStrip->tabData(m_tbsTabStrip->currentIndex()).toString());
}

QTreeView* Main::shownList() const {
    return currentTab() == MainTab::Log ? m_lvListAnrufe : m_lvListView;
}

int Main::currentRow() const {
    const QModelIndex current = shownList()->currentIndex();
    return current.isValid() ? current.row() : -1;
}

std::vector<int> Main::columnWidths(MainTab tab) const {
    const QTreeView* list = tab == MainTab::Log ? m_lvListAnrufe : m_lvListView;
    std::vector<int> widths;
    for (int column = 0; column < list->model()->columnCount(); ++column)
        widths.push_back(m_widthsChosen[std::size_t(tab)] ? list->columnWidth(column) : 0);
    return widths;
}

void Main::fitColumns(QTreeView* list) {
    // As wide as the content in view, and room for a word at least.
    for (int column = 0; column < list->model()->columnCount(); ++column) {
        list->resizeColumnToContents(column);
        list->setColumnWidth(
            column, std::max(list->columnWidth(column), list->fontMetrics().averageCharWidth() * 10));
    }
}

void Main::showTab(MainTab tab, const std::vector<int>& widths) {
    for (int index = 0; index < m_tbsTabStrip->count(); ++index)
        if (m_tbsTabStrip->tabData(index).toString() == TabKey(tab))
            m_tbsTabStrip->setCurrentIndex(index);
    QTreeView* list = tab == MainTab::Log ? m_lvListAnrufe : m_lvListView;
    m_listStack->setCurrentWidget(list);
    if (tab == MainTab::Log) {
        // The calls list shows date, own number, name, number.
        QHeaderView* header = list->header();
        for (int visual = 0; visual < int(std::size(MainLists::LogColumnOrder)); ++visual) {
            const int logical = MainLists::LogColumnOrder[visual];
            if (logical < header->count() && header->visualIndex(logical) != visual)
                header->moveSection(header->visualIndex(logical), visual);
        }
    }
    // Widths the user chose are kept; without them the columns follow the content.
    m_widthsChosen[std::size_t(tab)] = std::any_of(widths.begin(), widths.end(), [](int w) { return w > 0; });
    if (m_widthsChosen[std::size_t(tab)]) {
        for (int column = 0; column < list->model()->columnCount() && column < int(widths.size()); ++column)
            if (widths[std::size_t(column)] > 0)
                list->setColumnWidth(column, widths[std::size_t(column)]);
    } else {
        fitColumns(list);
    }
    if (QAbstractItemModel* model = list->model(); model->rowCount() > 0 && !list->currentIndex().isValid())
        list->setCurrentIndex(model->index(0, 0));

    const TabCommands commands = CommandsForTab(tab);
    for (const char* name : {"mnuKontextDelete", "DELETE"})
        action(name)->setVisible(commands.deleteNumber);
    for (const char* name :
         {"mnuKontextGelesen", "mnuKontextGelesenAll", "MARKREAD", "MARKALLREAD", "mnuBlank11"})
        action(name)->setVisible(commands.markRead);
    for (const char* name : {"mnuKontextPlayAnsage", "PLAY"})
        action(name)->setVisible(commands.play);
    for (const char* name : {"mnuKontextDeleteSound", "mnuKontextDeleteSoundAll",
                             "mnuKontextMarkandDeleteAll", "SEPSOUND", "mnublank12", "mnuBlank13"})
        action(name)->setVisible(commands.sounds);
    if (commands.stopHidden)
        action("STOP")->setVisible(false);
    updatePlayCommands();
}

void Main::updatePlayCommands() {
    bool may = m_playAvailable;
    if (may && currentTab() == MainTab::Log) {
        const int row = currentRow();
        may = m_callsItems && row >= 0 && row < m_callsItems->Count() && RowMayPlay(m_callsItems->At(row));
    }
    action("mnuKontextPlayAnsage")->setEnabled(may);
    action("PLAY")->setEnabled(may);
}

void Main::setPlayAvailable(bool available) {
    m_playAvailable = available;
    updatePlayCommands();
}

void Main::setSoundAvailable(bool available) {
    m_soundAvailable = available;
    showSoundState();
}

QWidget* Main::volumePanel() const {
    return m_VOL;
}

void Main::showSoundState() {
    const Language& lang = m_language;
    // Without sound the text beside the volume panel says so; both panels open the volume pop-up.
    m_VOLTEXT->setText(m_soundAvailable ? QString() : lang.LanguageString(3210));
    const QString tip = m_soundAvailable ? lang.LanguageString(3158) : lang.LanguageString(3211);
    m_VOLTEXT->setToolTip(m_soundAvailable ? QString() : tip);
    m_VOL->setToolTip(tip);
    const int size = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    m_VOL->setPixmap(
        style()
            ->standardIcon(m_soundAvailable ? QStyle::SP_MediaVolume : QStyle::SP_MediaVolumeMuted)
            .pixmap(size, size));
}

void Main::showContextMenu(const QPoint& at) {
    QTreeView* list = shownList();
    const bool log = currentTab() == MainTab::Log;
    for (const char* name : {"mnuKontextGelesen", "mnuKontextGelesenAll", "mnuBlank11"})
        action(name)->setVisible(log);
    m_mnuKontext->popup(list->viewport()->mapToGlobal(at));
}

void Main::applyView(const MainViewState& view) {
    m_lblProvider->setVisible(view.carrierLine);
    m_cmdProvider->setVisible(view.carrierLine);
    action("mnuViewProvider")->setChecked(view.carrierLine);

    if (view.lists != !m_listArea->isHidden()) {
        // The window grows by the lists and shrinks back when they go; their height is kept.
        if (!view.lists)
            m_listsHeight = m_listArea->height();
        m_listArea->setVisible(view.lists);
        if (isVisible() && normalState()) {
            const int change = view.lists ? std::max(m_listsHeight, 200) : -m_listsHeight;
            resize(width(), std::max(minimumSizeHint().height(), height() + change));
            // A window grown past the bottom of its screen moves up as far as it takes.
            if (const QScreen* shown = screen()) {
                const QRect free = shown->availableGeometry();
                const QRect outer = frameGeometry();
                if (outer.bottom() > free.bottom())
                    move(x(), std::max(free.top(), y() - (outer.bottom() - free.bottom())));
            }
        }
    }
    action("mnuViewExtended")->setChecked(view.lists);

    m_tbMSNSelect->setVisible(view.msnBar);
    action("mnuViewMSNSelect")->setChecked(view.msnBar);
    findChild<QMenu*>(QStringLiteral("mnuEuritUseMSN"))->setEnabled(view.msnBar);
    for (int index = 1; index <= 5; ++index) {
        const auto at = std::size_t(index - 1);
        QAction* item = m_msnItems[at];
        QAction* button = m_msnButtons[at];
        item->setText(view.msnCaptions[at]);
        button->setToolTip(view.msnToolTips[at]);
        item->setVisible(index <= view.msnButtons);
        button->setVisible(index <= view.msnButtons);
        item->setChecked(index == view.dialMSN);
        button->setChecked(index == view.dialMSN);
    }
}

void Main::showCarrier(const QString& caption, double tag) {
    m_cmdProvider->setText(caption);
    m_cmdProvider->setProperty("tag", tag);
}

void Main::Me_Set_Status(const QString& versionText, bool listenIn) {
    if (!versionText.isEmpty())
        m_versionText = versionText;
    m_ZIEL->setText(QStringLiteral("Morva V") + m_versionText.right(5));
    const int size = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    showSoundState();
    m_AB->setPixmap(style()
                        ->standardIcon(listenIn ? QStyle::SP_MediaVolume : QStyle::SP_MediaVolumeMuted)
                        .pixmap(size, size));
    m_AB->setProperty("listenIn", listenIn);
    action("mnuEuritConnect")->setVisible(false);
    action("mnuBlank1")->setVisible(false);
}

void Main::Me_EnableDisableDial(int transferKind) {
    if (transferKind == m_lastTransferKind)
        return;
    const bool wasIdle = m_lastTransferKind == 0;
    m_lastTransferKind = transferKind;
    const bool idle = transferKind == 0;
    if (!wasIdle && !idle)
        return;
    for (const char* name : {"DIAL", "HANGUP", "ANSWER", "M_Wählen", "M_Auflegen"})
        action(name)->setEnabled(idle);
    m_txtNumber->setEnabled(idle);
    if (!idle)
        return;
    if (m_otherWindowOpen && m_otherWindowOpen())
        m_focusNumberLater = true;
    else
        m_txtNumber->setFocus();
}

void Main::setTxtNumber(const QString& number) {
    m_txtNumber->setText(number);
}

void Main::M_Wählen_Click() {
    QWidget* focus = QApplication::focusWidget();
    if (focus == m_lvListView || focus == m_lvListAnrufe)
        Q_EMIT listCommand(ListCommand::Dial, currentRow());
    else
        Q_EMIT dialRequested(m_txtNumber->text());
}

bool Main::listKey(QTreeView* list, QKeyEvent* key) {
    const auto command = [this](ListCommand which) {
        Q_EMIT listCommand(which, currentRow());
        return true;
    };
    if (key->matches(QKeySequence::Copy)) {
        // The number as text, and as a phone number for programs that know the format.
        if (currentTab() != MainTab::Log && m_numberOfRow) {
            const QString number = m_numberOfRow(currentRow());
            if (!number.isEmpty()) {
                auto* data = new QMimeData;
                data->setText(number);
                data->setData(QString::fromLatin1(PhoneNumberMimeType), number.toUtf8());
                QGuiApplication::clipboard()->setMimeData(data);
            }
        }
        return true;
    }
    if (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return false;
    switch (key->key()) {
    case Qt::Key_Delete:
        return command(ListCommand::Delete);
    case Qt::Key_P:
        return command(ListCommand::ToPhonebook);
    case Qt::Key_D:
        return command(ListCommand::Dial);
    case Qt::Key_M:
        return command(ListCommand::MarkRead);
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // As a double click.
        Q_EMIT list->doubleClicked(list->currentIndex());
        return true;
    default:
        return false;
    }
}

bool Main::numberDrop(QEvent* event) {
    auto* drag = static_cast<QDropEvent*>(event);
    const QMimeData* data = drag->mimeData();
    const QString format = QString::fromLatin1(PhoneNumberMimeType);
    if (!data || (!data->hasText() && !data->hasFormat(format)))
        return false;
    if (event->type() != QEvent::Drop) {
        drag->setDropAction(Qt::CopyAction);
        drag->accept();
        return true;
    }
    const QString number =
        (data->hasFormat(format) ? QString::fromUtf8(data->data(format)) : data->text()).trimmed();
    drag->setDropAction(Qt::CopyAction);
    drag->accept();
    m_txtNumber->setText(number);
    Q_EMIT numberEdited(number);
    if (!number.isEmpty())
        Q_EMIT dialRequested(number);
    return true;
}

void Main::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ActivationChange && isActiveWindow() && m_focusNumberLater) {
        m_focusNumberLater = false;
        m_txtNumber->setFocus();
    }
    QMainWindow::changeEvent(event);
}
