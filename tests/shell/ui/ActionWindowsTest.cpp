// The windows of the programmed rules and of the dial hotkey's number rules: the list of rules alone
// (its columns and labels, what its keys, toolbar and menus ask for, delete, copy and paste in order),
// the entry window of one rule alone (the fields per action, the refusal of incomplete values, the test
// with a runner of the test's own), the hotkey window alone, and all of them as their owner wires them
// over a program on the stand-in line (a rule and the hotkey rules in Morva.ini at once, the list's place
// and widths kept). With MORVA_SCREENSHOT_DIR set, each window is saved as a picture in every language.

#include "automation/ActionRules.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Language.h"
#include "shell/ui/HelpWindow.h"
#include "shell/ui/ProgramWindows.h"
#include "shell/ui/frmActionSetup.h"
#include "shell/ui/frmEintragAction.h"
#include "shell/ui/frmOptHotkey.h"
#include "tests/shell/ui/ModalWindow.h"
#include "tests/support/Screenshot.h"
#include "tests/support/TestProgram.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTextBrowser>
#include <QToolBar>
#include <QTreeView>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

template <typename T> T* child(QWidget* window, const char* name) {
    T* found = window->findChild<T*>(QString::fromUtf8(name));
    EXPECT_NE(found, nullptr) << name;
    return found;
}

ActionRule rule(int status, int typ, const char* command, const char* command2 = "",
                const char* command3 = "") {
    ActionRule r;
    r.Status = int16_t(status);
    r.Typ = int16_t(typ);
    r.Command = S(command);
    r.Command2 = S(command2);
    r.Command3 = S(command3);
    return r;
}

// Three rules: a program on an incoming call, a window closed when idle, a D-Bus call with data.
ActionTable threeRules() {
    ActionTable table(1);
    table.push_back(rule(3, 0, "notify-send %N"));
    table.push_back(rule(0, 2, "Anruf"));
    table.push_back(rule(4, 3, "org.example.S/obj", "org.example.I.Call", "%U4"));
    return table;
}

// The commands of the table's rules, in order.
QStringList commands(const ActionTable& table) {
    QStringList list;
    for (int n = 1; n <= ActionCount(table); ++n)
        list << table[std::size_t(n)].Command;
    return list;
}

// The list window alone over a table of the test's, in `languageNumber`, its wishes applied to the table
// as an owner applies them.
struct List {
    Language language;
    ActionTable table = threeRules();
    frmActionSetup window{language};

    explicit List(int languageNumber = 9) {
        language.LanguageSet(languageNumber);
        window.Me_Set_Language();
        window.Set_Values(table);
        QObject::connect(&window, &frmActionSetup::deleteRequested, &window, [this](int index) {
            ActionDelete(table, index);
            window.Set_Values(table);
        });
        QObject::connect(&window, &frmActionSetup::pasteRequested, &window,
                         [this](const ActionRule& r, int before) {
                             ActionPaste(table, r, before);
                             window.Set_Values(table);
                         });
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
    }
    QTreeView* list() { return child<QTreeView>(&window, "lvListView"); }
    QAction* button(const char* key) {
        for (QAction* a : child<QToolBar>(&window, "Toolbar1")->actions())
            if (a->objectName() == QLatin1String(key))
                return a;
        ADD_FAILURE() << "no button " << key;
        return nullptr;
    }
    void select(int row) { list()->setCurrentIndex(list()->model()->index(row, 0)); }
};

// The entry window alone over a table of the test's.
struct Entry {
    Language language;
    ActionTable table = threeRules();
    frmEintragAction window{language, table};

    explicit Entry(int languageNumber = 9) {
        language.LanguageSet(languageNumber);
        window.Me_Set_Language();
    }
    QComboBox* status() { return child<QComboBox>(&window, "cboStatusAuf"); }
    QComboBox* action() { return child<QComboBox>(&window, "cboActionAuf"); }
    QLineEdit* field(const char* name) { return child<QLineEdit>(&window, name); }
    QLabel* label(const char* name) { return child<QLabel>(&window, name); }
};

} // namespace

