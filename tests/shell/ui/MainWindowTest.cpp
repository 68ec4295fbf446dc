// The main window, wired to a program on the stand-in line by its owner: the panel and the call buttons
// follow the call, and the keys of txtNumber dial and hang up. With MORVA_SCREENSHOT_DIR set, the window is
// saved as a picture in each state of a call.

#include "shell/base/Language.h"
#include "shell/call/Eurit30.h"
#include "shell/ui/LineWaitWindow.h"
#include "shell/ui/ProgramWindows.h"
#include "tests/support/Screenshot.h"
#include "tests/support/TestProgram.h"

#include <QAction>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QToolButton>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

QString S(const char* text) {
    return QString::fromUtf8(text);
}

struct Window : TestProgram {
    std::unique_ptr<ProgramWindows> windows;
    Main* main = nullptr;
    QStringList messages;
    Window() : TestProgram(false) {
        windows = std::make_unique<ProgramWindows>(*program);
        main = &windows->main();
        program->commands().setShowMessage([this](const QString& text) { messages << text; });
        EXPECT_EQ(windows->Form_Load(), MainLifecycle::StartResult::Started);
        main->show();
    }
    ~Window() { windows.reset(); }
    QAction* button(const char* key) const { return main->findChild<QAction*>(QString::fromLatin1(key)); }
    QString label(const char* name) const {
        return main->findChild<QLabel*>(QString::fromUtf8(name))->text();
    }
    QLineEdit* txtNumber() const { return main->findChild<QLineEdit*>(S("txtNumber")); }
    void snapshot(const QString& name) const { SaveScreenshot(main, name); }
    // What the buttons show: visible keys, and which of DIAL and HANGUP are enabled.
    QString buttons() const {
        QStringList shown;
        for (const char* key : {"DIAL", "ANSWER", "ANSWERAB", "HANGUP"}) {
            QAction* a = button(key);
            if (a->isVisible())
                shown << QString::fromLatin1(key) + (a->isEnabled() ? QString() : S("(off)"));
        }
        return shown.join(QLatin1Char(' '));
    }
};

TEST(MainWindow, FollowsAnIncomingCallThroughEveryStateAndKeepsWhatIsTypedAfterIt) {
    Window w;
    // The names by which the captions and the call's states reach the controls.
    for (const char* name : {"Label1", "Frame1", "lblName", "lblOrt", "lblMSN", "lblStatus", "lblDauer",
                             "lblGebühren", "txtNumber", "DDENummer", "tbrBigButtons", "Laststate_label",
                             "Last_Gebühren_label", "Last_dauer_label", "lblMSNLabel", "lblOrtLabel"})
        EXPECT_NE(w.main->findChild<QWidget*>(QString::fromUtf8(name)), nullptr) << name;
    for (const char* key : {"PHONEBOOK", "PROTOKOLL", "DIAL", "ANSWER", "ANSWERAB", "HANGUP"})
        ASSERT_NE(w.button(key), nullptr) << key;
    EXPECT_FALSE(w.main->findChild<QWidget*>(S("DDENummer"))->isVisible());
    w.txtNumber()->setFocus();
    EXPECT_EQ(w.buttons(), S("DIAL HANGUP(off)"));
    w.snapshot(S("state-0"));

    w.ring("891234567", "5551", true);
    EXPECT_EQ(w.buttons(), S("ANSWER HANGUP"));
    EXPECT_EQ(w.label("lblStatus"), S("Ringing (incoming)"));
    EXPECT_EQ(w.label("lblName"), S("0891234567"));
    EXPECT_EQ(w.label("lblMSN"), S("5551"));
    EXPECT_EQ(w.txtNumber()->text(), S("0891234567"));
    w.snapshot(S("state-134"));

    w.button("ANSWER")->trigger();
    w.settle();
    EXPECT_EQ(w.buttons(), S("DIAL(off) HANGUP"));
    EXPECT_EQ(w.label("lblStatus"), S("Connected (incoming)"));
    w.clock.advance(42s);
    w.program->clockTick();
    EXPECT_EQ(w.label("lblDauer"), S("00:00:42"));
    w.snapshot(S("state-144"));

    QTest::keyClick(w.txtNumber(), Qt::Key_Escape);
    w.settle();
    EXPECT_EQ(w.buttons(), S("DIAL HANGUP(off)"));
    EXPECT_EQ(w.label("lblStatus"), S("No additional information"));
    EXPECT_EQ(w.label("lblDauer"), S("00:00:42"));
    EXPECT_TRUE(w.messages.isEmpty());

    w.txtNumber()->clear();
    QTest::keyClicks(w.txtNumber(), S("0301"));
    w.call().Eurit_ShowCallState(MaskAll);
    EXPECT_EQ(w.txtNumber()->text(), S("0301"));
}

