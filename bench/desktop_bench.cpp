// The speed of the desktop's part: a call-state change that runs twenty rules, each a D-Bus call to a
// local service, and the time from a press of the dial hotkey to the dial reaching the line. Both run on
// desktops of their own: a private session bus (dbus-daemon) and a private X server (Xvfb), so the
// figures do not depend on the machine's desktop. The hotkey goes through the real line against the
// simulated exchange.

#include "bench/BenchLine.h"

#include "automation/ActionRules.h"
#include "automation/modHotKey.h"
#include "platform/Clock.h"
#include "platform/capilink/CapiLink.h"
#include "platform/desktop/LinuxDesktop.h"
#include "platform/hotkeys/GlobalHotkeys.h"
#include "shell/Program.h"
#include "tools/capiexchange/CapiExchange.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

namespace {

using Clock_ = std::chrono::steady_clock;

// A program of the outside world for the length of a benchmark: dbus-daemon or Xvfb.
struct Helper {
    QProcess process;
    ~Helper() {
        process.terminate();
        process.waitForFinished(3000);
    }
};

// The service the rules call: answers every call and counts them, on a connection of its own in a thread
// of its own, as another program on the bus would.
class NoteService : public QDBusVirtualObject {
public:
    std::atomic<int> calls{0};
    QString introspect(const QString&) const override { return QString(); }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.member() != QLatin1String("Add") || message.arguments().size() != 1)
            return false;
        ++calls;
        return connection.send(message.createReply());
    }
};

void BM_ActionRunTwentyDBusRules(benchmark::State& state) {
    Helper bus;
    bus.process.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                                      QStringLiteral("--print-address=1")});
    while (!bus.process.canReadLine() && bus.process.waitForReadyRead(5000)) {
    }
    const QString address = QString::fromUtf8(bus.process.readLine()).trimmed();
    if (address.isEmpty()) {
        state.SkipWithError("dbus-daemon did not start");
        return;
    }

    QThread serviceThread;
    NoteService service;
    service.moveToThread(&serviceThread);
    serviceThread.start();
    bool registered = false;
    QMetaObject::invokeMethod(
        &service,
        [&] {
            QDBusConnection connection = QDBusConnection::connectToBus(address, QStringLiteral("notes"));
            registered = connection.registerService(QStringLiteral("org.example.Notes")) &&
                         connection.registerVirtualObject(QStringLiteral("/notes"), &service);
        },
        Qt::BlockingQueuedConnection);
    if (!registered) {
        state.SkipWithError("the service could not register");
        serviceThread.quit();
        serviceThread.wait();
        return;
    }

    {
        QTemporaryDir dir;
        ManualClock clock;
        Settings settings;
        Language language;
        NumTrans numTrans;
        Logs logs{clock, settings, dir.path()};
        UserDialogs dialogs{logs};
        CallRecord call;
        call.CallNumber = QStringLiteral("0891234567");
        call.CallMSN = QStringLiteral("5551");
        desktop::LinuxDesktop linuxDesktop(QDBusConnection::connectToBus(address, QStringLiteral("morva")));
        ActionRules rules{settings, language, numTrans, clock, dialogs, dir.path()};
        rules.setDesktop(&linuxDesktop);
        rules.setCallRecord(&call);
        for (int i = 0; i < 20; ++i)
            rules.rules.push_back({1, 3, 3, QStringLiteral("org.example.Notes/notes"),
                                   QStringLiteral("org.example.Notes.Add"), QStringLiteral("%N at %M, %U4")});
        QString result;
        for (auto _ : state)
            result = rules.ActionRun(StateIncomingRinging);
        if (result != QStringLiteral("Command OK"))
            state.SkipWithError(qPrintable(address + QStringLiteral(": ") + result));
        state.counters["rules"] = 20;
        state.counters["calls_answered"] = service.calls.load();
    }
    // Google Benchmark runs this function more than once: each run has a bus of its own.
    QDBusConnection::disconnectFromBus(QStringLiteral("morva"));
    QMetaObject::invokeMethod(
        &service, [] { QDBusConnection::disconnectFromBus(QStringLiteral("notes")); },
        Qt::BlockingQueuedConnection);
    serviceThread.quit();
    serviceThread.wait();
}
BENCHMARK(BM_ActionRunTwentyDBusRules)->Unit(benchmark::kMillisecond);