TEST(ActionSetupWindow, ListsEveryRuleWithItsTriggerActionAndParameters) {
    List l;
    QAbstractItemModel* rows = l.list()->model();
    ASSERT_EQ(rows->rowCount(), 3);
    ASSERT_EQ(rows->columnCount(), 5);
    EXPECT_EQ(rows->headerData(0, Qt::Horizontal).toString(), S("Event"));
    EXPECT_EQ(rows->headerData(1, Qt::Horizontal).toString(), S("Action"));
    EXPECT_EQ(rows->headerData(2, Qt::Horizontal).toString(), S("Parameter 1"));
    EXPECT_EQ(rows->headerData(3, Qt::Horizontal).toString(), S("Parameter 2"));
    EXPECT_EQ(rows->headerData(4, Qt::Horizontal).toString(), S("Parameter 3"));
    EXPECT_EQ(rows->index(0, 0).data().toString(), S("Ringing (incoming)"));
    EXPECT_EQ(rows->index(0, 1).data().toString(), S("Start program"));
    EXPECT_EQ(rows->index(0, 2).data().toString(), S("notify-send %N"));
    EXPECT_EQ(rows->index(1, 0).data().toString(), S("Idle"));
    EXPECT_EQ(rows->index(1, 1).data().toString(), S("Close window"));
    EXPECT_EQ(rows->index(2, 0).data().toString(), S("Connected (incoming)"));
    EXPECT_EQ(rows->index(2, 1).data().toString(), S("D-Bus call with data"));
    EXPECT_EQ(rows->index(2, 3).data().toString(), S("org.example.I.Call"));
    EXPECT_EQ(rows->index(2, 4).data().toString(), S("%U4"));

    // In German, rows and headers alike.
    l.language.LanguageSet(7);
    l.window.Me_Set_Language();
    EXPECT_EQ(rows->headerData(0, Qt::Horizontal).toString(), S("Ereignis"));
    EXPECT_EQ(rows->index(0, 0).data().toString(), S("Klingelt (ankommend)"));
    EXPECT_EQ(rows->index(1, 1).data().toString(), S("Fenster schließen"));
    EXPECT_EQ(l.window.windowTitle(), S("Aktionen"));
}

TEST(ActionSetupWindow, InsertIsNewAndReturnAndDoubleClickEditTheSelectedRule) {
    List l;
    QSignalSpy edits(&l.window, &frmActionSetup::editRequested);
    l.list()->setFocus();
    QTest::keyClick(l.list(), Qt::Key_Insert);
    ASSERT_EQ(edits.size(), 1);
    EXPECT_EQ(edits.at(0).at(0).toInt(), 4) << "a new rule is the count + 1";

    // Return with no rule selected asks for nothing; with the second selected, for it.
    QTest::keyClick(l.list(), Qt::Key_Return);
    EXPECT_EQ(edits.size(), 1);
    l.select(1);
    QTest::keyClick(l.list(), Qt::Key_Return);
    ASSERT_EQ(edits.size(), 2);
    EXPECT_EQ(edits.at(1).at(0).toInt(), 2);

    const QRect third = l.list()->visualRect(l.list()->model()->index(2, 1));
    // A double click comes after the press of its first click.
    QTest::mouseClick(l.list()->viewport(), Qt::LeftButton, {}, third.center());
    QTest::mouseDClick(l.list()->viewport(), Qt::LeftButton, {}, third.center());
    ASSERT_EQ(edits.size(), 3);
    EXPECT_EQ(edits.at(2).at(0).toInt(), 3);

    // The toolbar and the menu do the same.
    l.button("ADD")->trigger();
    l.select(0);
    l.button("EDIT")->trigger();
    child<QAction>(&l.window, "mnuActionEdit")->trigger();
    child<QAction>(&l.window, "mnuActionNew")->trigger();
    ASSERT_EQ(edits.size(), 7);
    EXPECT_EQ(edits.at(3).at(0).toInt(), 4);
    EXPECT_EQ(edits.at(4).at(0).toInt(), 1);
    EXPECT_EQ(edits.at(5).at(0).toInt(), 1);
    EXPECT_EQ(edits.at(6).at(0).toInt(), 4);
}

