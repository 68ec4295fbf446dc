// The main window's lists and view without a window: what each tab lists, the commands on its rows, the
// column widths per tab, and the view members with the own number and the carrier.

#include "tests/support/TestProgram.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct Lists : TestProgram {
    QStringList asked;
    UserDialogs::Answer answer = UserDialogs::Answer::Yes;
    Lists() : TestProgram(false) {
        program->settings().Vorwahl = S("089");
        // The second start seeds the macro book with carriers.
        program->Phonebooks().Phonebooks_create();
        program->Phonebooks().Phonebooks_destroy();
        program->Phonebooks().Phonebooks_create();
        program->Konfigurationen().Konfig_create();
        program->dialogs().setAsker([this](const QString& text, UserDialogs::Buttons, UserDialogs::Icon) {
            asked << text;
            return answer;
        });
    }
    MainLists& lists() { return program->lists(); }
    MainView& view() { return program->view(); }
    // An incoming call of today, new, with a message file or rung out (state 134).
    int32_t logCall(const char* number, const char* message = "", int state = 134) {
        EZGRecord record;
        record.PartnerRufnummer = S(number);
        record.MSN = S("5551");
        record.Tondatei = S(message);
        record.Neu = 1;
        record.Richtung = 1;
        record.Verbindungsstatus = state;
        if (record.Tondatei.size() > 0) {
            QDir().mkpath(program->sound().DefaultSoundPath);
            QFile file(QDir(program->sound().DefaultSoundPath).filePath(record.Tondatei));
            EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        }
        EXPECT_EQ(program->callLog().SEZGDBSave_EZG_Eintrag(DateNumber(clock.now()), record), 0);
        return int32_t(program->store().PDB_GetNumRecords(program->callLog().hLog, 0));
    }
    // Each row of a list: its number column, and on LOG its picture.
    QStringList rows(MainTab tab) {
        QStringList shown;
        const ListItems& list = lists().listOf(tab);
        for (int row = 0; row < list.Count(); ++row)
            shown << list.At(row).SubItems.value(0) +
                         (tab == MainTab::Log ? S(" ") + list.At(row).SmallIcon : S(""));
        return shown;
    }
};

TEST(MainLists, EachTabListsItsRowsAndATabChangeReadsTheStoreAnew) {
    Lists t;
    t.logCall("0301111", "Msg1.wav");
    const int32_t second = t.logCall("0302222");
    t.logCall("0303333", "", 16); // answered, no message: not a call that wants attention
    clsPhonebook& quick = *t.program->Phonebooks().Item(S("QUICK"));
    ASSERT_TRUE(quick.EintragAdd(S("Anna"), S("Hauptstr. 1"), S("80331"), S("München"), {}, S("0891234"), {},
                                 {}, {}));
    t.program->lastNumbers().RememberNumber(S("0891234"));
    t.program->lastNumbers().RememberNumber(S("0307777"));

    t.lists().tbsTabStrip_Click(MainTab::Log);
    EXPECT_EQ(t.rows(MainTab::Log), (QStringList{S("0301111 S10"), S("0302222 S00")}));
    EXPECT_EQ(t.lists().Headers(MainTab::Log).size(), 4);
    t.lists().tbsTabStrip_Click(MainTab::Quick);
    EXPECT_EQ(t.rows(MainTab::Quick), QStringList{S("0891234")});
    EXPECT_EQ(t.lists().lvListView().At(0).SubItems.value(3), S("München"));
    EXPECT_EQ(t.lists().lvListView().Columns().size(), 6u);
    t.lists().tbsTabStrip_Click(MainTab::LastUsed);
    EXPECT_EQ(t.rows(MainTab::LastUsed), (QStringList{S("0307777"), S("0891234")}));
    EXPECT_EQ(t.lists().lvListView().At(1).Text, S("Anna")) << "the name of a known number";
    EXPECT_EQ(t.lists().lvListView().Columns().size(), 2u);

    // Marked seen elsewhere (the action rules, the call log window): the next tab change shows it.
    t.program->callLog().SEZGMarkSeen(second);
    EXPECT_EQ(t.rows(MainTab::Log).size(), 2) << "not before";
    t.lists().tbsTabStrip_Click(MainTab::Log);
    EXPECT_EQ(t.rows(MainTab::Log), QStringList{S("0301111 S10")});

    // A number remembered while LASTUSED is shown appears at once; on another tab at its next showing.
    t.lists().tbsTabStrip_Click(MainTab::LastUsed);
    t.call().RememberNumber(S("0308888"));
    EXPECT_EQ(t.rows(MainTab::LastUsed).value(0), S("0308888"));
}

