#include "shell/MainLists.h"

#include "calllog/modEZGDB.h"
#include "numbers/Num_module.h"
#include "phonebook/colPhonebook.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Language.h"
#include "shell/base/UserDialogs.h"

namespace {

const QString MainSection = QStringLiteral("Main");

// The number column of every list: the first sub-item.
QString numberColumn(const ListItems& list, int row) {
    if (row < 0 || row >= list.Count())
        return {};
    return list.At(row).SubItems.value(0).trimmed();
}

} // namespace

QString TabKey(MainTab tab) {
    switch (tab) {
    case MainTab::Log:
        return QStringLiteral("LOG");
    case MainTab::LastUsed:
        return QStringLiteral("LASTUSED");
    case MainTab::Quick:
        break;
    }
    return QStringLiteral("QUICK");
}

MainTab TabFromKey(const QString& key) {
    if (key == QLatin1String("LOG"))
        return MainTab::Log;
    if (key == QLatin1String("LASTUSED"))
        return MainTab::LastUsed;
    return MainTab::Quick;
}

TabCommands CommandsForTab(MainTab tab) {
    TabCommands commands;
    commands.deleteNumber = tab == MainTab::LastUsed;
    commands.markRead = commands.play = commands.sounds = tab == MainTab::Log;
    commands.stopHidden = tab != MainTab::Log;
    return commands;
}

bool RowMayPlay(const ListItems::Item& row) {
    return row.SmallIcon != QLatin1String("S00");
}

MainLists::MainLists(colPhonebook& phonebooks, modEZGDB& callLog, LastNumbers& lastNumbers,
                     ProfileStore& profiles, QString iniPath, const Language& language, UserDialogs& dialogs)
    : m_phonebooks(phonebooks), m_callLog(callLog), m_lastNumbers(lastNumbers), m_profiles(profiles),
      m_iniPath(std::move(iniPath)), m_language(language), m_dialogs(dialogs), m_lvListView(false),
      m_lvListAnrufe(true) {
    m_lvListView.setObjectName(QStringLiteral("lvListView"));
    m_lvListAnrufe.setObjectName(QStringLiteral("lvListAnrufe"));
}

QStringList MainLists::Headers(MainTab tab) const {
    const auto titles = [this](std::initializer_list<int> numbers) {
        QStringList list;
        for (int number : numbers)
            list << m_language.LanguageString(number);
        return list;
    };
    switch (tab) {
    case MainTab::Log:
        // As the rows hold them: date, number, name, own number.
        return titles({978, 972, 971, 3223});
    case MainTab::LastUsed:
        return titles({971, 972});
    case MainTab::Quick:
        break;
    }
    return titles({971, 972, 973, 974, 975, 976});
}

void MainLists::tbsTabStrip_Click(MainTab tab) {
    m_selected = tab;
    fill(tab);
}

void MainLists::fill(MainTab tab) {
    ListItems& list = listOf(tab);
    std::vector<ListItems::Column> columns;
    for (const QString& title : Headers(tab))
        columns.push_back({title, {}, 0});
    if (list.Columns().size() != columns.size() ||
        !std::equal(columns.begin(), columns.end(), list.Columns().begin(),
                    [](const auto& a, const auto& b) { return a.Title == b.Title; }))
        list.SetColumns(std::move(columns));

    switch (tab) {
    case MainTab::Log:
        m_callLog.ShowRecentNewCalls(list);
        break;
    case MainTab::Quick:
        if (clsPhonebook* quick = m_phonebooks.Item(QStringLiteral("QUICK")))
            quick->DisplayInList(&list, false);
        else
            list.Clear();
        break;
    case MainTab::LastUsed: {
        const int remembered = list.Selected();
        list.Clear();
        for (const QString& number : m_lastNumbers.numbers()) {
            QString detail;
            list.Append({m_phonebooks.NumberToName(number, detail), 0, {}, {number}});
        }
        if (list.Count() > 0)
            list.Select(remembered >= 0 && remembered < list.Count() ? remembered : 0);
        break;
    }
    }
}

void MainLists::RefreshCalls() {
    fill(MainTab::Log);
}

void MainLists::LastNumbersChanged() {
    if (m_selected == MainTab::LastUsed)
        fill(MainTab::LastUsed);
}

