// The answering machine's windows: the entry window of one own number alone (values in and out, the
// limits, a greeting that is missing or empty), the machine's window alone (the PIN), and both as their
// owner wires them over a program on the stand-in line (the menu item, the list of set 1, an edit written
// into the set, the PIN, the warning, the safer inquiry in Settings and Morva.ini). With
// MORVA_SCREENSHOT_DIR set, both windows are saved as pictures in every language.

#include "config/ABCapiEntry.h"
#include "config/clsConfig.h"
#include "config/colConfig.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Language.h"
#include "shell/ui/ProgramWindows.h"
#include "shell/ui/ctlDateiAuswahl.h"
#include "shell/ui/ctlNummerText.h"
#include "shell/ui/frmABCapi.h"
#include "shell/ui/frmEintragABCapi.h"
#include "shell/ui/frmPlayRecord.h"
#include "tests/shell/ui/ModalWindow.h"
#include "tests/support/Screenshot.h"
#include "tests/support/TestProgram.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QStyle>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTreeView>

#include <gtest/gtest.h>

#include <functional>
#include <optional>

using Field = clsConfig::Field;

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

template <typename T> T* child(QWidget* window, const char* name) {
    T* found = window->findChild<T*>(QString::fromUtf8(name));
    EXPECT_NE(found, nullptr) << name;
    return found;
}

void touch(const QString& path) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("RIFF");
}

// The entry window alone, in `languageNumber`, over a sound folder that holds "gruss.wav".
struct Entry {
    QTemporaryDir folder;
    Language language;
    frmEintragABCapi window{language};

    explicit Entry(int languageNumber = 9) {
        language.LanguageSet(languageNumber);
        window.Me_Set_Language();
        touch(QDir(folder.path()).filePath(S("gruss.wav")));
    }
    ABCapiEntry values(bool on, int rings, int seconds, bool listenIn, const char* greeting) const {
        ABCapiEntry v;
        v.on = on;
        v.rings = rings;
        v.recordingSeconds = seconds;
        v.listenIn = listenIn;
        v.greeting = S(greeting);
        return v;
    }
    void show(const ABCapiEntry& v) { window.Set_Values(3, S("5553"), v, folder.path()); }
    QLineEdit* rings() {
        return child<QLineEdit>(child<ctlNummerText>(&window, "ctlAnzRufsignale"), "txtAnzeige");
    }
    QLineEdit* seconds() {
        return child<QLineEdit>(child<ctlNummerText>(&window, "ctlMaxTime"), "txtAnzeige");
    }
    QLineEdit* greeting() { return child<ctlDateiAuswahl>(&window, "ctlAnsage")->txtDateiname(); }
    // OK pressed: the values handed back, or none.
    std::optional<ABCapiEntry> ok() {
        QSignalSpy chosen(&window, &frmEintragABCapi::valuesChosen);
        QTest::mouseClick(child<QPushButton>(&window, "cmdOK"), Qt::LeftButton);
        if (chosen.size() != 1)
            return std::nullopt;
        EXPECT_EQ(chosen.at(0).at(0).toInt(), 3);
        return chosen.at(0).at(1).value<ABCapiEntry>();
    }
};

// The machine's window as the owner wires it over a program whose set 1 lists MSNs 1 to 3.
struct Wired : TestProgram {
    std::unique_ptr<ProgramWindows> windows;
    Main* main = nullptr;

