// The carrier window, driven as a user drives it: opened under its button, the last carriers on top and
// the macro book's below, the mark following the mouse and the keys, a choice by Enter or a click, none
// by Escape or a click elsewhere. With MORVA_SCREENSHOT_DIR set, the window is saved as a picture.

#include "shell/ui/frmProviders.h"

#include <QDir>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

#include "tests/support/Screenshot.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

// The newest carrier first, two slots not yet used; `count` carriers in the macro book.
CarrierWindowContent content(int count) {
    CarrierWindowContent c;
    c.recent = {S("01090  Viag Intercom"), S("01019  MobilCom"), QString(), QString()};
    const char* const names[] = {"TELEGLOBE", "MobilCom", "Telekom", "Arcor"};
    for (int i = 0; i < count; ++i)
        c.all.push_back({QStringLiteral("010%1").arg(10 + i),
                         i < 4 ? S(names[i]) : QStringLiteral("Carrier %1").arg(i + 1), double(100 + 7 * i)});
    return c;
}

// A main window stand-in with the button cmdProvider, and the carrier window opened under it.
struct Opened {
    explicit Opened(int carriers, QPoint buttonAt = QPoint(40, 60)) {
        anchor = std::make_unique<QWidget>();
        anchor->setGeometry(QGuiApplication::primaryScreen()->availableGeometry());
        button = new QPushButton(S("---"), anchor.get());
        button->setObjectName(S("cmdProvider"));
        button->setGeometry(QRect(buttonAt, QSize(160, 28)));
        anchor->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(anchor.get()));
        window = new frmProviders(content(carriers), anchor.get());
        chosen = std::make_unique<QSignalSpy>(window.data(), &frmProviders::carrierChosen);
        window->popupUnder(button);
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.data()));
    }
    ~Opened() { delete window.data(); }

    QLabel* label(const QString& name) const { return window->findChild<QLabel*>(name); }
    QStringList marked() const {
        QStringList names;
        for (QLabel* l : window->findChildren<QLabel*>())
            if (l->property("marked").toBool())
                names << l->objectName();
        return names;
    }
    // The labels of the list that are seen whole with the list at its top: what a page key moves by.
    int rowsSeen() const {
        auto* scroll = window->findChild<QScrollArea*>(S("scrProviders"));
        const QRect seen = scroll->viewport()->rect();
        int rows = 0;
        for (QLabel* l = label(S("lblProvider1")); l;
             l = label(QStringLiteral("lblProvider%1").arg(rows + 1))) {
            if (!seen.contains(QRect(l->mapTo(scroll->viewport(), QPoint(0, 0)), l->size())))
                break;
            ++rows;
        }
        return rows;
    }
    bool seenWhole(QLabel* l) const {
        const QRect inWindow(l->mapTo(window.data(), QPoint(0, 0)), l->size());
        return l->visibleRegion().boundingRect() == l->rect() && window->rect().contains(inWindow);
    }
    // The mouse as the window system brings it: to the pop-up, which hands it to the label under it.
    QPoint centreOf(QLabel* l) const { return l->mapTo(window.data(), l->rect().center()); }
    void moveTo(QLabel* l) const { QTest::mouseMove(window->windowHandle(), centreOf(l)); }
    void click(QLabel* l) const {
        moveTo(l);
        QTest::mouseClick(window->windowHandle(), Qt::LeftButton, Qt::NoModifier, centreOf(l));
    }
    // A key as the window system brings it, to whatever has the focus in the pop-up.
    void key(Qt::Key k, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const {
        QTest::keyClick(window->windowHandle(), k, modifiers);
    }
    QStringList chosenTexts() const {
        QStringList texts;
        for (const QList<QVariant>& args : *chosen)
            texts << args.at(0).toString();
        return texts;
    }
    bool gone() {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return window.isNull();
    }
    void snapshot(const QString& name) const { SaveScreenshot(window, name); }

    std::unique_ptr<QWidget> anchor;
    QPushButton* button = nullptr;
    QPointer<frmProviders> window;
    std::unique_ptr<QSignalSpy> chosen;
};

} // namespace