std::vector<int> MainLists::ColumnWidths(MainTab tab) const {
    std::vector<int> widths;
    const QString prefix = QStringLiteral("S") + TabKey(tab);
    for (qsizetype column = 0; column < Headers(tab).size(); ++column)
        widths.push_back(std::max(0, int(m_profiles.GetPrivateProfileInt(
                                         MainSection, prefix + QString::number(column + 1), 0, m_iniPath))));
    return widths;
}

void MainLists::SaveColumnWidths(MainTab tab, const std::vector<int>& twips) {
    const QString prefix = QStringLiteral("S") + TabKey(tab);
    ProfileBatch batch(m_profiles, m_iniPath);
    for (std::size_t column = 0; column < twips.size(); ++column)
        m_profiles.WritePrivateProfileString(MainSection, prefix + QString::number(column + 1),
                                             QString::number(twips[column]), m_iniPath);
    batch.commit();
}

QString MainLists::RowNumber(MainTab tab, int row) const {
    const ListItems& list = tab == MainTab::Log ? m_lvListAnrufe : m_lvListView;
    if (row < 0 || row >= list.Count())
        return {};
    if (tab == MainTab::Quick) {
        // The entry as the book holds it now, which another window may have changed since the fill.
        clsPhonebook* quick = m_phonebooks.Item(QStringLiteral("QUICK"));
        const std::optional<clsEintrag> entry =
            quick ? quick->clsEintragByIndexKey(list.At(row).Tag) : std::nullopt;
        return entry ? entry->Number().trimmed() : QString();
    }
    const QString number = numberColumn(list, row);
    // A caller without number is listed as "extern": there is nothing to dial.
    return tab == MainTab::Log && number == QLatin1String("extern") ? QString() : number;
}

QString MainLists::PhonebookNumber(MainTab tab, int row) const {
    return DigitsOnly(RowNumber(tab, row));
}

bool MainLists::DeleteNumber(MainTab tab, int row) {
    if (tab != MainTab::LastUsed)
        return false;
    const QString number = numberColumn(m_lvListView, row);
    if (number.isEmpty() || !m_lastNumbers.Remove(number))
        return false;
    fill(MainTab::LastUsed);
    return true;
}

int32_t MainLists::recordOf(MainTab tab, int row) const {
    if (tab != MainTab::Log || row < 0 || row >= m_lvListAnrufe.Count())
        return -1;
    return int32_t(m_lvListAnrufe.At(row).Tag);
}

bool MainLists::ask(int question) {
    return m_dialogs.MsgBox(m_language.LanguageString(question), UserDialogs::Buttons::YesNo,
                            UserDialogs::Icon::Question) == UserDialogs::Answer::Yes;
}

void MainLists::forEachCall(const std::function<void(int32_t)>& act) {
    std::vector<int32_t> records;
    for (int row = 0; row < m_lvListAnrufe.Count(); ++row)
        records.push_back(int32_t(m_lvListAnrufe.At(row).Tag));
    for (int32_t record : records)
        act(record);
    fill(MainTab::Log);
}

void MainLists::MarkRead(MainTab tab, int row) {
    const int32_t record = recordOf(tab, row);
    if (record < 0)
        return;
    m_callLog.SEZGMarkSeen(record);
    fill(MainTab::Log);
}

void MainLists::MarkAllRead(MainTab tab) {
    if (tab == MainTab::Log && ask(3135))
        forEachCall([this](int32_t record) { m_callLog.SEZGMarkSeen(record); });
}

void MainLists::DeleteSound(MainTab tab, int row) {
    const int32_t record = recordOf(tab, row);
    if (record < 0)
        return;
    m_callLog.SEZGDeleteSound(record);
    fill(MainTab::Log);
}

void MainLists::DeleteSoundAll(MainTab tab) {
    if (tab == MainTab::Log && ask(3136))
        forEachCall([this](int32_t record) { m_callLog.SEZGDeleteSound(record); });
}

void MainLists::MarkAndDeleteAll(MainTab tab) {
    if (tab == MainTab::Log && ask(3135))
        forEachCall([this](int32_t record) {
            m_callLog.SEZGDeleteSound(record);
            m_callLog.SEZGMarkSeen(record);
        });
}

QString MainLists::Recording(MainTab tab, int row) const {
    const int32_t record = recordOf(tab, row);
    return record < 0 ? QString() : m_callLog.SEZGGetSoundFile(record);
}