    Wired() : TestProgram(false) {
        windows = std::make_unique<ProgramWindows>(*program);
        main = &windows->main();
        EXPECT_EQ(windows->Form_Load(), MainLifecycle::StartResult::Started);
        clsConfig& set = set1();
        for (int i = 1; i <= clsConfig::MSNCount; ++i)
            set.setEx(Field::strMSN, i, i <= 3);
        set.setStrMSN(2, S("5552"));
        set.setStrMSN(3, S("5553"));
        main->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(main));
    }
    ~Wired() { windows.reset(); }
    clsConfig& set1() { return program->Konfigurationen().Item(1); }
    QAction* action(const char* name) const { return main->findChild<QAction*>(QString::fromUtf8(name)); }
    frmABCapi* open() {
        action("mnuEuritKonfig")->trigger();
        frmABCapi* window = windows->abCapiWindow();
        if (window) {
            EXPECT_TRUE(QTest::qWaitForWindowExposed(window));
        }
        return window;
    }
    // The set's file as another reader sees it.
    ABCapiEntry stored(int index) {
        clsConfig again(program->settings(), &program->profiles(),
                        QFileInfo(set1().FilePath()).absolutePath());
        again.setFileName(set1().FileName());
        EXPECT_TRUE(again.Load());
        return ABCapiEntry::Read(again, index);
    }
    QString storedPin() {
        clsConfig again(program->settings(), &program->profiles(),
                        QFileInfo(set1().FilePath()).absolutePath());
        again.setFileName(set1().FileName());
        EXPECT_TRUE(again.Load());
        return again.Text(Field::strCAPIPIN);
    }
};

bool withEntryWindow(const std::function<void()>& open,
                     const std::function<void(frmEintragABCapi&)>& inside) {
    return withModal<frmEintragABCapi>(open, inside);
}

void setNumber(frmEintragABCapi& window, const char* control, int value) {
    child<ctlNummerText>(&window, control)->setValue(value);
}

// Every caption, check box and button of `window` is as wide as its text needs, and every wrapped text as
// wide and as high as its lines.
void ExpectTextsWhole(QWidget* window, const QString& language) {
    const std::string where = language.toStdString() + " ";
    for (QWidget* control : window->findChildren<QWidget*>()) {
        if (!control->isVisible())
            continue;
        auto* label = qobject_cast<QLabel*>(control);
        if (label && label->wordWrap()) {
            const QRect room = label->contentsRect();
            const QRect needed = label->fontMetrics().boundingRect(QRect(0, 0, room.width(), 10000),
                                                                   Qt::TextWordWrap, label->text());
            EXPECT_LE(needed.width(), room.width()) << where << label->objectName().toStdString();
            EXPECT_LE(needed.height(), room.height()) << where << label->objectName().toStdString();
        } else if (label || qobject_cast<QCheckBox*>(control) || qobject_cast<QPushButton*>(control)) {
            EXPECT_GE(control->width(), control->sizeHint().width())
                << where << control->objectName().toStdString();
        }
    }
}

} // namespace

TEST(ABCapiEntryWindow, ShowsTheValuesGivenAndHandsBackWhatWasEdited) {
    qRegisterMetaType<ABCapiEntry>();
    Entry e;
    e.show(e.values(true, 4, 120, false, "gruss.wav"));
    EXPECT_EQ(child<QLineEdit>(&e.window, "txtMSNNr")->text(), S("3"));
    EXPECT_EQ(child<QLineEdit>(&e.window, "txtMSN")->text(), S("5553"));
    EXPECT_TRUE(child<QLineEdit>(&e.window, "txtMSN")->isReadOnly());
    EXPECT_TRUE(child<QLineEdit>(&e.window, "txtMSNNr")->isReadOnly());
    EXPECT_TRUE(child<QCheckBox>(&e.window, "chkABON")->isChecked());
    EXPECT_EQ(e.rings()->text(), S("4"));
    EXPECT_EQ(e.seconds()->text(), S("120"));
    EXPECT_FALSE(child<QCheckBox>(&e.window, "chkMithören")->isChecked());
    EXPECT_EQ(e.greeting()->text(), S("gruss.wav"));
    EXPECT_EQ(child<QLabel>(&e.window, "lblRufsekunden")->text(), S("about 6.9 seconds"))
        << "4 rings of 1.728 s";
    EXPECT_EQ(child<QLabel>(&e.window, "lblHinweis")->text(), e.language.LanguageString(3279));
    auto* control = child<ctlDateiAuswahl>(&e.window, "ctlAnsage");
    EXPECT_TRUE(control->ShowPlayButton());
    EXPECT_EQ(control->DefaultPath(), e.folder.path());
    EXPECT_EQ(control->DialogHeader(), S("Select greeting ..."));
    EXPECT_EQ(ctlDateiAuswahl::QtFileFilter(control->DialogFileSelect()), S("Sound files (*.wav)"));

    QTest::mouseClick(child<QCheckBox>(&e.window, "chkMithören"), Qt::LeftButton);
    e.rings()->setText(S("9"));
    e.seconds()->setText(S("300"));
    // As the browse button writes a name chosen in the folder.
    child<ctlDateiAuswahl>(&e.window, "ctlAnsage")
        ->setFilePath(QDir(e.folder.path()).filePath(S("gruss.wav")));
    const std::optional<ABCapiEntry> chosen = e.ok();
    ASSERT_TRUE(chosen);
    EXPECT_EQ(*chosen, e.values(true, 9, 300, true, "gruss.wav"))
        << "a name in the folder comes back relative";
    EXPECT_EQ(e.window.result(), QDialog::Accepted);
}

