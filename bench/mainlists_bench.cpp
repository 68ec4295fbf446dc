// The main window's tabs on a busy office's data (BenchOffice.h), from the click on a tab to its list
// filled and laid out in the window: "LOG" (the calls of the last seven days that want attention, named
// from ten books of 10,000 entries, in a log of 100,000 records) and "QUICK" (a quick-dial book of
// 10,000 entries). The same fill without a window shows what the list's logic costs alone.

#include "bench/BenchOffice.h"
#include "shell/MainLists.h"
#include "shell/ui/Main.h"

#include <QApplication>
#include <QTabBar>
#include <QTest>

#include <benchmark/benchmark.h>

namespace {

using namespace bench;

constexpr int QuickEntries = 10000;

// The office with a full quick-dial book, and the main window wired to its lists as its owner wires it.
struct Desk {
    Office& office = bench::office();
    Main main{office.program->language()};
    Desk() {
        clsPhonebook& quick = *office.program->Phonebooks().Item(QStringLiteral("QUICK"));
        for (int e = quick.EintragCount(); e < QuickEntries; ++e)
            quick.EintragAdd(QStringLiteral("Kurzwahl %1").arg(e), QStringLiteral("Hauptstr. %1").arg(e),
                             QStringLiteral("80331"), QStringLiteral("München"), QString(),
                             entryNumber(0, e, 0), QString(), QString(), QString());
        MainLists& lists = office.program->lists();
        main.setLists(&lists.lvListView(), &lists.lvListAnrufe(),
                      [&lists](int row) { return lists.RowNumber(lists.selected(), row); });
        QObject::connect(&main, &Main::tabSelected, &main, [this, &lists](MainTab tab) {
            lists.tbsTabStrip_Click(tab);
            main.showTab(tab, {});
        });
        MainViewState view;
        view.lists = true;
        main.applyView(view);
        main.resize(700, 600);
        main.show();
        QCoreApplication::processEvents();
    }
    void click(MainTab tab) {
        QTabBar* bar = main.findChild<QTabBar*>(QStringLiteral("tbsTabStrip"));
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(int(tab)).center());
        QCoreApplication::processEvents();
    }
};

Desk& desk() {
    static Desk instance;
    return instance;
}

void BM_TabClick(benchmark::State& state) {
    Desk& d = desk();
    const auto tab = MainTab(state.range(0));
    for (auto _ : state)
        d.click(tab);
    state.counters["rows"] = d.office.program->lists().listOf(tab).Count();
    state.SetLabel(TabKey(tab).toStdString());
}
BENCHMARK(BM_TabClick)->Arg(int(MainTab::Log))->Arg(int(MainTab::Quick))->Unit(benchmark::kMillisecond);

void BM_TabFillWithoutWindow(benchmark::State& state) {
    MainLists& lists = desk().office.program->lists();
    const auto tab = MainTab(state.range(0));
    for (auto _ : state)
        lists.tbsTabStrip_Click(tab);
    state.counters["rows"] = lists.listOf(tab).Count();
    state.SetLabel(TabKey(tab).toStdString());
}
BENCHMARK(BM_TabFillWithoutWindow)
    ->Arg(int(MainTab::Log))
    ->Arg(int(MainTab::Quick))
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