TEST(MainLists, RowCommandsWorkOnTheirTabOnly) {
    Lists t;
    t.logCall("0301111", "Msg1.wav");
    t.logCall("0302222", "Msg2.wav");
    t.logCall("");
    t.program->lastNumbers().RememberNumber(S("0891234"));
    t.program->lastNumbers().RememberNumber(S("0307777"));
    MainLists& lists = t.lists();

    lists.tbsTabStrip_Click(MainTab::Log);
    EXPECT_EQ(lists.RowNumber(MainTab::Log, 0), S("0301111"));
    EXPECT_EQ(lists.RowNumber(MainTab::Log, 2), QString()) << "a caller without number: nothing to dial";
    EXPECT_EQ(lists.RowNumber(MainTab::Log, 3), QString());
    EXPECT_FALSE(lists.DeleteNumber(MainTab::Log, 0)) << "Del does nothing on LOG";
    EXPECT_EQ(lists.lvListAnrufe().Count(), 3);

    const QString message = QDir(t.program->sound().DefaultSoundPath).filePath(S("Msg1.wav"));
    EXPECT_EQ(lists.Recording(MainTab::Log, 0), S("Msg1.wav"));
    lists.DeleteSound(MainTab::Log, 0);
    EXPECT_FALSE(QFile::exists(message));
    EXPECT_EQ(t.rows(MainTab::Log), (QStringList{S("0301111 S00"), S("0302222 S10"), S("extern S00")}));

    lists.MarkRead(MainTab::Log, 1);
    EXPECT_EQ(t.rows(MainTab::Log), (QStringList{S("0301111 S00"), S("extern S00")}));

    // The commands for every row ask first; No leaves all as it was.
    t.answer = UserDialogs::Answer::No;
    lists.MarkAllRead(MainTab::Log);
    EXPECT_EQ(t.asked, QStringList{t.program->language().LanguageString(3135)});
    EXPECT_EQ(lists.lvListAnrufe().Count(), 2);
    t.answer = UserDialogs::Answer::Yes;
    lists.MarkAndDeleteAll(MainTab::Log);
    EXPECT_EQ(lists.lvListAnrufe().Count(), 0);
    EXPECT_TRUE(QFile::exists(QDir(t.program->sound().DefaultSoundPath).filePath(S("Msg2.wav"))))
        << "a call marked read before keeps its message";

    // The LOG commands do nothing on the other tabs.
    lists.tbsTabStrip_Click(MainTab::LastUsed);
    t.asked.clear();
    lists.MarkAllRead(MainTab::LastUsed);
    lists.DeleteSoundAll(MainTab::LastUsed);
    EXPECT_TRUE(t.asked.isEmpty());
    EXPECT_EQ(lists.PhonebookNumber(MainTab::LastUsed, 0), S("0307777"));
    EXPECT_TRUE(lists.DeleteNumber(MainTab::LastUsed, 0));
    EXPECT_EQ(t.program->lastNumbers().numbers(), QStringList{S("0891234")});
    EXPECT_EQ(t.rows(MainTab::LastUsed), QStringList{S("0891234")});
}

TEST(MainLists, QuickRowsDialTheNumberTheBookHoldsNow) {
    Lists t;
    clsPhonebook& quick = *t.program->Phonebooks().Item(S("QUICK"));
    ASSERT_TRUE(quick.EintragAdd(S("Anna"), {}, {}, {}, {}, S("0891234"), {}, {}, {}));
    t.lists().tbsTabStrip_Click(MainTab::Quick);
    std::optional<clsEintrag> anna = quick.clsEintragByIndexKey(t.lists().lvListView().At(0).Tag);
    ASSERT_TRUE(anna);
    anna->setNumber(S("0895555"));
    ASSERT_EQ(anna->PutRecord(), 0);
    EXPECT_EQ(t.lists().lvListView().At(0).SubItems.value(0), S("0891234")) << "the row as filled";
    EXPECT_EQ(t.lists().RowNumber(MainTab::Quick, 0), S("0895555"));
}

