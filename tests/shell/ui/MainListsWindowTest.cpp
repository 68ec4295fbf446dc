// The main window's tabs, menus and bars driven as a user drives them, over a program on the stand-in
// line: keys and clicks on the lists, drag and drop, the own number and the carrier of a dial. With
// MORVA_SCREENSHOT_DIR set, each tab is saved as a picture in English and German.

#include "shell/base/Language.h"
#include "shell/ui/ProgramWindows.h"
#include "tests/support/Screenshot.h"
#include "tests/support/TestProgram.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QTabBar>
#include <QTest>
#include <QToolBar>
#include <QToolButton>
#include <QTreeView>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct Window : TestProgram {
    std::unique_ptr<ProgramWindows> windows;
    Main* main = nullptr;
    QStringList messages;
    explicit Window(const std::function<void(Program&)>& before = {}) : TestProgram(false) {
        windows = std::make_unique<ProgramWindows>(*program);
        main = &windows->main();
        program->commands().setShowMessage([this](const QString& text) { messages << text; });
        program->dialogs().setAsker(
            [](const QString&, UserDialogs::Buttons, UserDialogs::Icon) { return UserDialogs::Answer::Yes; });
        if (before)
            before(*program);
        EXPECT_EQ(windows->Form_Load(), MainLifecycle::StartResult::Started);
        main->show();
        // Every test works with the lists shown.
        if (!list("lvListView")->isVisible())
            action("mnuViewExtended")->trigger();
    }
    ~Window() { windows.reset(); }
    QAction* action(const char* name) const { return main->findChild<QAction*>(QString::fromUtf8(name)); }
    QTreeView* list(const char* name) const { return main->findChild<QTreeView*>(QString::fromLatin1(name)); }
    QTabBar* tabs() const { return main->findChild<QTabBar*>(S("tbsTabStrip")); }
    void clickTab(int index) {
        QTest::mouseClick(tabs(), Qt::LeftButton, {}, tabs()->tabRect(index).center());
    }
    QTreeView* shown() const {
        return list("lvListView")->isVisible() ? list("lvListView") : list("lvListAnrufe");
    }
    void key(QTreeView* view, int row, Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        view->setFocus();
        view->setCurrentIndex(view->model()->index(row, 0));
        QTest::keyClick(view, key, modifiers);
    }
    QStringList shownNumbers() const {
        QStringList numbers;
        const ListItems& items = program->lists().listOf(program->lists().selected());
        for (int row = 0; row < items.Count(); ++row)
            numbers << items.At(row).SubItems.value(0);
        return numbers;
    }
    QString connects() const { return line->requests().filter(S("Connect")).join(S("; ")); }
    void snapshot(const QString& name) const { SaveScreenshot(main, name); }
};

void ini(Program& program, const char* section, const char* key, const char* value) {
    program.profiles().WritePrivateProfileString(S(section), S(key), S(value), program.iniPath());
}

// New calls that want attention (one with a message) and last-used numbers, as a program left them.
void someCalls(Program& program) {
    SaveNewCalls(program);
    ini(program, "Nummern", "LastNumAnz", "2");
    ini(program, "Nummern", "Nummer1", "0307777");
    ini(program, "Nummern", "Nummer2", "0891234");
}

