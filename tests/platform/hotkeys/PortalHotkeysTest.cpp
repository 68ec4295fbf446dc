// The global keys of a Wayland desktop, through its portal: against a session bus of the test's own
// (dbus-daemon) on which the test plays the portal (FakePortal). Skipped without dbus-daemon.

#include "platform/hotkeys/PortalHotkeys.h"
#include "tests/platform/hotkeys/FakePortal.h"
#include "tests/support/TestDesktop.h"
#include "tests/support/TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QSignalSpy>

#include <gmock/gmock.h>

#include <memory>

namespace {

using hotkeys::HotkeyKey;
using hotkeys::PortalHotkeys;
using ::testing::HasSubstr;

const HotkeyKey CtrlAltF9{120, true, true, false};
const HotkeyKey ShiftA{65, false, false, true};

TEST(PortalTrigger, TheShortcutTextsOfTheDesktops) {
    using hotkeys::PortalTrigger;
    EXPECT_EQ(PortalTrigger(CtrlAltF9), QStringLiteral("CTRL+ALT+F9"));
    EXPECT_EQ(PortalTrigger(ShiftA), QStringLiteral("SHIFT+a"));
    EXPECT_EQ(PortalTrigger(HotkeyKey{186, true, true, true}), QStringLiteral("CTRL+ALT+SHIFT+udiaeresis"));
    EXPECT_EQ(PortalTrigger(HotkeyKey{97, false, false, false}), QStringLiteral("KP_1"));
    EXPECT_EQ(PortalTrigger(HotkeyKey{0, true, false, false}), QString());
    EXPECT_EQ(PortalTrigger(HotkeyKey{200, true, false, false}), QString());
    EXPECT_EQ(hotkeys::PortalShortcutId(1), QStringLiteral("dial"));
    EXPECT_EQ(hotkeys::PortalShortcutId(2), QStringLiteral("hangup"));
}

class PortalHotkeysTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_daemon = std::make_unique<Spawned>(
            std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1"});
        if (m_daemon->firstLine().isEmpty())
            GTEST_SKIP() << "needs dbus-daemon";
        m_address = m_daemon->firstLine();
        ASSERT_TRUE(portalBus().isConnected());
        ASSERT_TRUE(clientBus().isConnected());
    }
    void TearDown() override {
        m_fake.reset();
        QDBusConnection::disconnectFromBus(QStringLiteral("portal"));
        QDBusConnection::disconnectFromBus(QStringLiteral("client"));
    }

    QDBusConnection portalBus() { return QDBusConnection::connectToBus(m_address, QStringLiteral("portal")); }
    QDBusConnection clientBus() { return QDBusConnection::connectToBus(m_address, QStringLiteral("client")); }