TEST(ProvidersWindow, ShowsTheRecentCarriersNewestFirstAndTheMacroBookInFileOrderUnderItsButton) {
    Opened o(3);
    o.snapshot(S("providers"));
    EXPECT_TRUE(o.window->windowFlags().testFlag(Qt::Popup));
    EXPECT_TRUE(o.window->testAttribute(Qt::WA_DeleteOnClose));
    EXPECT_EQ(o.window->pos(), o.button->mapToGlobal(QPoint(0, o.button->height())));
    EXPECT_GE(o.window->width(), o.button->width());

    const QStringList names{S("lblstdProvider1"), S("lblstdProvider2"), S("lblstdProvider3"),
                            S("lblstdProvider4"), S("lblProvider1"),    S("lblProvider2"),
                            S("lblProvider3")};
    const QStringList texts{S("01090  Viag Intercom"), S("01019  MobilCom"), S("---"),           S("---"),
                            S("01010  TELEGLOBE"),     S("01011  MobilCom"), S("01012  Telekom")};
    int previousBottom = -1;
    for (int i = 0; i < names.size(); ++i) {
        SCOPED_TRACE(names[i].toStdString());
        QLabel* l = o.label(names[i]);
        ASSERT_NE(l, nullptr);
        EXPECT_EQ(l->text(), texts[i]);
        EXPECT_TRUE(o.seenWhole(l));
        // One below the other, in this order.
        const int top = l->mapTo(o.window.data(), QPoint(0, 0)).y();
        EXPECT_GE(top, previousBottom);
        previousBottom = top + l->height();
    }
    EXPECT_EQ(o.label(S("lblProvider4")), nullptr);
    for (int i = 1; i <= 3; ++i)
        EXPECT_EQ(o.label(QStringLiteral("lblProvider%1").arg(i))->property("tag").toDouble(),
                  100 + 7 * (i - 1));
    EXPECT_TRUE(o.marked().isEmpty()) << "nothing is marked before the user moves";
}

TEST(ProvidersWindow, ManyCarriersScrollOnTheScreenAndTheWindowGoesAboveAButtonWithNoRoomBelow) {
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    for (const bool low : {false, true}) {
        SCOPED_TRACE(low ? "button at the bottom" : "button at the top");
        Opened o(40, low ? QPoint(40, screen.height() - 40) : QPoint(40, 10));
        const QRect button(o.button->mapToGlobal(QPoint(0, 0)), o.button->size());
        EXPECT_TRUE(screen.contains(o.window->frameGeometry()));
        if (low)
            EXPECT_EQ(o.window->geometry().bottom() + 1, button.top());
        else
            EXPECT_EQ(o.window->geometry().top(), button.bottom() + 1);
        EXPECT_FALSE(o.seenWhole(o.label(S("lblProvider40"))));
        EXPECT_TRUE(o.seenWhole(o.label(S("lblstdProvider1"))));
        o.key(Qt::Key_End);
        EXPECT_EQ(o.marked(), QStringList{S("lblProvider40")});
        EXPECT_TRUE(o.seenWhole(o.label(S("lblProvider40")))) << "the list follows the mark";
        EXPECT_FALSE(o.seenWhole(o.label(S("lblProvider1"))));
        EXPECT_TRUE(o.seenWhole(o.label(S("lblstdProvider1")))) << "the recent carriers stay";
        if (low)
            o.snapshot(S("providers_many"));
    }
}

TEST(ProvidersWindow, TheMarkFollowsTheMouseInTheHighlightColours) {
    Opened o(3);
    const QPalette palette = o.window->palette();
    for (const char* name : {"lblProvider2", "lblstdProvider1", "lblstdProvider3", "lblProvider3"}) {
        SCOPED_TRACE(name);
        QLabel* target = o.label(S(name));
        o.moveTo(target);
        EXPECT_EQ(o.marked(), QStringList{S(name)});
        for (QLabel* l : o.window->findChildren<QLabel*>()) {
            const bool marked = l == target;
            SCOPED_TRACE(l->objectName().toStdString());
            EXPECT_EQ(l->foregroundRole(), marked ? QPalette::HighlightedText : QPalette::Text);
            // What the user sees: the label's background in the highlight colour or the list's.
            const QImage image = l->grab().toImage();
            EXPECT_EQ(image.pixelColor(1, 1), palette.color(marked ? QPalette::Highlight : QPalette::Base));
        }
    }
    EXPECT_TRUE(o.chosen->isEmpty());
    EXPECT_TRUE(o.window->isVisible());
}