TEST(MainWindowLists, EachTabShowsItsListHeadersAndCommands) {
    Window w(someCalls);
    struct Expected {
        int tab;
        const char* list;
        QStringList headers;
        QStringList commands; // visible of DELETE, MARKREAD, MARKALLREAD, PLAY, STOP, GOTOBOOK
    };
    const Language& l = w.program->language();
    const Expected table[] = {
        {1,
         "lvListAnrufe",
         {l.LanguageString(978), l.LanguageString(3223), l.LanguageString(971), l.LanguageString(972)},
         {S("MARKREAD"), S("MARKALLREAD"), S("PLAY"), S("GOTOBOOK")}},
        {2, "lvListView", {l.LanguageString(971), l.LanguageString(972)}, {S("DELETE"), S("GOTOBOOK")}},
        {0,
         "lvListView",
         {l.LanguageString(971), l.LanguageString(972), l.LanguageString(973), l.LanguageString(974),
          l.LanguageString(975), l.LanguageString(976)},
         {S("GOTOBOOK")}},
    };
    for (const Expected& e : table) {
        w.clickTab(e.tab);
        EXPECT_EQ(w.shown()->objectName(), S(e.list)) << e.tab;
        QStringList headers;
        QHeaderView* header = w.shown()->header();
        for (int visual = 0; visual < header->count(); ++visual)
            headers
                << w.shown()->model()->headerData(header->logicalIndex(visual), Qt::Horizontal).toString();
        EXPECT_EQ(headers, e.headers) << e.tab;
        QStringList visible;
        for (const char* key : {"DELETE", "MARKREAD", "MARKALLREAD", "PLAY", "STOP", "GOTOBOOK"})
            if (w.action(key)->isVisible())
                visible << S(key);
        EXPECT_EQ(visible, e.commands) << e.tab;
        EXPECT_EQ(w.action("mnuKontextDelete")->isVisible(), e.commands.contains(S("DELETE")));
        EXPECT_EQ(w.action("mnuKontextDeleteSoundAll")->isVisible(), e.commands.contains(S("PLAY")));
    }
    // The calls list: the number in the fourth column, the pictures by message.
    w.clickTab(1);
    QTreeView* calls = w.list("lvListAnrufe");
    EXPECT_EQ(calls->header()->logicalIndex(3), 1);
    EXPECT_EQ(w.program->lists().lvListAnrufe().At(0).SmallIcon, S("S10"));
    EXPECT_FALSE(
        calls->model()->data(calls->model()->index(0, 0), Qt::DecorationRole).value<QIcon>().isNull());
    // The windows that are not there yet are offered, disabled, with their name as tip.
    EXPECT_FALSE(w.action("mnuEuritPhonebook")->isEnabled());
    EXPECT_EQ(w.action("mnuEuritPhonebook")->toolTip(), l.LanguageString(3103).remove(QLatin1Char('&')));

    // The status bar; the program's silent sound library reaches no sound server.
    EXPECT_EQ(w.main->findChild<QLabel*>(S("VOLTEXT"))->text(), l.LanguageString(3210));
    EXPECT_EQ(w.main->findChild<QLabel*>(S("ABTEXT"))->text(), QString());
    EXPECT_EQ(w.main->findChild<QLabel*>(S("ZIEL"))->text(),
              S("Morva V") + w.windows->lifecycle().VersionText().right(5));
    QLabel* ab = w.main->findChild<QLabel*>(S("AB"));
    QTest::mouseClick(ab, Qt::LeftButton);
    EXPECT_TRUE(w.cti().ABMithören());
    EXPECT_TRUE(ab->property("listenIn").toBool());
    QTest::mouseClick(w.main->findChild<QLabel*>(S("ZIEL")), Qt::LeftButton);
    EXPECT_FALSE(w.list("lvListAnrufe")->isVisible()) << "ZIEL hides the lists";

    for (int language : {9, 7}) {
        w.program->language().LanguageSet(language);
        w.windows->applyLanguage();
        if (language == 7) {
            EXPECT_EQ(ab->toolTip(), S("Anrufbeantworter mithören an / aus"));
        }
        QTest::mouseClick(w.main->findChild<QLabel*>(S("ZIEL")), Qt::LeftButton);
        for (int tab = 0; tab < 3; ++tab) {
            w.clickTab(tab);
            w.snapshot(S("tab-%1-%2").arg(tab).arg(language == 7 ? S("de") : S("en")));
        }
        QTest::mouseClick(w.main->findChild<QLabel*>(S("ZIEL")), Qt::LeftButton);
    }
}