TEST(ActionSetupWindow, DeleteCopyAndPasteKeepTheOrder) {
    List l;
    // Nothing to paste yet, nothing to delete without a selection.
    EXPECT_FALSE(l.button("PASTE")->isEnabled());
    EXPECT_FALSE(l.button("DELETE")->isEnabled());

    // Copy the third rule, paste it ahead of the first.
    l.select(2);
    l.button("COPY")->trigger();
    ASSERT_TRUE(l.window.copied().has_value());
    EXPECT_TRUE(l.button("PASTE")->isEnabled());
    l.select(0);
    child<QAction>(&l.window, "mnuEditPaste")->trigger();
    EXPECT_EQ(commands(l.table),
              QStringList({S("org.example.S/obj"), S("notify-send %N"), S("Anruf"), S("org.example.S/obj")}));
    EXPECT_EQ(l.table[1], l.table[4]) << "the copy is the whole rule";
    EXPECT_EQ(l.list()->model()->rowCount(), 4);

    // Delete the second (without asking): the rules behind it move up, the selection stays in place.
    l.select(1);
    l.button("DELETE")->trigger();
    EXPECT_EQ(commands(l.table), QStringList({S("org.example.S/obj"), S("Anruf"), S("org.example.S/obj")}));
    EXPECT_EQ(l.window.selectedIndex(), 2);
    EXPECT_EQ(l.list()->model()->index(1, 2).data().toString(), S("Anruf"));

    // Copy the first through the menu, paste with nothing selected: at the end.
    l.select(0);
    child<QAction>(&l.window, "mnuEditCopy")->trigger();
    l.window.selectIndex(0);
    EXPECT_EQ(l.window.selectedIndex(), 0);
    l.button("PASTE")->trigger();
    EXPECT_EQ(commands(l.table), QStringList({S("org.example.S/obj"), S("Anruf"), S("org.example.S/obj"),
                                              S("org.example.S/obj")}));
    child<QAction>(&l.window, "mnuActionDelete")->trigger();
    EXPECT_EQ(ActionCount(l.table), 4) << "nothing selected, nothing deleted";
}

TEST(ActionSetupWindow, TheHelpItemsOpenThePageOnActionsAndTheContents) {
    List l;
    child<QAction>(&l.window, "mnuHelpAktionen")->trigger();
    HelpWindow* help = HelpWindow::instance();
    ASSERT_NE(help, nullptr);
    EXPECT_EQ(help->browser()->source(), QUrl(S("qrc:/help/uk/actions.html")));
    EXPECT_TRUE(help->browser()->toPlainText().contains(S("%U4")));
    l.language.LanguageSet(7);
    child<QAction>(&l.window, "mnuHelpAktionen")->trigger();
    EXPECT_EQ(help->browser()->source(), QUrl(S("qrc:/help/de/actions.html")));
    child<QAction>(&l.window, "mnuHelpInhalt")->trigger();
    EXPECT_EQ(help->browser()->source(), QUrl(S("qrc:/help/de/index.html")));
    EXPECT_TRUE(help->browser()->toHtml().contains(S("actions.html"))) << "the contents lead to the page";
    help->close();
    delete help;
}