TEST(MainWindow, MachineStateOffersTheTakeOver) {
    Window w;
    w.ring("891234567", "5551", true);
    w.cti().lngABState = 1;
    w.cti().CtiAnswerCall(w.cti().event.callHandle);
    w.settle();
    EXPECT_EQ(w.buttons(), S("ANSWERAB HANGUP"));
    w.snapshot(S("state-135"));
    w.button("ANSWERAB")->trigger();
    EXPECT_EQ(w.buttons(), S("DIAL(off) HANGUP"));
}

TEST(MainWindow, EnterDialsTheTypedNumberAndTheOutgoingCallRunsItsStates) {
    Window w;
    QTest::keyClicks(w.txtNumber(), S("030/1234-5"));
    QTest::keyClick(w.txtNumber(), Qt::Key_Return);
    EXPECT_TRUE(w.line->requests().contains(S("Connect 03012345 from *")));
    w.settle();
    EXPECT_EQ(w.buttons(), S("DIAL HANGUP"));
    EXPECT_EQ(w.label("lblStatus"), S("Ringing (outgoing)"));
    w.snapshot(S("state-6"));
    w.line->farEndAnswers();
    w.settle();
    EXPECT_EQ(w.buttons(), S("DIAL(off) HANGUP"));
    w.snapshot(S("state-16"));
    w.button("HANGUP")->trigger();
    w.settle();
    EXPECT_EQ(w.buttons(), S("DIAL HANGUP(off)"));
}

// The window alone, as every window of the program is built: it shows the panel and the line state it is
// given, in the language it is given, and only emits what the user wants.
TEST(MainWindow, AloneShowsWhatItIsGivenAndEmitsWhatTheUserWants) {
    Language language;
    Main main(language);
    main.show();
    StatusPanel panel;
    panel.lblName = S("Anna Berger");
    panel.lblStatus = S("Ringing (incoming)");
    panel.txtNumber = S("0891234567");
    panel.buttons = ButtonsForState(StateIncomingRinging);
    main.Me_ShowPanel(panel);
    EXPECT_EQ(main.findChild<QLabel*>(S("lblName"))->text(), S("Anna Berger"));
    EXPECT_EQ(main.findChild<QLineEdit*>(S("txtNumber"))->text(), S("0891234567"));
    auto* answer = main.findChild<QAction*>(S("ANSWER"));
    EXPECT_TRUE(answer->isVisible());
    EXPECT_FALSE(main.findChild<QAction*>(S("DIAL"))->isVisible());

    QSignalSpy answered(&main, &Main::answerRequested);
    QSignalSpy dialled(&main, &Main::dialRequested);
    QSignalSpy hungUp(&main, &Main::hangupRequested);
    QSignalSpy edited(&main, &Main::numberEdited);
    answer->trigger();
    EXPECT_EQ(answered.count(), 1);
    auto* number = main.findChild<QLineEdit*>(S("txtNumber"));
    number->clear();
    QTest::keyClicks(number, S("030"));
    EXPECT_EQ(edited.count(), 3);
    QTest::keyClick(number, Qt::Key_Return);
    ASSERT_EQ(dialled.count(), 1);
    EXPECT_EQ(dialled.at(0).at(0).toString(), S("030"));
    QTest::keyClick(number, Qt::Key_Escape);
    EXPECT_EQ(hungUp.count(), 1);

    // A line that is not ready is marked beside its state.
    auto* lineStatus = main.findChild<QLabel*>(S("lineStatus"));
    auto* lineWarning = main.findChild<QLabel*>(S("lineWarning"));
    main.Me_ShowStatusBar(S("CAPI server 192.168.178.1:5031 (fritzbox) lost – reconnecting in 4 s"), false);
    EXPECT_EQ(lineStatus->text(), S("CAPI server 192.168.178.1:5031 (fritzbox) lost – reconnecting in 4 s"));
    EXPECT_TRUE(lineWarning->isVisibleTo(&main));
    main.Me_ShowStatusBar(language.LanguageString(3177), true);
    EXPECT_FALSE(lineWarning->isVisibleTo(&main));
    language.LanguageSet(7);
    main.Me_Set_Language();
    EXPECT_EQ(main.findChild<QAction*>(S("HANGUP"))->text(), language.LanguageString(3174));

    bool mayClose = false;
    main.setCloseQuery([&] { return mayClose; });
    main.close();
    EXPECT_TRUE(main.isVisible()) << "the owner refused";
    mayClose = true;
    main.close();
    EXPECT_FALSE(main.isVisible());
}