TEST(MainWindowLists, ColumnsFollowTheContentUntilTheUserSizesThemAndThenKeepTheirWidthPerTab) {
    Window w(someCalls);
    w.clickTab(1);
    QTreeView* calls = w.list("lvListAnrufe");
    const QString date = w.program->lists().lvListAnrufe().At(0).Text;
    EXPECT_GE(calls->columnWidth(0), calls->fontMetrics().horizontalAdvance(date))
        << "the date is seen whole";
    w.clickTab(2);
    EXPECT_EQ(w.program->lists().ColumnWidths(MainTab::Log), std::vector<int>(4, 0))
        << "widths the user did not choose are not kept";

    // The user drags the edge of the first column.
    w.clickTab(1);
    QHeaderView* header = calls->header();
    const int edge = header->sectionViewportPosition(0) + header->sectionSize(0) - 1;
    const int before = header->sectionSize(0);
    QWidget* strip = header->viewport();
    QTest::mousePress(strip, Qt::LeftButton, {}, QPoint(edge, 5));
    QTest::mouseMove(strip, QPoint(edge + 40, 5));
    QTest::mouseRelease(strip, Qt::LeftButton, {}, QPoint(edge + 40, 5));
    ASSERT_GT(header->sectionSize(0), before);
    w.clickTab(0);
    const std::vector<int> kept = w.program->lists().ColumnWidths(MainTab::Log);
    EXPECT_EQ(kept[0], header->sectionSize(0) * w.main->twipsPerPixel());
    EXPECT_EQ(w.program->lists().ColumnWidths(MainTab::Quick), std::vector<int>(6, 0)) << "per tab";
    w.clickTab(1);
    EXPECT_EQ(calls->columnWidth(0), kept[0] / w.main->twipsPerPixel());
}

TEST(MainWindowLists, KeysAndClicksOnTheRowsDialMarkCopyAndDelete) {
    Window w(someCalls);
    // LASTUSED: a double click dials the row; Del takes it out; Ctrl+C copies its number.
    w.clickTab(2);
    QTreeView* view = w.list("lvListView");
    ASSERT_EQ(w.shownNumbers(), (QStringList{S("0307777"), S("0891234")}));
    const QRect second = view->visualRect(view->model()->index(1, 1));
    // A double click as the window system delivers it: press, release, then the second press as a double
    // click.
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, second.center());
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, second.center());
    EXPECT_EQ(w.connects(), S("Connect 0891234 from *"));
    EXPECT_EQ(w.main->findChild<QLineEdit*>(S("txtNumber"))->text(), S("0891234"));
    w.key(view, 0, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), S("0891234")) << "the dial put it on top";
    EXPECT_EQ(QGuiApplication::clipboard()->mimeData()->data(S(PhoneNumberMimeType)), QByteArray("0891234"));
    w.key(view, 1, Qt::Key_Delete);
    EXPECT_EQ(w.shownNumbers(), QStringList{S("0891234")});
    EXPECT_EQ(w.program->lastNumbers().numbers(), QStringList{S("0891234")});

    // LOG: m marks the call read (it leaves the list of calls that want attention), d dials it, Del and
    // Ctrl+C do nothing.
    w.clickTab(1);
    view = w.list("lvListAnrufe");
    ASSERT_EQ(w.shownNumbers(), (QStringList{S("0301111"), S("0302222")}));
    QGuiApplication::clipboard()->clear();
    w.key(view, 0, Qt::Key_C, Qt::ControlModifier);
    w.key(view, 0, Qt::Key_Delete);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QString());
    EXPECT_EQ(w.shownNumbers().size(), 2);
    w.key(view, 1, Qt::Key_M);
    EXPECT_EQ(w.shownNumbers(), QStringList{S("0301111")});
    QCoreApplication::processEvents();
    EXPECT_EQ(view->currentIndex().row(), 0) << "the refilled list has a row to work on";
    EXPECT_EQ(CallLogRecords(*w.program).at(1).Neu, 0);
    w.line->clearRequests();
    w.key(view, 0, Qt::Key_D);
    EXPECT_EQ(w.connects(), S("Connect 0301111 from *"));

    // The context menu offers the LOG commands on LOG only.
    auto* menu = w.main->findChild<QMenu*>(S("mnuKontext"));
    QMetaObject::invokeMethod(view, "customContextMenuRequested", Q_ARG(QPoint, QPoint(5, 5)));
    EXPECT_TRUE(menu->isVisible());
    EXPECT_TRUE(w.action("mnuKontextGelesen")->isVisible());
    menu->close();
}