TEST(ProvidersWindow, TheKeysMoveTheMarkByOneByAPageAndToTheEnds) {
    Opened o(40);
    const int page = o.rowsSeen();
    ASSERT_GT(page, 1);
    ASSERT_LT(page, 40);
    // The labels in the order of the keys: the four recent ones, then the list.
    const auto at = [](int index) {
        return index < 4 ? QStringLiteral("lblstdProvider%1").arg(index + 1)
                         : QStringLiteral("lblProvider%1").arg(index - 3);
    };
    const struct {
        Qt::Key key;
        int index;
    } steps[] = {
        {Qt::Key_Down, 0},
        {Qt::Key_Down, 1},
        {Qt::Key_Down, 2},
        {Qt::Key_Up, 1},
        {Qt::Key_End, 43},
        {Qt::Key_Down, 43},
        {Qt::Key_PageDown, 43},
        {Qt::Key_PageUp, 43 - page},
        {Qt::Key_PageUp, 43 - 2 * page},
        {Qt::Key_Home, 0},
        {Qt::Key_Up, 0},
        {Qt::Key_PageUp, 0},
        {Qt::Key_PageDown, page},
        {Qt::Key_PageDown, 2 * page},
        {Qt::Key_Up, 2 * page - 1},
    };
    for (const auto& step : steps) {
        const std::unique_ptr<char[]> keyName(QTest::toString(step.key));
        SCOPED_TRACE(keyName.get());
        o.key(step.key);
        EXPECT_EQ(o.marked(), QStringList{at(step.index)});
        EXPECT_TRUE(o.seenWhole(o.label(at(step.index))));
    }
    EXPECT_TRUE(o.chosen->isEmpty());
    EXPECT_TRUE(o.window->isVisible());
}

TEST(ProvidersWindow, EnterOrAClickTakesALabelAndEscapeOrAClickElsewhereTakesNone) {
    {
        Opened o(3);
        o.key(Qt::Key_Return);
        EXPECT_TRUE(o.window->isVisible()) << "nothing is marked yet";
        o.key(Qt::Key_Down);
        o.key(Qt::Key_Down);
        o.key(Qt::Key_Return);
        EXPECT_EQ(o.chosenTexts(), QStringList{S("01019  MobilCom")});
        EXPECT_TRUE(o.gone());
    }
    {
        Opened o(3);
        o.key(Qt::Key_End);
        o.key(Qt::Key_Enter, Qt::KeypadModifier);
        EXPECT_EQ(o.chosenTexts(), QStringList{S("01012  Telekom")});
        EXPECT_TRUE(o.gone());
    }
    {
        Opened o(3);
        QLabel* none = o.label(S("lblstdProvider4"));
        o.click(none);
        EXPECT_EQ(o.chosenTexts(), QStringList{S("---")});
        EXPECT_TRUE(o.gone());
    }
    {
        Opened o(40);
        o.key(Qt::Key_End);
        QLabel* last = o.label(S("lblProvider40"));
        o.click(last);
        EXPECT_EQ(o.chosenTexts(), QStringList{S("01049  Carrier 40")});
        EXPECT_TRUE(o.gone());
    }
    {
        Opened o(3);
        o.key(Qt::Key_Down);
        o.key(Qt::Key_Escape);
        EXPECT_TRUE(o.gone());
        EXPECT_TRUE(o.chosen->isEmpty());
    }
    {
        Opened o(3);
        o.moveTo(o.label(S("lblProvider1")));
        const QPoint elsewhere(o.anchor->width() - 20, o.anchor->height() - 20);
        // Through the window system, as a real click comes, so that the pop-up sees it.
        QTest::mouseClick(o.anchor->windowHandle(), Qt::LeftButton, Qt::NoModifier, elsewhere);
        EXPECT_TRUE(o.gone());
        EXPECT_TRUE(o.chosen->isEmpty());
    }
}