TEST(ActionEntryWindow, ShowsTheFieldsOfEachActionWithTheirLabels) {
    Entry e;
    e.window.SetValues(3);
    e.window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&e.window));
    EXPECT_EQ(e.status()->count(), 7);
    EXPECT_EQ(e.action()->count(), 5);
    EXPECT_EQ(e.status()->itemText(6), S("Never"));
    EXPECT_EQ(e.action()->itemText(4), S("D-Bus call"));
    EXPECT_EQ(e.status()->currentIndex(), 4);
    EXPECT_EQ(e.action()->currentIndex(), 3);
    EXPECT_EQ(e.field("txtCommand")->text(), S("org.example.S/obj"));
    EXPECT_EQ(e.field("txtCommand2")->text(), S("org.example.I.Call"));
    EXPECT_EQ(e.field("txtCommand3")->text(), S("%U4"));
    // A D-Bus call with data: all three, labelled from the catalog.
    EXPECT_TRUE(e.field("txtCommand2")->isVisible());
    EXPECT_TRUE(e.field("txtCommand3")->isVisible());
    EXPECT_EQ(e.label("lblCommand")->text(), e.language.LanguageString(256));
    EXPECT_EQ(e.label("lblCommand2")->text(), e.language.LanguageString(257));
    EXPECT_EQ(e.label("lblCommand3")->text(), e.language.LanguageString(258));

    // A D-Bus call: two fields, the second labelled with the data's string.
    e.action()->setCurrentIndex(4);
    EXPECT_TRUE(e.field("txtCommand2")->isVisible());
    EXPECT_FALSE(e.field("txtCommand3")->isVisible());
    EXPECT_FALSE(e.label("lblCommand3")->isVisible());
    EXPECT_EQ(e.label("lblCommand2")->text(), e.language.LanguageString(258));

    // The actions on programs and windows: one field, "Parameter 1".
    for (int typ : {0, 1, 2}) {
        e.action()->setCurrentIndex(typ);
        EXPECT_TRUE(e.field("txtCommand")->isVisible()) << typ;
        EXPECT_FALSE(e.field("txtCommand2")->isVisible()) << typ;
        EXPECT_FALSE(e.field("txtCommand3")->isVisible()) << typ;
        EXPECT_FALSE(e.label("lblCommand2")->isVisible()) << typ;
        EXPECT_EQ(e.label("lblCommand")->text(), S("Parameter 1:")) << typ;
    }

    // A new rule: the first entries of both lists, empty fields.
    e.window.SetValues(4);
    EXPECT_EQ(e.status()->currentIndex(), 0);
    EXPECT_EQ(e.action()->currentIndex(), 0);
    EXPECT_TRUE(e.field("txtCommand")->text().isEmpty());
}

TEST(ActionEntryWindow, OkSavesTheRuleAndANewOneIsAddedOnce) {
    Entry e;
    QSignalSpy saved(&e.window, &frmEintragAction::saved);
    e.window.SetValues(4);
    e.window.show();
    e.status()->setCurrentIndex(1);
    e.action()->setCurrentIndex(1);
    e.field("txtCommand")->setText(S("  xterm -e 'echo %U1'  "));
    QTest::mouseClick(child<QPushButton>(&e.window, "cmdOK"), Qt::LeftButton);
    EXPECT_FALSE(e.window.isVisible());
    ASSERT_EQ(saved.size(), 1);
    EXPECT_EQ(saved.at(0).at(0).toInt(), 4);
    ASSERT_EQ(ActionCount(e.table), 4);
    EXPECT_EQ(e.table[4], rule(1, 1, "xterm -e 'echo %U1'"));
    EXPECT_EQ(e.window.index(), 4);
}

TEST(ActionEntryWindow, OkWithoutATriggerSaysTheInputIsWrongAndSavesNothing) {
    Entry e;
    // A rule of a hand-edited file whose trigger no list entry shows.
    e.table.push_back(rule(8, 0, "x"));
    const ActionTable before = e.table;
    QSignalSpy saved(&e.window, &frmEintragAction::saved);
    e.window.SetValues(4);
    e.window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&e.window));
    EXPECT_EQ(e.status()->currentIndex(), -1);
    QString message;
    const bool came = withModal<QMessageBox>(
        [&] { QTest::mouseClick(child<QPushButton>(&e.window, "cmdOK"), Qt::LeftButton); },
        [&](QMessageBox& box) {
            message = box.text();
            box.accept();
        });
    EXPECT_TRUE(came);
    EXPECT_EQ(message, S("Your input is not correct!"));
    EXPECT_TRUE(e.window.isVisible()) << "the window stays for the correction";
    EXPECT_EQ(saved.size(), 0);
    EXPECT_EQ(e.table, before);

    // No action chosen: the same, in German in the German window.
    e.language.LanguageSet(7);
    e.window.Me_Set_Language();
    e.status()->setCurrentIndex(2);
    e.action()->setCurrentIndex(-1);
    withModal<QMessageBox>([&] { QTest::mouseClick(child<QPushButton>(&e.window, "cmdOK"), Qt::LeftButton); },
                           [&](QMessageBox& box) {
                               message = box.text();
                               box.accept();
                           });
    EXPECT_EQ(message, S("Ihre Eingabe ist nicht korrekt!"));
    EXPECT_EQ(e.table, before);
}