TEST(MainWindowLists, ANumberDraggedOutIsTextAndAPhoneNumberAndADropOnTheNumberDials) {
    Window w(someCalls);
    w.clickTab(2);
    QAbstractItemModel* model = w.list("lvListView")->model();
    std::unique_ptr<QMimeData> dragged(model->mimeData({model->index(1, 0)}));
    ASSERT_TRUE(dragged);
    EXPECT_EQ(dragged->text(), S("0891234"));
    EXPECT_EQ(dragged->data(S(PhoneNumberMimeType)), QByteArray("0891234"));
    w.clickTab(1);
    model = w.list("lvListAnrufe")->model();
    std::unique_ptr<QMimeData> call(model->mimeData({model->index(0, 2)}));
    EXPECT_EQ(call->text(), S("0301111"));
    EXPECT_FALSE(call->hasFormat(S(PhoneNumberMimeType))) << "a call is dragged as text only";

    // A drop of the phone number format, with blanks around it, dials it; an empty text does not.
    QLineEdit* number = w.main->findChild<QLineEdit*>(S("txtNumber"));
    const auto drop = [number](QMimeData* data) {
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, data, Qt::LeftButton, {});
        QApplication::sendEvent(number, &enter);
        QDropEvent dropped(QPointF(5, 5), Qt::CopyAction, data, Qt::LeftButton, {});
        QApplication::sendEvent(number, &dropped);
        return enter.isAccepted() && dropped.isAccepted();
    };
    QMimeData phone;
    phone.setData(S(PhoneNumberMimeType), " 0304444 ");
    EXPECT_TRUE(drop(&phone));
    EXPECT_EQ(w.connects(), S("Connect 0304444 from *"));
    EXPECT_EQ(number->text(), S("0304444"));
    w.line->clearRequests();
    QMimeData blank;
    blank.setText(S("   "));
    EXPECT_TRUE(drop(&blank));
    EXPECT_EQ(w.connects(), QString());
    QMimeData picture;
    picture.setImageData(QImage(2, 2, QImage::Format_RGB32));
    EXPECT_FALSE(drop(&picture));
}

TEST(MainWindowLists, TheOwnNumberAndTheCarrierChosenReachTheLine) {
    Window w([](Program& program) {
        ini(program, "Setup", "MSNAnzahl", "3");
        ini(program, "Dial", "DialMSN", "5");
    });
    clsConfig& set1 = w.program->Konfigurationen().Item(1);
    for (int index = 1; index <= 5; ++index)
        set1.setStrMSN(index, S("555%1").arg(index));
    // The stored fifth MSN stays; no visible button is pressed.
    w.action("mnuViewMSNSelect")->trigger();
    auto* bar = w.main->findChild<QToolBar*>(S("tbMSNSelect"));
    ASSERT_TRUE(bar->isVisible());
    QStringList pressed;
    for (int index = 1; index <= 5; ++index) {
        QAction* button = w.action(QStringLiteral("tbMSNSelect%1").arg(index).toLatin1().constData());
        if (button->isVisible() && button->isChecked())
            pressed << button->objectName();
    }
    EXPECT_TRUE(pressed.isEmpty());
    EXPECT_FALSE(w.action("tbMSNSelect4")->isVisible());
    EXPECT_EQ(w.program->settings().DialMSN, 5);

    // Button B: outgoing calls show the second MSN.
    QTest::mouseClick(bar->widgetForAction(w.action("tbMSNSelect2")), Qt::LeftButton);
    EXPECT_EQ(w.program->settings().DialMSN, 2);
    EXPECT_TRUE(w.action("mnuEuritUseMSNA2")->isChecked());

    // A carrier chosen in the carrier window goes in front of a long-distance number.
    w.program->Phonebooks().Phonebooks_destroy(); // the next start seeds the macro book
    w.program->Phonebooks().Phonebooks_create();
    w.action("mnuEuritSelProvider")->trigger();
    QWidget* carriers = QApplication::activePopupWidget();
    ASSERT_NE(carriers, nullptr);
    auto* mobilcom = carriers->findChild<QLabel*>(S("lblProvider1"));
    ASSERT_NE(mobilcom, nullptr);
    const QString chosen = mobilcom->text();
    const QString code = chosen.section(S("  "), 0, 0);
    const double key = mobilcom->property("tag").toDouble();
    QTest::mouseClick(mobilcom, Qt::LeftButton);
    QCoreApplication::processEvents();
    auto* button = w.main->findChild<QPushButton*>(S("cmdProvider"));
    EXPECT_TRUE(button->isVisible());
    EXPECT_EQ(button->text(), chosen);
    EXPECT_EQ(button->property("tag").toDouble(), key);
    EXPECT_EQ(w.program->Phonebooks().Vorwahlen.CarrierTable[3], chosen);
    QLineEdit* number = w.main->findChild<QLineEdit*>(S("txtNumber"));
    QTest::keyClicks(number, S("08912345"));
    QTest::keyClick(number, Qt::Key_Return);
    EXPECT_EQ(w.connects(), S("Connect ") + code + S("08912345 from 5552"));
    w.settle();
    EXPECT_EQ(w.program->lastNumbers().numbers(), QStringList{S("08912345")})
        << "remembered without the carrier";
    w.action("M_Auflegen")->trigger();
    w.settle();
    // Hidden, the carrier line puts nothing in front.
    w.line->clearRequests();
    w.action("mnuViewProvider")->trigger();
    EXPECT_FALSE(button->isVisible());
    number->setFocus();
    w.action("M_Wählen")->trigger();
    EXPECT_EQ(w.connects(), S("Connect 08912345 from 5552"));
}