TEST(ABCapiEntryWindow, RingsRunFromZeroToTwentyAndTheRecordingTimeToFiveThousand) {
    qRegisterMetaType<ABCapiEntry>();
    Entry e;
    e.show(e.values(false, 25, 9999, false, ""));
    EXPECT_EQ(e.rings()->text(), S("20")) << "a stored value beyond the limit";
    EXPECT_EQ(e.seconds()->text(), S("5000"));
    e.rings()->setText(S("21"));
    EXPECT_EQ(e.rings()->text(), S("20"));
    e.rings()->setText(S("-4"));
    EXPECT_EQ(e.rings()->text(), S("0"));
    QTest::keyClick(e.rings(), Qt::Key_Down);
    EXPECT_EQ(e.rings()->text(), S("0"));
    e.seconds()->setText(S("5001"));
    EXPECT_EQ(e.seconds()->text(), S("5000"));
    QTest::keyClick(e.seconds(), Qt::Key_Up);
    EXPECT_EQ(e.seconds()->text(), S("5000"));
    e.seconds()->setText(S("0"));
    const std::optional<ABCapiEntry> chosen = e.ok();
    ASSERT_TRUE(chosen);
    EXPECT_EQ(chosen->rings, 0);
    EXPECT_EQ(chosen->recordingSeconds, 0);
}

TEST(ABCapiEntryWindow, AMissingGreetingTurnsTheMachineOffAndAnEmptyOnePlaysTheDefault) {
    qRegisterMetaType<ABCapiEntry>();
    {
        Entry e;
        e.show(e.values(true, 5, 100, false, "fehlt.wav"));
        EXPECT_TRUE(child<ctlDateiAuswahl>(&e.window, "ctlAnsage")->isShownRed());
        const std::optional<ABCapiEntry> chosen = e.ok();
        ASSERT_TRUE(chosen);
        EXPECT_FALSE(chosen->on);
        EXPECT_EQ(chosen->greeting, S("fehlt.wav"));
        EXPECT_EQ(chosen->rings, 5);
    }
    {
        Entry e;
        e.show(e.values(true, 5, 100, false, ""));
        EXPECT_EQ(e.greeting()->placeholderText(), e.language.LanguageString(3276));
        EXPECT_FALSE(e.language.LanguageString(3276).isEmpty());
        const std::optional<ABCapiEntry> chosen = e.ok();
        ASSERT_TRUE(chosen);
        EXPECT_TRUE(chosen->on) << "the default greeting is there";
        EXPECT_EQ(chosen->greeting, QString());
    }
}