// Owns the primary selection with a marked number and answers every request for it, on a connection of
// its own in a thread of its own, as a terminal does whose text is marked.
class MarkedNumber {
public:
    explicit MarkedNumber(const QByteArray& text) : m_text(text) {
        m_connection = xcb_connect(nullptr, nullptr);
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        m_window = xcb_generate_id(m_connection);
        // Its own destruction wakes the thread at the end.
        const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, &events);
        m_utf8 = atom("UTF8_STRING");
        m_targets = atom("TARGETS");
        xcb_set_selection_owner(m_connection, m_window, XCB_ATOM_PRIMARY, XCB_CURRENT_TIME);
        xcb_flush(m_connection);
        m_thread = std::thread([this] { serve(); });
    }
    ~MarkedNumber() {
        m_stop = true;
        xcb_destroy_window(m_connection, m_window);
        xcb_flush(m_connection);
        m_thread.join();
        xcb_disconnect(m_connection);
    }

private:
    xcb_atom_t atom(const char* name) {
        auto* reply = xcb_intern_atom_reply(
            m_connection, xcb_intern_atom(m_connection, 0, uint16_t(std::strlen(name)), name), nullptr);
        const xcb_atom_t a = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
        free(reply);
        return a;
    }
    void serve() {
        while (!m_stop) {
            xcb_generic_event_t* event = xcb_wait_for_event(m_connection);
            if (!event)
                return;
            if ((event->response_type & 0x7f) == XCB_DESTROY_NOTIFY) {
                free(event);
                return;
            }
            if ((event->response_type & 0x7f) == XCB_SELECTION_REQUEST) {
                auto* request = reinterpret_cast<xcb_selection_request_event_t*>(event);
                xcb_selection_notify_event_t notify{};
                notify.response_type = XCB_SELECTION_NOTIFY;
                notify.time = request->time;
                notify.requestor = request->requestor;
                notify.selection = request->selection;
                notify.target = request->target;
                notify.property = request->property;
                if (request->target == m_targets) {
                    const xcb_atom_t list[] = {m_utf8, XCB_ATOM_STRING};
                    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, request->requestor,
                                        request->property, XCB_ATOM_ATOM, 32, 2, list);
                } else if (request->target == m_utf8 || request->target == XCB_ATOM_STRING) {
                    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, request->requestor,
                                        request->property, request->target, 8, uint32_t(m_text.size()),
                                        m_text.constData());
                } else {
                    notify.property = XCB_ATOM_NONE;
                }
                xcb_send_event(m_connection, 0, request->requestor, XCB_EVENT_MASK_NO_EVENT,
                               reinterpret_cast<const char*>(&notify));
                xcb_flush(m_connection);
            }
            free(event);
        }
    }

    QByteArray m_text;
    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_window = 0;
    xcb_atom_t m_utf8 = 0;
    xcb_atom_t m_targets = 0;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

// The program's call as the hotkey sees it, without windows.
struct BenchCalls : HotkeyCalls {
    explicit BenchCalls(Program& p) : program(p) {}
    int16_t callState() const override { return program.call().CallState; }
    bool lineOpen() const override { return program.cti().channel() != nullptr; }
    void showNumber(const QString& number) override { program.call().setTxtNumber(number); }
    void dial(const QString& number) override { program.commands().Eurit_Dial(number); }
    void answer() override { program.commands().Eurit_Answer(); }
    void takeOver() override { program.commands().Eurit_TakeOver(); }
    void hangUp() override { program.commands().Eurit_Hangup(); }
    Program& program;
};

