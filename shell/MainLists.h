#pragma once

// The three lists of the main window's tabs and the commands on their rows: the quick-dial book
// ("QUICK"), the recent calls that want attention ("LOG"), and the last-used numbers ("LASTUSED"). The
// window shows the rows and the tab's commands; this class fills the rows from the books, the call log
// and the last numbers, keeps the column widths per tab, and carries out the commands. No widgets: a
// test drives it as the window would.

#include "shell/base/ListItems.h"

#include <QString>
#include <QStringList>

#include <vector>

class LastNumbers;
class Language;
class ProfileStore;
class UserDialogs;
class colPhonebook;
class modEZGDB;

enum class MainTab { Quick, Log, LastUsed };
// "QUICK", "LOG", "LASTUSED"; the tab of a key, QUICK for an unknown one.
QString TabKey(MainTab tab);
MainTab TabFromKey(const QString& key);

// What the list toolbar (tbToolBar) and the context menu (mnuKontext) offer on a tab.
struct TabCommands {
    bool deleteNumber = false; // mnuKontextDelete, "DELETE": the last-used numbers only
    bool markRead = false;     // mnuKontextGelesen, mnuKontextGelesenAll, "MARKREAD", "MARKALLREAD"
    bool play = false;         // mnuKontextPlayAnsage, "PLAY"
    bool sounds = false;       // mnuKontextDeleteSound, ...DeleteSoundAll, ...MarkandDeleteAll, "SEPSOUND"
    bool stopHidden = true;    // "STOP" is hidden; on LOG it stays as it is (shown while a message plays)
    bool operator==(const TabCommands&) const = default;
};
TabCommands CommandsForTab(MainTab tab);

// A row of the calls list may be played unless it has no message (and is new): picture "S00".
bool RowMayPlay(const ListItems::Item& row);

class MainLists {
public:
    MainLists(colPhonebook& phonebooks, modEZGDB& callLog, LastNumbers& lastNumbers, ProfileStore& profiles,
              QString iniPath, const Language& language, UserDialogs& dialogs);

    // lvListView shows QUICK and LASTUSED, lvListAnrufe the calls (LOG).
    ListItems& lvListView() { return m_lvListView; }
    ListItems& lvListAnrufe() { return m_lvListAnrufe; }
    ListItems& listOf(MainTab tab) { return tab == MainTab::Log ? m_lvListAnrufe : m_lvListView; }

    MainTab selected() const { return m_selected; }
    // tbsTabStrip_Click: the tab becomes the selected one and its list is filled from the store, so that
    // rows marked read elsewhere appear as such.
    void tbsTabStrip_Click(MainTab tab);
    // mnuViewAktualisieren: the selected tab's list anew.
    void Refresh() { tbsTabStrip_Click(m_selected); }
    // The calls list anew, whichever tab is shown (a call ended, a number was marked seen): it stays
    // current for the commands that walk it.
    void RefreshCalls();
    // The last-used numbers changed: their list anew when it is shown.
    void LastNumbersChanged();

    // The column titles of a tab's list, in the order shown. The calls list shows date, own number, name
    // and number; its rows hold date, number, name and own number (see LogColumnOrder).
    QStringList Headers(MainTab tab) const;
    // The calls list shows its row's columns in this order: the number stands in its fourth column.
    static constexpr int LogColumnOrder[4] = {0, 3, 2, 1};

    // Column widths of a tab in twips, in the order of the list's columns; 0 where none is kept ("S" + tab
    // key + column from 1, section Main).
    std::vector<int> ColumnWidths(MainTab tab) const;
    void SaveColumnWidths(MainTab tab, const std::vector<int>& twips);

    // The number of a row: the number column of the tab's list; on QUICK the number of the entry that the
    // row's tag names, as the book holds it now. Empty for a row that does not exist.
    QString RowNumber(MainTab tab, int row) const;
    // The digits of a row's number, for the phonebook window; empty when it has none.
    QString PhonebookNumber(MainTab tab, int row) const;

    // mnuKontextDelete: LASTUSED only, the row's number leaves the last-used numbers. True when it did.
    bool DeleteNumber(MainTab tab, int row);
    // LOG only; each reloads the calls list. The ones for all rows ask first (Yes and No).
    void MarkRead(MainTab tab, int row);
    void MarkAllRead(MainTab tab);
    void DeleteSound(MainTab tab, int row);
    void DeleteSoundAll(MainTab tab);
    void MarkAndDeleteAll(MainTab tab);
    // The recording of a LOG row as the log keeps it; empty when it has none.
    QString Recording(MainTab tab, int row) const;

private:
    void fill(MainTab tab);
    int32_t recordOf(MainTab tab, int row) const;
    bool ask(int question);
    void forEachCall(const std::function<void(int32_t)>& act);

    colPhonebook& m_phonebooks;
    modEZGDB& m_callLog;
    LastNumbers& m_lastNumbers;
    ProfileStore& m_profiles;
    QString m_iniPath;
    const Language& m_language;
    UserDialogs& m_dialogs;
    ListItems m_lvListView;
    ListItems m_lvListAnrufe;
    MainTab m_selected = MainTab::Quick;
};