TEST(ActionEntryWindow, TheTestSavesShowsTheNoticeThenTheRunnersResultAndStaysOpen) {
    Entry e;
    QStringList shownWhileRunning;
    std::vector<std::pair<int, QString>> runs;
    ActionTable* table = &e.table;
    e.window.setRunner([&](int index, const QString& number) {
        shownWhileRunning << child<QPlainTextEdit>(&e.window, "txtResult")->toPlainText();
        runs.emplace_back(index, number);
        // What the engine would run: the rule as saved.
        return S("ran ") + (*table)[std::size_t(index)].Command;
    });
    e.window.SetValues(4);
    e.window.setTestNumber(S("08912345"));
    e.window.show();
    e.status()->setCurrentIndex(6);
    e.action()->setCurrentIndex(0);
    e.field("txtCommand")->setText(S("true %N"));
    auto* result = child<QPlainTextEdit>(&e.window, "txtResult");
    EXPECT_TRUE(result->isReadOnly());
    QTest::mouseClick(child<QPushButton>(&e.window, "cmdTest"), Qt::LeftButton);
    EXPECT_TRUE(e.window.isVisible());
    ASSERT_EQ(runs.size(), 1u);
    EXPECT_EQ(runs[0].first, 4);
    EXPECT_EQ(runs[0].second, S("08912345"));
    EXPECT_EQ(shownWhileRunning, QStringList({S("Test ........ ")}));
    EXPECT_EQ(result->toPlainText(), S("ran true %N"));
    ASSERT_EQ(ActionCount(e.table), 4);

    // A second test runs the same rule, changed; no further rule is added.
    e.field("txtCommand")->setText(S("false"));
    QTest::mouseClick(child<QPushButton>(&e.window, "cmdTest"), Qt::LeftButton);
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[1].first, 4);
    EXPECT_EQ(result->toPlainText(), S("ran false"));
    EXPECT_EQ(ActionCount(e.table), 4);

    // Incomplete values are not run.
    e.action()->setCurrentIndex(-1);
    withModal<QMessageBox>(
        [&] { QTest::mouseClick(child<QPushButton>(&e.window, "cmdTest"), Qt::LeftButton); },
        [](QMessageBox& box) { box.accept(); });
    EXPECT_EQ(runs.size(), 2u);
    EXPECT_EQ(e.table[4].Command, S("false"));
}

TEST(ActionEntryWindow, CancelSavesNothing) {
    Entry e;
    const ActionTable before = e.table;
    QSignalSpy saved(&e.window, &frmEintragAction::saved);
    e.window.SetValues(1);
    e.window.show();
    e.field("txtCommand")->setText(S("changed"));
    QTest::mouseClick(child<QPushButton>(&e.window, "cmdCancel"), Qt::LeftButton);
    EXPECT_FALSE(e.window.isVisible());
    EXPECT_EQ(saved.size(), 0);
    EXPECT_EQ(e.table, before);
}