// A message of the start stands on its own: the splash, which stays on top of other windows, is gone
// before a message box or a question shows.
TEST(MainWindow, NoMessageOfTheStartStandsUnderTheSplash) {
    Language language;
    Main main(language);
    auto splash = [] {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (widget->objectName() == S("Start_form") && widget->isVisible())
                return true;
        return false;
    };
    for (const bool question : {false, true}) {
        SCOPED_TRACE(question ? "question" : "message");
        main.showSplash(S("Version 1.2.3"));
        ASSERT_TRUE(splash());
        bool splashUnderTheBox = true;
        QTimer::singleShot(0, &main, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            ASSERT_NE(box, nullptr);
            splashUnderTheBox = splash();
            box->button(question ? QMessageBox::No : QMessageBox::Ok)->click();
        });
        if (question)
            EXPECT_EQ(main.askUser(S("Take over the old phonebook?"), UserDialogs::Buttons::YesNo,
                                   UserDialogs::Icon::Question),
                      UserDialogs::Answer::No);
        else
            main.showMessage(S("The call log cannot be opened."));
        EXPECT_FALSE(splashUnderTheBox);
        main.setLoadProgress(50); // the start goes on without its splash
        EXPECT_FALSE(splash());
    }
}

// The start's owner over a line that does not start: the question whether to try again, with the splash
// gone, and the notice of a start that waits for the line.
struct FailingStart : TestProgram {
    std::unique_ptr<ProgramWindows> windows;
    FailingStart() : TestProgram(false) {
        windows = std::make_unique<ProgramWindows>(*program);
        windows->setLineFailureHelp(S("192.168.178.1:5031 (fritzbox)"),
                                    S("Choose the CAPI server in Morva.ini."));
        line->refuseStarts(100);
    }
    ~FailingStart() { windows.reset(); }
    static bool shown(const char* name) {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (widget->objectName() == QLatin1String(name) && widget->isVisible())
                return true;
        return false;
    }
    // Runs `act` on the first visible top-level window of `name` once one shows (during the start's
    // own event loops).
    static void whenShown(const char* name, std::function<void(QWidget*)> act) {
        auto* poll = new QTimer(qApp);
        QObject::connect(poll, &QTimer::timeout, poll, [poll, name, act = std::move(act)] {
            for (QWidget* widget : QApplication::topLevelWidgets())
                if (widget->objectName() == QLatin1String(name) && widget->isVisible()) {
                    poll->deleteLater();
                    poll->stop();
                    act(widget);
                    return;
                }
        });
        poll->start(10);
    }
};

TEST(ProgramWindowsStart, ALineThatDoesNotStartAsksWhetherToTryAgainInTheUsersLanguage) {
    for (const int languageId : {9, 7}) {
        SCOPED_TRACE(languageId);
        FailingStart t;
        QFile registry(Program::RegistryPath(t.dir.path()));
        ASSERT_TRUE(registry.open(QIODevice::WriteOnly));
        registry.write(S("[HKLM\\Software\\Nalda\\Morva]\nLanguage=dword:%1\n")
                           .arg(languageId, 8, 16, QLatin1Char('0'))
                           .toLatin1());
        registry.close();
        int asked = 0;
        std::function<void(QWidget*)> answer = [&](QWidget* window) {
            auto* box = qobject_cast<QMessageBox*>(window);
            ASSERT_NE(box, nullptr);
            ++asked;
            const Language& lang = t.program->language();
            EXPECT_FALSE(FailingStart::shown("Start_form")) << "the splash stays on top of everything";
            EXPECT_TRUE(box->text().startsWith(lang.LanguageString(3205))) << box->text().toStdString();
            EXPECT_TRUE(box->text().contains(S("Choose the CAPI server in Morva.ini.")));
            EXPECT_TRUE(box->text().endsWith(lang.LanguageString(3208)));
            auto* retry = box->findChild<QPushButton*>(S("cmdRetry"));
            auto* close = box->findChild<QPushButton*>(S("cmdClose"));
            ASSERT_TRUE(retry && close);
            EXPECT_EQ(retry->text(), lang.LanguageString(3207));
            EXPECT_EQ(close->text(), lang.LanguageString(3104));
            SaveScreenshot(box, S("line-retry-%1").arg(lang.LanguageCode()));
            if (asked == 1) {
                retry->click();
                FailingStart::whenShown("LineRetryQuestion", answer); // the question after this try
            } else {
                close->click();
            }
        };
        FailingStart::whenShown("LineRetryQuestion", answer);
        EXPECT_EQ(t.windows->Form_Load(), MainLifecycle::StartResult::LineFailed);
        EXPECT_EQ(asked, 2);
        EXPECT_EQ(t.line->requests().count(S("Init refused")), 2) << "tried again once";
        EXPECT_FALSE(t.windows->main().isVisible());
    }
}