TEST(ABCapiEntryWindow, CancelAndEscapeHandNothingBack) {
    qRegisterMetaType<ABCapiEntry>();
    Entry e;
    e.show(e.values(true, 5, 100, false, ""));
    QSignalSpy chosen(&e.window, &frmEintragABCapi::valuesChosen);
    e.window.show();
    e.rings()->setText(S("8"));
    QTest::mouseClick(child<QPushButton>(&e.window, "cmdCancel"), Qt::LeftButton);
    EXPECT_EQ(e.window.result(), QDialog::Rejected);
    EXPECT_FALSE(e.window.isVisible());
    e.window.show();
    QTest::keyClick(&e.window, Qt::Key_Escape);
    EXPECT_FALSE(e.window.isVisible());
    EXPECT_EQ(chosen.size(), 0);
}

TEST(ABCapiEntryWindow, SpeaksTheLanguageItIsGiven) {
    Entry e(7);
    e.show(e.values(true, 4, 100, false, ""));
    EXPECT_EQ(e.window.windowTitle(), S("Anrufbeantworter für eine eigene Nummer"));
    EXPECT_EQ(child<QLabel>(&e.window, "lblRufsekunden")->text(), S("etwa 6,9 Sekunden"));
    EXPECT_EQ(child<ctlDateiAuswahl>(&e.window, "ctlAnsage")->DialogFileSelect(),
              S("Sound Dateien (*.wav)|*.wav"));
    EXPECT_EQ(child<ctlDateiAuswahl>(&e.window, "ctlAnsage")->DialogHeader(), S("Ansage auswählen ..."));
    EXPECT_EQ(child<QPushButton>(&e.window, "cmdCancel")->text(), S("Abbrechen"));
}

TEST(ABCapiWindow, APinWithOtherCharactersThanDigitsIsRefusedAndTheOldOneKept) {
    Language language;
    frmABCapi window(language);
    window.Set_Values(S("4711"), false, true);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    QSignalSpy pins(&window, &frmABCapi::pinChanged);
    auto* box = child<QLineEdit>(&window, "txtCAPIAbPin");
    auto* error = child<QLabel>(&window, "lblPinError");
    EXPECT_EQ(box->text(), S("4711"));
    EXPECT_FALSE(error->isVisible());

    box->setText(S("12#4"));
    EXPECT_TRUE(error->isVisible());
    EXPECT_EQ(error->text(), language.LanguageString(3265));
    EXPECT_EQ(window.pin(), S("4711"));
    EXPECT_EQ(pins.size(), 0);
    QTest::mouseClick(child<QPushButton>(&window, "cmdClose"), Qt::LeftButton);
    EXPECT_TRUE(window.isVisible()) << "the refused PIN is not dropped silently";
    QTest::keyClick(&window, Qt::Key_Escape);
    EXPECT_TRUE(window.isVisible());

    box->setText(S(" 0815 "));
    EXPECT_FALSE(error->isVisible());
    ASSERT_EQ(pins.size(), 1);
    EXPECT_EQ(pins.at(0).at(0).toString(), S("0815"));
    QTest::mouseClick(child<QPushButton>(&window, "cmdClose"), Qt::LeftButton);
    EXPECT_FALSE(window.isVisible());
}