TEST(HotkeyRulesWindow, TheCheckBoxOpensTheFieldAndOkHandsBackWhatCancelLeaves) {
    Language language;
    language.LanguageSet(9);
    frmOptHotkey window(language);
    HotkeyRules rules;
    rules.prefix = S("49");
    rules.replace = S("0");
    rules.replacePlus = 0;
    rules.plusString = S("00");
    window.SetValues(rules);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    EXPECT_EQ(window.windowTitle(), language.LanguageString(3237));
    auto* plus = child<QCheckBox>(&window, "chkHotLandPlus");
    auto* plusString = child<QLineEdit>(&window, "txtHotReplacePlus");
    EXPECT_FALSE(plus->isChecked());
    EXPECT_FALSE(plusString->isEnabled());
    QTest::mouseClick(plus, Qt::LeftButton, {}, QPoint(8, plus->height() / 2));
    EXPECT_TRUE(plusString->isEnabled());
    QTest::mouseClick(plus, Qt::LeftButton, {}, QPoint(8, plus->height() / 2));
    EXPECT_FALSE(plusString->isEnabled());
    QTest::mouseClick(plus, Qt::LeftButton, {}, QPoint(8, plus->height() / 2));

    QSignalSpy chosen(&window, &frmOptHotkey::valuesChosen);
    child<QLineEdit>(&window, "txtHotPrefix")->setText(S("43"));
    child<QLineEdit>(&window, "txtHotReplace")->setText(S("0043"));
    plusString->setText(S("000"));
    QTest::mouseClick(child<QPushButton>(&window, "cmdCancel"), Qt::LeftButton);
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(chosen.size(), 0);

    window.show();
    QTest::mouseClick(child<QPushButton>(&window, "cmdOK"), Qt::LeftButton);
    EXPECT_FALSE(window.isVisible());
    ASSERT_EQ(chosen.size(), 1);
    const auto back = chosen.at(0).at(0).value<HotkeyRules>();
    EXPECT_EQ(back.prefix, S("43"));
    EXPECT_EQ(back.replace, S("0043"));
    EXPECT_EQ(back.replacePlus, 1);
    EXPECT_EQ(back.plusString, S("000"));
}

namespace {

// The windows as the owner wires them over a program.
struct Wired : TestProgram {
    std::unique_ptr<ProgramWindows> windows;
    Main* main = nullptr;

    Wired() : TestProgram(false) {
        windows = std::make_unique<ProgramWindows>(*program);
        main = &windows->main();
        EXPECT_EQ(windows->Form_Load(), MainLifecycle::StartResult::Started);
        main->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(main));
    }
    ~Wired() { windows.reset(); }
    QAction* action(const char* name) const { return main->findChild<QAction*>(QString::fromUtf8(name)); }
    frmActionSetup* open() {
        action("M_Action")->trigger();
        frmActionSetup* window = windows->actionSetupWindow();
        if (window) {
            EXPECT_TRUE(QTest::qWaitForWindowExposed(window));
        }
        return window;
    }
    // A key of Morva.ini as a reader of the file finds it.
    QString stored(const char* section, const QString& key) {
        ProfileStore fresh;
        return fresh.GetPrivateProfileString(S(section), key, S("(none)"), program->iniPath());
    }
};

} // namespace