void BM_HotkeyToDialOnTheLine(benchmark::State& state) {
    // A private X server, so that the grab and the key press touch no desktop of the machine.
    Helper x;
    const QString display = QStringLiteral(":%1").arg(90 + QCoreApplication::applicationPid() % 50);
    x.process.start(QStringLiteral("Xvfb"),
                    {display, QStringLiteral("-screen"), QStringLiteral("0"), QStringLiteral("640x480x24"),
                     QStringLiteral("-nolisten"), QStringLiteral("tcp")});
    qputenv("DISPLAY", display.toUtf8());
    qunsetenv("WAYLAND_DISPLAY");
    qputenv("XDG_SESSION_TYPE", "x11");
    xcb_connection_t* presser = nullptr;
    for (int i = 0; i < 100 && !presser; ++i) {
        presser = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(presser)) {
            xcb_disconnect(presser);
            presser = nullptr;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    if (!presser) {
        state.SkipWithError("Xvfb did not start");
        return;
    }

    CapiExchange::Options options;
    options.port = BenchExchangePort();
    CapiExchange exchange(options);
    QString error;
    if (!exchange.start(&error)) {
        state.SkipWithError(qPrintable(error));
        return;
    }
    SystemClock clock;
    QTemporaryDir dir;
    Program program(clock,
                    std::make_unique<CapiLink>(CapiServer{"fritzbox", "127.0.0.1", BenchExchangePort()},
                                               std::shared_ptr<voice::AudioDevice>()),
                    dir.path());
    program.callLog().SEZGDBOpen();
    program.Konfigurationen().Item(1).setStrMSN(1, QStringLiteral("5551"));
    if (!program.startLine()) {
        state.SkipWithError(qPrintable(program.fatalMessage()));
        return;
    }
    std::unique_ptr<hotkeys::GlobalHotkeys> keys = hotkeys::CreateGlobalHotkeys();
    BenchCalls calls(program);
    program.hotkeys().setKeys(keys.get());
    program.hotkeys().setCalls(&calls);
    program.settings().Hotkey1 = {120, 1, 0, 1}; // Ctrl+Shift+F9
    if (!program.hotkeys().HotkeyRegister(1, program.settings().Hotkey1)) {
        state.SkipWithError("the hotkey could not be grabbed");
        return;
    }
    MarkedNumber marked("Tel. +49 (89) 12 34-56");

    const auto keycode = [presser](uint32_t keysym) -> uint8_t {
        const xcb_setup_t* setup = xcb_get_setup(presser);
        const int count = setup->max_keycode - setup->min_keycode + 1;
        auto* map = xcb_get_keyboard_mapping_reply(
            presser, xcb_get_keyboard_mapping(presser, setup->min_keycode, uint8_t(count)), nullptr);
        const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(map);
        uint8_t found = 0;
        for (int k = 0; k < count && !found; ++k)
            for (int s = 0; s < map->keysyms_per_keycode; ++s)
                if (syms[k * map->keysyms_per_keycode + s] == keysym)
                    found = uint8_t(setup->min_keycode + k);
        free(map);
        return found;
    };
    const uint8_t ctrl = keycode(0xffe3), shift = keycode(0xffe1), f9 = keycode(0xffc6);
    const auto fake = [presser](uint8_t type, uint8_t code) {
        xcb_test_fake_input(presser, type, code, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    };

    double total = 0, worst = 0;
    int presses = 0;
    for (auto _ : state) {
        const std::size_t before = exchange.calls().size();
        fake(XCB_KEY_PRESS, ctrl);
        fake(XCB_KEY_PRESS, shift);
        fake(XCB_KEY_PRESS, f9);
        fake(XCB_KEY_RELEASE, f9);
        fake(XCB_KEY_RELEASE, shift);
        fake(XCB_KEY_RELEASE, ctrl);
        xcb_flush(presser);
        const auto pressed = Clock_::now();
        // The program's main thread takes the key; the exchange sees the call the line asks for.
        bool dialled = false;
        while (!dialled && Clock_::now() - pressed < std::chrono::seconds(5)) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
            const std::vector<ExchangeCall> now = exchange.calls();
            dialled = now.size() > before && now.back().called == "089123456";
        }
        if (!dialled) {
            state.SkipWithError("the dial did not reach the line");
            break;
        }
        const double ms = std::chrono::duration<double, std::milli>(Clock_::now() - pressed).count();
        state.SetIterationTime(ms / 1000.0);
        total += ms;
        worst = std::max(worst, ms);
        ++presses;
        // Hang up and let the line go quiet before the next press.
        program.commands().Eurit_Hangup();
        const auto quiet = Clock_::now();
        while (Clock_::now() - quiet < std::chrono::seconds(5) && program.call().CallState != StateIdle) {
            program.eventTick();
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        }
        for (int i = 0; i < 3; ++i) {
            program.eventTick();
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }
    if (presses > 0) {
        state.counters["mean_ms"] = total / presses;
        state.counters["max_ms"] = worst;
    }
    program.hotkeys().setKeys(nullptr);
    program.hotkeys().setCalls(nullptr);
    keys.reset();
    xcb_disconnect(presser);
    exchange.stop();
}
BENCHMARK(BM_HotkeyToDialOnTheLine)->UseManualTime()->Iterations(20)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
