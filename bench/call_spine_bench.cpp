// How long the line library's thread is held by CtiEventEntry, and what one call-state event costs
// from the entry to the refreshed status panel.

#include "platform/Clock.h"
#include "shell/Program.h"
#include "tools/standinline/StandInLine.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

struct Bench {
    ManualClock clock;
    QTemporaryDir dir;
    std::unique_ptr<Program> program;
    int32_t channel = 0;
    Bench() {
        program = std::make_unique<Program>(clock, std::make_unique<StandInLine>(), dir.path());
        program->startLine();
        channel = program->cti().channel()->lngCtiId;
    }
    CtiEvent event(const char* state, int32_t handle, int32_t direction = 1) const {
        CtiEvent e;
        e.setType(CtiEvent::CallState);
        e.setXcId(channel);
        e.setCallHandle(handle);
        e.setCalledNumber("5551");
        e.setCallingNumber("891234567");
        e.setCallingFlags(CtiEvent::CallingNational);
        e.setDirection(direction);
        e.setStateName(state);
        return e;
    }
};

// A digit: the entry's plain copy into the ring.
void BM_CtiEventEntry_Copy(benchmark::State& state) {
    Bench b;
    CtiEvent digit;
    digit.setType(CtiEvent::Dtmf);
    digit.setXcId(b.channel);
    digit.setDtmfDigit('5');
    CtiEventQueue& q = b.program->cti().queue();
    for (auto _ : state) {
        b.program->cti().CtiEventEntry(digit);
        std::lock_guard lock(q.mutex);
        q.clear();
    }
}
BENCHMARK(BM_CtiEventEntry_Copy);

// An offered call: the copy plus the alert decision (MSN match) and the answer to the library.
void BM_CtiEventEntry_AlertDecision(benchmark::State& state) {
    Bench b;
    b.program->Konfigurationen().Item(1).setStrMSN(1, QStringLiteral("5550"));
    b.program->Konfigurationen().Item(1).setStrMSN(2, QStringLiteral("555*"));
    const CtiEvent offered = b.event("D_ConnectPending", 1);
    const CtiEvent ended = b.event("Disconnected", 1);
    CtiEventQueue& q = b.program->cti().queue();
    for (auto _ : state) {
        b.program->cti().CtiEventEntry(offered);
        state.PauseTiming();
        b.program->cti().CtiEventEntry(ended); // the line's view of the call ends again
        {
            std::lock_guard lock(q.mutex);
            q.clear();
        }
        state.ResumeTiming();
    }
}
BENCHMARK(BM_CtiEventEntry_AlertDecision);

// A whole incoming call event by event: entry, pump, fktCallback, call record, panel. One iteration is
// three events (offered, connected, ended).
void BM_FullEvent_EntryToPanel(benchmark::State& state) {
    Bench b;
    int32_t handle = 0;
    for (auto _ : state) {
        ++handle;
        for (const char* name : {"D_ConnectPending", "Connected", "Disconnected"}) {
            b.program->cti().CtiEventEntry(b.event(name, handle));
            b.program->eventTick();
        }
    }
    state.SetItemsProcessed(state.iterations() * 3);
}
BENCHMARK(BM_FullEvent_EntryToPanel);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