TEST(ActionWindowsWired, ARuleAddedThroughTheWindowsReachesMorvaIniAtOnce) {
    Wired w;
    QAction* item = w.action("M_Action");
    ASSERT_NE(item, nullptr);
    EXPECT_TRUE(item->isEnabled());
    frmActionSetup* window = w.open();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->count(), 0);

    auto* list = child<QTreeView>(window, "lvListView");
    list->setFocus();
    const bool came = withModal<frmEintragAction>(
        [&] { QTest::keyClick(list, Qt::Key_Insert); },
        [&](frmEintragAction& entry) {
            child<QComboBox>(&entry, "cboStatusAuf")->setCurrentIndex(3);
            child<QComboBox>(&entry, "cboActionAuf")->setCurrentIndex(0);
            child<QLineEdit>(&entry, "txtCommand")->setText(S("true %N"));
            child<QLineEdit>(&entry, "txtTestNummer")->setText(S("0301"));
            QTest::mouseClick(child<QPushButton>(&entry, "cmdOK"), Qt::LeftButton);
        });
    ASSERT_TRUE(came);
    ASSERT_EQ(ActionCount(w.program->actions().rules), 1);
    EXPECT_EQ(w.stored("Actions", S("Anzahl")), S("1"));
    EXPECT_EQ(w.stored("Actions", S("Action1 Status")), S("3"));
    EXPECT_EQ(w.stored("Actions", S("Action1 Typ")), S("0"));
    EXPECT_EQ(w.stored("Actions", S("Action1 Command")), S("true %N"));
    EXPECT_EQ(w.stored("Actions", S("TestNumber")), S("0301"));
    EXPECT_EQ(w.program->settings().ActionTestNumber, S("0301"));
    ASSERT_EQ(list->model()->rowCount(), 1);
    EXPECT_EQ(list->model()->index(0, 2).data().toString(), S("true %N"));

    // Its test runs through the engine with the test number restored.
    list->setCurrentIndex(list->model()->index(0, 0));
    QString result;
    withModal<frmEintragAction>([&] { QTest::keyClick(list, Qt::Key_Return); },
                                [&](frmEintragAction& entry) {
                                    EXPECT_EQ(child<QLineEdit>(&entry, "txtTestNummer")->text(), S("0301"));
                                    child<QComboBox>(&entry, "cboActionAuf")->setCurrentIndex(4);
                                    QTest::mouseClick(child<QPushButton>(&entry, "cmdTest"), Qt::LeftButton);
                                    result = child<QPlainTextEdit>(&entry, "txtResult")->toPlainText();
                                    EXPECT_TRUE(entry.isVisible());
                                    QTest::mouseClick(child<QPushButton>(&entry, "cmdCancel"),
                                                      Qt::LeftButton);
                                });
    // What the window shows is the engine's result for that rule and number.
    EXPECT_FALSE(result.isEmpty());
    EXPECT_FALSE(result.startsWith(S("Test ........ ")));
    EXPECT_EQ(result, w.program->actions().ActionRun(0, 1, S("0301")));
    EXPECT_EQ(w.stored("Actions", S("Action1 Typ")), S("4")) << "the test saved the rule";

    // Copy and paste: two rules, written at once; delete: one again.
    child<QAction>(window, "mnuEditCopy")->trigger();
    child<QAction>(window, "mnuEditPaste")->trigger();
    EXPECT_EQ(w.stored("Actions", S("Anzahl")), S("2"));
    EXPECT_EQ(w.stored("Actions", S("Action2 Command")), S("true %N"));
    window->selectIndex(1);
    child<QAction>(window, "mnuActionDelete")->trigger();
    EXPECT_EQ(w.stored("Actions", S("Anzahl")), S("1"));
    EXPECT_EQ(list->model()->rowCount(), 1);

    // A change of language relabels the open list.
    Language& lang = w.program->language();
    lang.LanguageSet(7);
    w.windows->applyLanguage();
    EXPECT_EQ(list->model()->headerData(0, Qt::Horizontal).toString(), S("Ereignis"));
    EXPECT_EQ(list->model()->index(0, 0).data().toString(), S("Klingelt (ankommend)"));
    EXPECT_EQ(w.action("mnuOptHotkey")->text(), lang.LanguageString(3237) + S("..."));

    // One window at a time.
    w.action("M_Action")->trigger();
    EXPECT_EQ(w.windows->actionSetupWindow(), window);
    window->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(w.windows->actionSetupWindow(), nullptr);
}

TEST(ActionWindowsWired, TheListKeepsItsPlaceAndColumnWidthsInTwips) {
    Wired w;
    frmActionSetup* window = w.open();
    ASSERT_NE(window, nullptr);
    window->setGeometry(QRect(120, 90, 640, 300));
    window->setColumnWidths({150, 140, 200, 90, 80});
    const QRect frame = window->geometry();
    const std::vector<int> widths = window->columnWidths();
    window->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    const int twips = w.main->twipsPerPixel();
    EXPECT_EQ(w.stored("Actions", S("Fenster Width")), QString::number(frame.width() * twips));
    EXPECT_EQ(w.stored("Actions", S("Fenster Left")), QString::number(frame.left() * twips));
    EXPECT_EQ(w.stored("Actions", S("S_1")), QString::number(150 * twips));
    EXPECT_EQ(w.stored("Actions", S("S_5")), QString::number(80 * twips));

    window = w.open();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->geometry().size(), frame.size());
    EXPECT_EQ(window->columnWidths(), widths);
    window->close();
}