TEST(MainLists, ColumnWidthsAreKeptPerTab) {
    Lists t;
    MainLists& lists = t.lists();
    EXPECT_EQ(lists.ColumnWidths(MainTab::Quick), std::vector<int>(6, 0)) << "none kept yet";
    lists.SaveColumnWidths(MainTab::Quick, {1500, 1200, 900, 700, 1000, 2000});
    lists.SaveColumnWidths(MainTab::LastUsed, {2500, 1800});
    EXPECT_EQ(lists.ColumnWidths(MainTab::Quick), (std::vector<int>{1500, 1200, 900, 700, 1000, 2000}));
    EXPECT_EQ(lists.ColumnWidths(MainTab::LastUsed), (std::vector<int>{2500, 1800}));
    EXPECT_EQ(lists.ColumnWidths(MainTab::Log), std::vector<int>(4, 0));
    EXPECT_EQ(t.program->profiles().GetPrivateProfileInt(S("Main"), S("SLASTUSED2"), 0, t.program->iniPath()),
              1800);
}

TEST(MainView, TheViewSetsWhatTheDialUsesAndSurvivesARestart) {
    Lists t;
    MainView& view = t.view();
    Settings& settings = t.program->settings();
    clsConfig& set1 = t.program->Konfigurationen().Item(1);
    set1.setStrMSN(2, S("5552"));
    set1.setStrMSNText(2, S("Büro"));

    // The MSN bar: shown, it is used; an index out of 1 to 5 changes nothing.
    MainViewState state = view.mnuViewMSNSelect_Click();
    EXPECT_TRUE(state.msnBar);
    EXPECT_EQ(settings.UseDialMSN, 1);
    EXPECT_FALSE(view.mnuEuritUseMSNA_Click(6));
    EXPECT_TRUE(view.mnuEuritUseMSNA_Click(2));
    state = view.state();
    EXPECT_EQ(state.dialMSN, 2);
    EXPECT_EQ(state.msnToolTips[1], t.program->language().LanguageString(3118) + S(": 5552   Büro"));
    // Three own numbers, the fifth chosen: it stays chosen, though no button shows it.
    settings.MSNCount = 3;
    view.mnuEuritUseMSNA_Click(5);
    state = view.Me_ApplyView();
    EXPECT_EQ(state.msnButtons, 3);
    EXPECT_EQ(state.dialMSN, 5);
    EXPECT_EQ(settings.DialMSN, 5);
    EXPECT_EQ(view.mnuViewMSNSelect_Click().msnBar, false);
    EXPECT_EQ(settings.UseDialMSN, 0);

    // The carrier line and the use of the carrier go together.
    modVorwahlen& carriers = t.program->Phonebooks().Vorwahlen;
    carriers.LoadCarriers();
    EXPECT_TRUE(view.ShowCarrierLine().carrierLine);
    EXPECT_EQ(carriers.UseCarrier, 1);
    view.mnuViewProvider_Click();
    EXPECT_EQ(carriers.UseCarrier, 0);
    EXPECT_TRUE(view.mnuViewExtended_Click().lists);

    // What is kept: the three members and the carrier on the button.
    const std::vector<Carrier> known = carriers.Carriers();
    ASSERT_FALSE(known.empty()) << "the macro book is seeded with carriers";
    carriers.ShowCarrier(known.back().Text());
    view.Save();
    view.bShowQuick = view.bShowMSNSelect = view.bShowProviderSelect = 1;
    carriers.ShowCarrier(S("---"));
    view.Load();
    EXPECT_EQ(view.bShowQuick, 1);
    EXPECT_EQ(view.bShowMSNSelect, 0);
    EXPECT_EQ(view.bShowProviderSelect, 0);
    EXPECT_EQ(carriers.cmdProvider.Caption, known.back().Text());
    EXPECT_EQ(carriers.cmdProvider.Tag, known.back().Key);
}

} // namespace