    // The portal on the bus; with `shortcuts` false the portal's name only, without global shortcuts.
    FakePortal& startPortal(bool shortcuts = true) {
        m_fake = std::make_unique<FakePortal>(portalBus());
        if (shortcuts) {
            EXPECT_TRUE(portalBus().registerObject(
                QStringLiteral("/org/freedesktop/portal/desktop"), m_fake.get(),
                QDBusConnection::ExportAllSlots | QDBusConnection::ExportAdaptors));
        }
        EXPECT_TRUE(portalBus().registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
        return *m_fake;
    }

    QString m_address;

private:
    std::unique_ptr<Spawned> m_daemon;
    std::unique_ptr<FakePortal> m_fake;
};

QStringList idsOf(const FakePortal::Bind& bind) {
    QStringList ids;
    for (const auto& shortcut : bind.shortcuts)
        ids << shortcut.id;
    return ids;
}

QString triggerOf(const FakePortal::Bind& bind, const QString& id) {
    for (const auto& shortcut : bind.shortcuts) {
        if (shortcut.id == id)
            return shortcut.properties.value(QStringLiteral("preferred_trigger")).toString();
    }
    return {};
}

TEST_F(PortalHotkeysTest, ABindReachesThePortalAndItsShortcutComesBack) {
    FakePortal& portal = startPortal();
    PortalHotkeys keys(clientBus());
    EXPECT_EQ(keys.kind(), QStringLiteral("portal"));
    QSignalSpy activated(&keys, &hotkeys::GlobalHotkeys::activated);
    QSignalSpy failed(&keys, &hotkeys::GlobalHotkeys::failed);
    QString error;
    ASSERT_TRUE(keys.registerKey(1, CtrlAltF9, &error)) << error.toStdString();
    ASSERT_TRUE(WaitUntil([&] { return portal.binds().size() == 1; }, 5000));
    ASSERT_EQ(portal.sessions().size(), 1);
    const FakePortal::Bind& bind = portal.binds().first();
    EXPECT_EQ(bind.session, portal.sessions().first());
    EXPECT_EQ(idsOf(bind), QStringList{QStringLiteral("dial")});
    EXPECT_EQ(triggerOf(bind, QStringLiteral("dial")), QStringLiteral("CTRL+ALT+F9"));
    EXPECT_FALSE(bind.shortcuts.first().properties.value(QStringLiteral("description")).toString().isEmpty());
    // The program named itself before its first call of the shortcuts.
    EXPECT_EQ(portal.calls(),
              (QStringList{QStringLiteral("Register org.morva.Morva"), QStringLiteral("CreateSession"),
                           QStringLiteral("BindShortcuts")}));

    portal.activate(QStringLiteral("dial"));
    ASSERT_TRUE(WaitUntil([&] { return activated.size() == 1; }, 5000));
    EXPECT_EQ(activated.first().at(0).toInt(), 1);

    // The second key joins the first in one bind, of a new session: some desktops bind once per
    // session.
    const QString first = portal.sessions().first();
    ASSERT_TRUE(keys.registerKey(2, ShiftA, &error)) << error.toStdString();
    ASSERT_TRUE(WaitUntil([&] { return portal.binds().size() == 2; }, 5000));
    EXPECT_EQ(portal.closedSessions(), QStringList{first});
    ASSERT_EQ(portal.sessions().size(), 2);
    EXPECT_EQ(portal.binds().last().session, portal.sessions().last());
    EXPECT_EQ(idsOf(portal.binds().last()), (QStringList{QStringLiteral("dial"), QStringLiteral("hangup")}));
    EXPECT_EQ(triggerOf(portal.binds().last(), QStringLiteral("dial")), QStringLiteral("CTRL+ALT+F9"));
    EXPECT_EQ(triggerOf(portal.binds().last(), QStringLiteral("hangup")), QStringLiteral("SHIFT+a"));
    EXPECT_EQ(portal.calls().mid(3), (QStringList{QStringLiteral("Close"), QStringLiteral("CreateSession"),
                                                  QStringLiteral("BindShortcuts")}));

    // A shortcut of the closed session is not ours any more; the one after it shows that it was seen.
    portal.activate(QStringLiteral("dial"), first);
    portal.activate(QStringLiteral("hangup"));
    ASSERT_TRUE(WaitUntil([&] { return activated.size() == 2; }, 5000));
    RunEvents(100);
    ASSERT_EQ(activated.size(), 2);
    EXPECT_EQ(activated.at(1).at(0).toInt(), 2);

    // A key taken back leaves the bind.
    keys.unregisterKey(1);
    ASSERT_TRUE(WaitUntil([&] { return portal.binds().size() == 3; }, 5000));
    EXPECT_EQ(idsOf(portal.binds().last()), QStringList{QStringLiteral("hangup")});
    portal.activate(QStringLiteral("dial"));
    portal.activate(QStringLiteral("hangup"));
    ASSERT_TRUE(WaitUntil([&] { return activated.size() == 3; }, 5000));
    RunEvents(100);
    ASSERT_EQ(activated.size(), 3);
    EXPECT_EQ(activated.at(2).at(0).toInt(), 2);

    // A key that cannot be had takes back what its id had: no key is left, and no session.
    EXPECT_FALSE(keys.registerKey(2, HotkeyKey{200, true, false, false}, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("names no key"));
    ASSERT_TRUE(WaitUntil([&] { return portal.closedSessions().size() == 3; }, 5000));
    EXPECT_EQ(portal.closedSessions().last(), portal.sessions().last());
    EXPECT_EQ(portal.binds().size(), 3);
    EXPECT_EQ(failed.size(), 0);
}

TEST_F(PortalHotkeysTest, KeysChangedWhileTheDesktopAsksTheUserAreBoundAfterItsAnswer) {
    FakePortal& portal = startPortal();
    portal.setBindDelay(300);
    PortalHotkeys keys(clientBus());
    QSignalSpy failed(&keys, &hotkeys::GlobalHotkeys::failed);
    QString error;
    ASSERT_TRUE(keys.registerKey(1, CtrlAltF9, &error)) << error.toStdString();
    ASSERT_TRUE(WaitUntil([&] { return portal.binds().size() == 1; }, 5000));
    // The first bind's dialog is still open.
    ASSERT_TRUE(keys.registerKey(2, ShiftA, &error)) << error.toStdString();
    ASSERT_TRUE(keys.registerKey(1, HotkeyKey{121, true, false, false}, &error)) << error.toStdString();
    ASSERT_TRUE(WaitUntil([&] { return portal.binds().size() == 2; }, 5000));
    RunEvents(500);
    // One more bind, with the keys as they are now, after the first was answered.
    ASSERT_EQ(portal.binds().size(), 2);
    EXPECT_EQ(triggerOf(portal.binds().last(), QStringLiteral("dial")), QStringLiteral("CTRL+F10"));
    EXPECT_EQ(triggerOf(portal.binds().last(), QStringLiteral("hangup")), QStringLiteral("SHIFT+a"));
    EXPECT_EQ(portal.calls(),
              (QStringList{QStringLiteral("Register org.morva.Morva"), QStringLiteral("CreateSession"),
                           QStringLiteral("BindShortcuts"), QStringLiteral("Close"),
                           QStringLiteral("CreateSession"), QStringLiteral("BindShortcuts")}));
    EXPECT_EQ(failed.size(), 0);
}

TEST_F(PortalHotkeysTest, NoPortalOnTheBusIsSaidAtOnce) {
    PortalHotkeys keys(clientBus());
    QString error;
    EXPECT_FALSE(keys.registerKey(1, CtrlAltF9, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("no desktop portal"));
    EXPECT_TRUE(keys.registerKey(1, HotkeyKey{}, &error));
}

TEST_F(PortalHotkeysTest, APortalWithoutGlobalShortcutsFailsLater) {
    startPortal(false);
    PortalHotkeys keys(clientBus());
    QSignalSpy failed(&keys, &hotkeys::GlobalHotkeys::failed);
    QString error;
    ASSERT_TRUE(keys.registerKey(1, CtrlAltF9, &error)) << error.toStdString();
    ASSERT_TRUE(WaitUntil([&] { return failed.size() == 1; }, 5000));
    EXPECT_EQ(failed.first().at(0).toInt(), 1);
    EXPECT_THAT(failed.first().at(1).toString().toStdString(), HasSubstr("offers no global keys"));
}

TEST_F(PortalHotkeysTest, ARefusedSessionOrBindFails) {
    FakePortal& portal = startPortal();
    portal.setSessionAnswer(2);
    PortalHotkeys keys(clientBus());
    QSignalSpy failed(&keys, &hotkeys::GlobalHotkeys::failed);
    QString error;
    ASSERT_TRUE(keys.registerKey(2, ShiftA, &error)) << error.toStdString();
    ASSERT_TRUE(WaitUntil([&] { return failed.size() == 1; }, 5000));
    EXPECT_EQ(failed.at(0).at(0).toInt(), 2);
    EXPECT_THAT(failed.at(0).at(1).toString().toStdString(), HasSubstr("no session"));
    EXPECT_TRUE(portal.binds().isEmpty());

    // Asked again, a session comes; the user cancels the bind.
    portal.setSessionAnswer(0);
    portal.setBindAnswer(1);
    ASSERT_TRUE(keys.registerKey(1, CtrlAltF9, &error)) << error.toStdString();
    ASSERT_TRUE(WaitUntil([&] { return failed.size() == 3; }, 5000));
    EXPECT_EQ(portal.binds().size(), 1);
    EXPECT_THAT(failed.at(1).at(1).toString().toStdString(), HasSubstr("did not bind"));
    EXPECT_THAT(failed.at(1).at(1).toString().toStdString(), HasSubstr("cancelled"));
    EXPECT_EQ(failed.at(1).at(0).toInt() + failed.at(2).at(0).toInt(), 3);
}

TEST(PortalHotkeysNoBus, WithoutASessionBusKeysAreRefused) {
    PortalHotkeys keys(QDBusConnection(QStringLiteral("no such connection")));
    QString error;
    EXPECT_FALSE(keys.registerKey(1, CtrlAltF9, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("no session bus"));
}

} // namespace
