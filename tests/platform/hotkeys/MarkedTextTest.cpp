// The marked text read from the X11 selections of an X server of the test's own, owned by a small X
// client (hotkeys_selection_owner) as an editor with marked text owns them. Skipped without Xvfb.

#include "platform/hotkeys/GlobalHotkeys.h"
#include "tests/support/TestDesktop.h"
#include "tests/support/TestEnvironment.h"

#include <QElapsedTimer>

#include <xcb/xcb.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using hotkeys::MarkedText;

// The window that owns a selection now; 0 for none.
xcb_window_t ownerOf(const char* selection) {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(selection)), selection), nullptr);
    xcb_get_selection_owner_reply_t* owner =
        atom ? xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, atom->atom), nullptr) : nullptr;
    const xcb_window_t window = owner ? owner->owner : 0;
    std::free(owner);
    std::free(atom);
    xcb_disconnect(c);
    return window;
}

class MarkedTextTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (TestDisplay().isEmpty())
            GTEST_SKIP() << "needs Xvfb";
    }

    // Starts a selection owner with `arguments`; its window, or 0 when it did not come up.
    xcb_window_t own(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), MORVA_SELECTION_OWNER);
        m_owner = std::make_unique<Spawned>(std::move(arguments));
        return m_owner->firstLine().toUInt();
    }
    void release() { m_owner.reset(); }

private:
    std::unique_ptr<Spawned> m_owner;
};

TEST_F(MarkedTextTest, ThePrimarySelectionAsItsOwnerHasIt) {
    const xcb_window_t owner = own({"primary=+49 (89) 12 34-56"});
    ASSERT_NE(owner, 0u);
    EXPECT_EQ(MarkedText(2000), QStringLiteral("+49 (89) 12 34-56"));
    EXPECT_EQ(ownerOf("PRIMARY"), owner);
}

TEST_F(MarkedTextTest, TextBeyondAsciiComesWhole) {
    const xcb_window_t owner = own({"primary=Tel.: 0123 \u2013 \u00fc"});
    ASSERT_NE(owner, 0u);
    EXPECT_EQ(MarkedText(2000), QStringLiteral("Tel.: 0123 \u2013 \u00fc"));
    EXPECT_EQ(ownerOf("PRIMARY"), owner);
}

TEST_F(MarkedTextTest, TheSelectionWinsOverTheClipboard) {
    const xcb_window_t owner = own({"primary=089 1234", "clipboard=030 9876"});
    ASSERT_NE(owner, 0u);
    EXPECT_EQ(MarkedText(2000), QStringLiteral("089 1234"));
    EXPECT_EQ(ownerOf("PRIMARY"), owner);
    EXPECT_EQ(ownerOf("CLIPBOARD"), owner);
}

TEST_F(MarkedTextTest, TheClipboardWhenNothingIsMarked) {
    const xcb_window_t owner = own({"clipboard=0711 55 66 77"});
    ASSERT_NE(owner, 0u);
    ASSERT_EQ(ownerOf("PRIMARY"), 0u);
    EXPECT_EQ(MarkedText(2000), QStringLiteral("0711 55 66 77"));
    EXPECT_EQ(ownerOf("PRIMARY"), 0u);
    EXPECT_EQ(ownerOf("CLIPBOARD"), owner);
}

TEST_F(MarkedTextTest, TheClipboardWhenTheMarkIsEmpty) {
    const xcb_window_t owner = own({"primary=", "clipboard=0711 55 66 77"});
    ASSERT_NE(owner, 0u);
    EXPECT_EQ(MarkedText(2000), QStringLiteral("0711 55 66 77"));
    EXPECT_EQ(ownerOf("PRIMARY"), owner);
}

TEST_F(MarkedTextTest, LatinOneTextFromAnOwnerWithoutUtf8) {
    const xcb_window_t owner = own({"primary=M\u00fcller 089 12", "string-only"});
    ASSERT_NE(owner, 0u);
    EXPECT_EQ(MarkedText(2000), QStringLiteral("M\u00fcller 089 12"));
    EXPECT_EQ(ownerOf("PRIMARY"), owner);
}

TEST_F(MarkedTextTest, NothingWhenNeitherIsOwned) {
    ASSERT_EQ(ownerOf("PRIMARY"), 0u);
    ASSERT_EQ(ownerOf("CLIPBOARD"), 0u);
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(MarkedText(1000), QString());
    // No owner to wait for: no wait.
    EXPECT_LT(clock.elapsed(), 500);
    EXPECT_EQ(ownerOf("PRIMARY"), 0u);
    EXPECT_EQ(ownerOf("CLIPBOARD"), 0u);
}

TEST_F(MarkedTextTest, AnOwnerThatNeverAnswersCostsTheTimeoutOnly) {
    const xcb_window_t owner = own({"primary=089 1234", "clipboard=030 9876", "silent"});
    ASSERT_NE(owner, 0u);
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(MarkedText(500), QString());
    const qint64 elapsed = clock.elapsed();
    EXPECT_GE(elapsed, 490);
    EXPECT_LT(elapsed, 1500);
    EXPECT_EQ(ownerOf("PRIMARY"), owner);
}

TEST_F(MarkedTextTest, AnOwnerThatWentAwayLeavesNothing) {
    ASSERT_NE(own({"primary=089 1234"}), 0u);
    EXPECT_EQ(MarkedText(2000), QStringLiteral("089 1234"));
    release();
    EXPECT_TRUE(WaitUntil([] { return ownerOf("PRIMARY") == 0; }, 5000));
    EXPECT_EQ(MarkedText(1000), QString());
}

TEST(MarkedTextNoServer, EmptyWithoutAnXServerAndWithoutAGuiApplication) {
    qunsetenv("DISPLAY");
    EXPECT_EQ(MarkedText(200), QString());
}

} // namespace