TEST(MainWindowLists, TheNameOfTheCallOffersItsNumberToDial) {
    Window w;
    w.ring("301234", "5551");
    w.line->farEndHangsUp();
    w.settle();
    ASSERT_EQ(w.call().ShownNumber, S("0301234"));
    w.line->clearRequests();
    auto* name = w.main->findChild<QLabel*>(S("lblName"));
    QTest::mouseClick(name, Qt::RightButton);
    auto* popup = w.main->findChild<QMenu*>(S("Menu_frm"));
    EXPECT_TRUE(popup->isVisible());
    popup->close();
    w.action("M_DialCurrentNumber")->trigger();
    EXPECT_EQ(w.connects(), S("Connect 0301234 from *"));
    EXPECT_EQ(w.main->findChild<QLineEdit*>(S("txtNumber"))->text(), S("0301234"));
}

// A transfer with the telephone keeps the call commands and the number off; at its end the number gets
// the focus, or, while another window is open, when the main window is next activated.
TEST(MainWindowLists, ATransferTurnsTheCallCommandsOffUntilItEnds) {
    Language language;
    Main main(language);
    main.show();
    QApplication::setActiveWindow(&main);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&main));
    auto* number = main.findChild<QLineEdit*>(S("txtNumber"));
    const auto enabled = [&main, number] {
        QStringList on;
        for (const char* name : {"DIAL", "HANGUP", "ANSWER", "M_Wählen", "M_Auflegen"})
            if (main.findChild<QAction*>(S(name))->isEnabled())
                on << S(name);
        return on.join(QLatin1Char(' ')) + (number->isEnabled() ? S(" txtNumber") : S(""));
    };
    const QString all = enabled();
    ASSERT_TRUE(all.contains(S("M_Wählen")));
    main.findChild<QTreeView*>(S("lvListView"))->setFocus();
    main.Me_EnableDisableDial(1);
    EXPECT_EQ(enabled(), QString());
    main.Me_EnableDisableDial(2);
    EXPECT_EQ(enabled(), QString());
    bool otherWindow = true;
    main.setOtherWindowOpen([&otherWindow] { return otherWindow; });
    main.Me_EnableDisableDial(0);
    EXPECT_EQ(enabled(), all);
    EXPECT_FALSE(number->hasFocus()) << "another window keeps the focus";
    QApplication::setActiveWindow(nullptr);
    QApplication::setActiveWindow(&main);
    QCoreApplication::processEvents();
    EXPECT_TRUE(number->hasFocus());
}

} // namespace