TEST(ProgramWindowsStart, WaitingForTheLineShowsANoticeWithTheServerThatEndsTheWaitWhenGivenUp) {
    FailingStart t;
    t.windows->lifecycle().setWaitForLine(true);
    bool noticed = false;
    FailingStart::whenShown("LineWaitWindow", [&](QWidget* window) {
        auto* notice = qobject_cast<LineWaitWindow*>(window);
        ASSERT_NE(notice, nullptr);
        noticed = true;
        EXPECT_FALSE(FailingStart::shown("Start_form"));
        const QString text = notice->findChild<QLabel*>(S("lblWait"))->text();
        EXPECT_TRUE(text.contains(S("192.168.178.1:5031 (fritzbox)"))) << text.toStdString();
        EXPECT_FALSE(text.contains(S("%s")));
        SaveScreenshot(notice, S("line-wait-%1").arg(t.program->language().LanguageCode()));
        notice->findChild<QPushButton*>(S("cmdGiveUp"))->click();
    });
    EXPECT_EQ(t.windows->Form_Load(), MainLifecycle::StartResult::LineFailed);
    EXPECT_TRUE(noticed);
    EXPECT_FALSE(FailingStart::shown("LineWaitWindow")) << "the notice goes with the wait";
}

// SIGTERM at logout while the start waits for the line or asks about it: the start gives up at once.
TEST(ProgramWindowsStart, AStopRequestEndsTheWaitAndTheQuestionOfTheStart) {
    for (const bool wait : {true, false}) {
        SCOPED_TRACE(wait ? "waiting" : "asking");
        FailingStart t;
        t.windows->lifecycle().setWaitForLine(wait);
        FailingStart::whenShown(wait ? "LineWaitWindow" : "LineRetryQuestion",
                                [&](QWidget*) { t.windows->requestStop(); });
        EXPECT_EQ(t.windows->Form_Load(), MainLifecycle::StartResult::LineFailed);
        EXPECT_EQ(t.line->requests().count(S("Init refused")), 1);
    }
}

// Rows of the picture with ink in them (darker than the window's background).
int inkedRows(const QImage& image) {
    int rows = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qGray(image.pixel(x, y)) < 128) {
                ++rows;
                break;
            }
        }
    }
    return rows;
}

// The dots of a capital stand above the font's ascent in common fonts; the place and name labels show
// them whole, as tall as the letter drawn with room to spare.
TEST(MainWindow, AccentsOfCapitalsAreNotCutOff) {
    Window w;
    for (const char* name : {"lblOrt", "lblName"}) {
        SCOPED_TRACE(name);
        auto* label = w.main->findChild<QLabel*>(QString::fromLatin1(name));
        const QString text = S("Ö");
        label->setText(text);
        w.main->centralWidget()->layout()->activate();

        const QFontMetrics metrics(label->font());
        QImage free(metrics.horizontalAdvance(text) + 8, metrics.height() * 3, QImage::Format_RGB32);
        free.fill(Qt::white);
        QPainter painter(&free);
        painter.setFont(label->font());
        painter.setPen(Qt::black);
        painter.drawText(4, metrics.height() * 2, text);
        painter.end();

        EXPECT_EQ(inkedRows(label->grab().toImage()), inkedRows(free));
    }
}

} // namespace