TEST(ActionWindowsWired, TheHotkeyRulesReachSectionSetup) {
    Wired w;
    QAction* item = w.action("mnuOptHotkey");
    ASSERT_NE(item, nullptr);
    EXPECT_TRUE(item->isEnabled());
    EXPECT_EQ(item->text(), w.program->language().LanguageString(3237) + S("..."));
    const bool came =
        withModal<frmOptHotkey>([&] { item->trigger(); },
                                [&](frmOptHotkey& window) {
                                    EXPECT_EQ(child<QLineEdit>(&window, "txtHotPrefix")->text(), S("49"));
                                    child<QLineEdit>(&window, "txtHotPrefix")->setText(S("41"));
                                    child<QLineEdit>(&window, "txtHotReplace")->setText(S("0041"));
                                    child<QCheckBox>(&window, "chkHotLandPlus")->setChecked(false);
                                    QTest::mouseClick(child<QPushButton>(&window, "cmdOK"), Qt::LeftButton);
                                });
    ASSERT_TRUE(came);
    EXPECT_EQ(w.program->settings().HotkeyDial.prefix, S("41"));
    EXPECT_EQ(w.stored("Setup", S("HotkeyPrefix")), S("41"));
    EXPECT_EQ(w.stored("Setup", S("HotkeyReplace")), S("0041"));
    EXPECT_EQ(w.stored("Setup", S("HotkeyReplacePlus")), S("0"));

    // Cancel leaves them.
    withModal<frmOptHotkey>([&] { item->trigger(); },
                            [&](frmOptHotkey& window) {
                                child<QLineEdit>(&window, "txtHotPrefix")->setText(S("33"));
                                QTest::mouseClick(child<QPushButton>(&window, "cmdCancel"), Qt::LeftButton);
                            });
    EXPECT_EQ(w.program->settings().HotkeyDial.prefix, S("41"));
    EXPECT_EQ(w.stored("Setup", S("HotkeyPrefix")), S("41"));
}

// Every caption is as wide as its text needs; pictures of each window in every language.
TEST(ActionWindowsWired, Pictures) {
    Wired w;
    w.program->actions().rules = threeRules();
    Language& lang = w.program->language();
    QStringList names;
    const int count = lang.LanguageFillList(&names);
    ASSERT_EQ(count, 7);
    const auto whole = [](QWidget* window, const QString& code) {
        for (QWidget* control : window->findChildren<QWidget*>()) {
            if (!control->isVisible())
                continue;
            if (qobject_cast<QLabel*>(control) || qobject_cast<QCheckBox*>(control) ||
                qobject_cast<QPushButton*>(control)) {
                EXPECT_GE(control->width(), control->sizeHint().width())
                    << code.toStdString() << " " << control->objectName().toStdString();
            }
        }
    };
    for (int i = 1; i <= count; ++i) {
        lang.LanguageApply(i);
        w.windows->applyLanguage();
        const QString code = lang.LanguageCode();
        frmActionSetup* window = w.open();
        ASSERT_NE(window, nullptr);
        window->selectIndex(3);
        QCoreApplication::processEvents();
        whole(window, code);
        SaveScreenshot(window, S("frmActionSetup-") + code);
        auto* list = child<QTreeView>(window, "lvListView");
        withModal<frmEintragAction>([&] { QTest::keyClick(list, Qt::Key_Return); },
                                    [&](frmEintragAction& entry) {
                                        QCoreApplication::processEvents();
                                        whole(&entry, code);
                                        SaveScreenshot(&entry, S("frmEintragAction-") + code);
                                        child<QComboBox>(&entry, "cboActionAuf")->setCurrentIndex(0);
                                        QCoreApplication::processEvents();
                                        whole(&entry, code);
                                        SaveScreenshot(&entry, S("frmEintragAction-program-") + code);
                                        QTest::mouseClick(child<QPushButton>(&entry, "cmdCancel"),
                                                          Qt::LeftButton);
                                    });
        window->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        withModal<frmOptHotkey>([&] { w.action("mnuOptHotkey")->trigger(); },
                                [&](frmOptHotkey& hotkey) {
                                    QCoreApplication::processEvents();
                                    whole(&hotkey, code);
                                    SaveScreenshot(&hotkey, S("frmOptHotkey-") + code);
                                    QTest::mouseClick(child<QPushButton>(&hotkey, "cmdCancel"),
                                                      Qt::LeftButton);
                                });
    }
}