TEST(ABCapiWindowWired, TheMenuItemOpensTheListOfSetOneOnce) {
    Wired w;
    QAction* item = w.action("mnuEuritKonfig");
    ASSERT_NE(item, nullptr);
    EXPECT_TRUE(item->isEnabled());
    w.set1().Assign(Field::intCAPIABOn, 2, 1);
    w.set1().Assign(Field::strCAPIABFile, 2, S("buero.wav"));
    w.set1().Assign(Field::intCAPIABRufanzahl, 2, 6);
    w.set1().Assign(Field::intCAPIABAufnahmezeit, 2, 90);
    frmABCapi* window = w.open();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->parentWidget(), w.main);
    auto* list = child<QTreeView>(window, "lvListABCAPI");
    QAbstractItemModel* rows = list->model();
    ASSERT_EQ(rows->rowCount(), 3);
    ASSERT_EQ(rows->columnCount(), 4);
    EXPECT_EQ(rows->index(1, 0).data().toString(), S("2:  5552"));
    EXPECT_EQ(rows->index(1, 1).data().toString(), S("buero.wav"));
    EXPECT_EQ(rows->index(1, 2).data().toString(), S("6"));
    EXPECT_EQ(rows->index(1, 3).data().toString(), S("90"));
    EXPECT_EQ(rows->index(1, 0).data(ListItems::SmallIconRole).toString(), S("S1"));
    EXPECT_EQ(rows->index(2, 0).data(ListItems::SmallIconRole).toString(), S("S0"));
    EXPECT_FALSE(rows->index(1, 0).data(Qt::DecorationRole).isNull());
    EXPECT_EQ(rows->headerData(2, Qt::Horizontal).toString(), w.program->language().LanguageString(3260));

    // A second opening raises the same window.
    w.action("mnuEuritKonfig")->trigger();
    EXPECT_EQ(w.windows->abCapiWindow(), window);
    EXPECT_EQ(w.main->findChildren<frmABCapi*>().size(), 1);
    window->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(w.windows->abCapiWindow(), nullptr) << "gone with its close";
}

TEST(ABCapiWindowWired, AnEditGoesIntoSetOneAndItsFileAndTheListShowsIt) {
    Wired w;
    frmABCapi* window = w.open();
    ASSERT_NE(window, nullptr);
    auto* list = child<QTreeView>(window, "lvListABCAPI");
    list->setCurrentIndex(list->model()->index(2, 0));
    EXPECT_EQ(window->selectedIndex(), 3);

    // cmdEdit: the number's values, changed; the greeting is missing, so the machine stays off.
    bool came =
        withEntryWindow([&] { QTest::mouseClick(child<QPushButton>(window, "cmdEdit"), Qt::LeftButton); },
                        [&](frmEintragABCapi& entry) {
                            EXPECT_EQ(entry.index(), 3);
                            EXPECT_EQ(child<QLineEdit>(&entry, "txtMSN")->text(), S("5553"));
                            EXPECT_EQ(entry.ctlAnsage()->DefaultPath(), w.program->sound().soundFolder());
                            child<QCheckBox>(&entry, "chkABON")->setChecked(true);
                            setNumber(entry, "ctlAnzRufsignale", 7);
                            setNumber(entry, "ctlMaxTime", 240);
                            entry.ctlAnsage()->setFilePath(S("fehlt.wav"));
                            QTest::mouseClick(child<QPushButton>(&entry, "cmdOK"), Qt::LeftButton);
                        });
    ASSERT_TRUE(came);
    ABCapiEntry expected;
    expected.on = false;
    expected.rings = 7;
    expected.recordingSeconds = 240;
    expected.greeting = S("fehlt.wav");
    EXPECT_EQ(ABCapiEntry::Read(w.set1(), 3), expected);
    EXPECT_EQ(w.stored(3), expected) << "the set wrote its file";
    QAbstractItemModel* rows = list->model();
    EXPECT_EQ(rows->index(2, 2).data().toString(), S("7"));
    EXPECT_EQ(rows->index(2, 1).data().toString(), S("fehlt.wav"));
    EXPECT_EQ(window->selectedIndex(), 3) << "the row stays selected";

    // Return on the row, with the greeting made: now the machine answers.
    touch(w.program->sound().SoundFullPath(S("fehlt.wav")));
    came = withEntryWindow([&] { QTest::keyClick(list, Qt::Key_Return); },
                           [&](frmEintragABCapi& entry) {
                               EXPECT_EQ(entry.index(), 3);
                               child<QCheckBox>(&entry, "chkABON")->setChecked(true);
                               QTest::mouseClick(child<QPushButton>(&entry, "cmdOK"), Qt::LeftButton);
                           });
    ASSERT_TRUE(came);
    EXPECT_EQ(w.set1().Number(Field::intCAPIABOn, 3), 1);
    EXPECT_EQ(rows->index(2, 0).data(ListItems::SmallIconRole).toString(), S("S1"));

    // The greeting's play button opens the play and record window on the greeting's box; Cancel then
    // writes nothing.
    came = withEntryWindow(
        [&] { QTest::mouseClick(child<QPushButton>(window, "cmdEdit"), Qt::LeftButton); },
        [&](frmEintragABCapi& entry) {
            setNumber(entry, "ctlAnzRufsignale", 1);
            QString shown;
            const bool played = withModal<frmPlayRecord>(
                [&] {
                    QTest::mouseClick(child<QToolButton>(entry.ctlAnsage(), "cmdShowPlayRecord"),
                                      Qt::LeftButton);
                },
                [&](frmPlayRecord& player) {
                    shown = child<ctlDateiAuswahl>(&player, "ctlDateiAuswahl1")->FilePath();
                    EXPECT_EQ(player.fileName(), w.program->sound().SoundFullPath(S("fehlt.wav")));
                });
            EXPECT_TRUE(played);
            EXPECT_EQ(shown, S("fehlt.wav"));
            QTest::mouseClick(child<QPushButton>(&entry, "cmdCancel"), Qt::LeftButton);
        });
    ASSERT_TRUE(came);
    EXPECT_EQ(w.set1().Number(Field::intCAPIABRufanzahl, 3), 7);
    window->close();
}

TEST(ABCapiWindowWired, ThePinIsStoredTrimmedAndARefusedOneLeavesTheStoredPin) {
    Wired w;
    w.set1().Assign(Field::strCAPIPIN, S("4711"));
    frmABCapi* window = w.open();
    ASSERT_NE(window, nullptr);
    auto* box = child<QLineEdit>(window, "txtCAPIAbPin");
    EXPECT_EQ(box->text(), S("4711"));
    box->selectAll();
    QTest::keyClicks(box, S("12#4"));
    EXPECT_TRUE(child<QLabel>(window, "lblPinError")->isVisible());
    EXPECT_NE(w.set1().Text(Field::strCAPIPIN), S("12#4"));
    box->setText(S("12#4"));
    EXPECT_NE(w.storedPin(), S("12#4"));
    box->setText(S("0815 "));
    EXPECT_EQ(w.set1().Text(Field::strCAPIPIN), S("0815"));
    EXPECT_EQ(w.storedPin(), S("0815"));
    window->close();
}

TEST(ABCapiWindowWired, TheWarningFollowsTheMachineAndThePinAndTheSaferInquiryReachesMorvaIni) {
    Wired w;
    w.set1().Assign(Field::strCAPIPIN, QString());
    for (int i = 1; i <= clsConfig::MSNCount; ++i)
        w.set1().Assign(Field::intCAPIABOn, i, 0);
    w.set1().Assign(Field::intCAPIABOn, 7, 1); // not listed: it does not count
    frmABCapi* window = w.open();
    ASSERT_NE(window, nullptr);
    const Language& lang = w.program->language();
    auto* warning = child<QLabel>(window, "lblPinWarning");
    auto* box = child<QLineEdit>(window, "txtCAPIAbPin");
    auto* safe = child<QCheckBox>(window, "chkABSafeInquiry");
    EXPECT_FALSE(warning->isVisible()) << "the machine answers no listed number";

    // MSN 1 on, through its entry: the warning comes.
    const bool came = withEntryWindow(
        [&] {
            window->selectIndex(1);
            QTest::mouseClick(child<QPushButton>(window, "cmdEdit"), Qt::LeftButton);
        },
        [&](frmEintragABCapi& entry) {
            child<QCheckBox>(&entry, "chkABON")->setChecked(true);
            QTest::mouseClick(child<QPushButton>(&entry, "cmdOK"), Qt::LeftButton);
        });
    ASSERT_TRUE(came);
    EXPECT_TRUE(warning->isVisible());
    EXPECT_EQ(warning->text(), lang.LanguageString(3268));
    EXPECT_TRUE(child<QLabel>(window, "imgPinWarning")->isVisible());

    box->setText(S("2580"));
    EXPECT_FALSE(warning->isVisible());
    EXPECT_FALSE(child<QLabel>(window, "imgPinWarning")->isVisible());
    box->clear();
    EXPECT_TRUE(warning->isVisible());

    // The safer inquiry: in Settings and, at once, in Morva.ini; the warning says no inquiry is possible.
    const QString ini = w.program->iniPath();
    EXPECT_EQ(w.program->settings().ABSafeInquiry, 0);
    QTest::mouseClick(safe, Qt::LeftButton, {}, QPoint(8, safe->height() / 2));
    EXPECT_EQ(w.program->settings().ABSafeInquiry, 1);
    EXPECT_EQ(w.program->profiles().GetPrivateProfileInt(S("Setup"), S("ABSafeInquiry"), -1, ini), 1);
    EXPECT_TRUE(warning->isVisible());
    EXPECT_EQ(warning->text(), lang.LanguageString(3269));
    QTest::mouseClick(safe, Qt::LeftButton, {}, QPoint(8, safe->height() / 2));
    EXPECT_EQ(w.program->settings().ABSafeInquiry, 0);
    EXPECT_EQ(w.program->profiles().GetPrivateProfileInt(S("Setup"), S("ABSafeInquiry"), -1, ini), 0);
    window->close();

    // A window opened anew shows what is stored.
    w.program->settings().ABSafeInquiry = 1;
    window = w.open();
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(child<QCheckBox>(window, "chkABSafeInquiry")->isChecked());
    window->close();
}

// Every caption is as wide as its text needs, in every language; pictures for people to look at.
TEST(ABCapiWindowWired, Pictures) {
    Wired w;
    w.set1().Assign(Field::intCAPIABOn, 2, 1);
    w.set1().Assign(Field::strCAPIABFile, 2, S("Ansage/buero.wav"));
    w.set1().Assign(Field::strCAPIPIN, QString());
    Language& lang = w.program->language();
    QStringList names;
    const int count = lang.LanguageFillList(&names);
    ASSERT_EQ(count, 7);
    for (int i = 1; i <= count; ++i) {
        lang.LanguageApply(i);
        w.windows->applyLanguage();
        frmABCapi* window = w.open();
        ASSERT_NE(window, nullptr);
        window->selectIndex(2);
        QCoreApplication::processEvents();
        ExpectTextsWhole(window, lang.LanguageCode());
        SaveScreenshot(window, S("frmABCapi-") + lang.LanguageCode());
        const bool came = withEntryWindow(
            [&] { QTest::mouseClick(child<QPushButton>(window, "cmdEdit"), Qt::LeftButton); },
            [&](frmEintragABCapi& entry) {
                QCoreApplication::processEvents();
                ExpectTextsWhole(&entry, lang.LanguageCode());
                SaveScreenshot(&entry, S("frmEintragABCapi-") + lang.LanguageCode());
                entry.ctlAnsage()->setFilePath(QString());
                QLineEdit* greeting = entry.ctlAnsage()->txtDateiname();
                // The room of the text: the box less its frame and the line edit's margin of 2 pixels.
                const int frame =
                    greeting->style()->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, greeting);
                const int room = greeting->width() - 2 * (frame + 2);
                EXPECT_EQ(
                    greeting->fontMetrics().elidedText(greeting->placeholderText(), Qt::ElideRight, room),
                    greeting->placeholderText())
                    << lang.LanguageCode().toStdString() << ": the note about the default greeting is whole";
                SaveScreenshot(&entry, S("frmEintragABCapi-default-") + lang.LanguageCode());
                QTest::mouseClick(child<QPushButton>(&entry, "cmdCancel"), Qt::LeftButton);
            });
        EXPECT_TRUE(came);
        window->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}
