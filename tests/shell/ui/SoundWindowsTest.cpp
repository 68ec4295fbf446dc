// The play and record window and the volume pop-up as their owner wires them over a program on the
// stand-in line: the LOG tab's play command plays a call's recording, the play button of a file-name
// control opens the window on its box, the status panel "VOL" opens the volume pop-up, and the status bar
// follows the sound server, whose reports come on a thread of their own. With MORVA_SCREENSHOT_DIR set,
// the status bar without sound is saved as a picture in German and English.

#include "platform/fdsnd/SilentSound.h"
#include "shell/base/Language.h"
#include "shell/ui/ProgramWindows.h"
#include "shell/ui/ctlDateiAuswahl.h"
#include "shell/ui/frmPlayRecord.h"
#include "shell/ui/frmVolumeControl.h"
#include "tests/shell/ui/ModalWindow.h"
#include "tests/support/Screenshot.h"
#include "tests/support/TestProgram.h"

#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QStatusBar>
#include <QTabBar>
#include <QTest>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

// A sound library whose server comes and goes when the test says so, reported on a thread of the test's.
class WatchedSound final : public SilentSound {
public:
    WatchedSound() { fdsnd_SetOutVolume(40000); }
    bool serverAvailable() const override { return available; }
    void setServerWatcher(std::function<void(bool)> watcher) override {
        const std::lock_guard lock(m_mutex);
        m_watcher = std::move(watcher);
    }

    // The server comes or goes; the report comes on a thread of its own, as the library's would.
    void serverChanges(bool now) {
        available = now;
        std::thread reporter([this, now] {
            const std::lock_guard lock(m_mutex);
            if (m_watcher)
                m_watcher(now);
        });
        reporter.join();
    }
    bool watched() const {
        const std::lock_guard lock(m_mutex);
        return bool(m_watcher);
    }

    std::atomic<bool> available{false};

private:
    mutable std::mutex m_mutex;
    std::function<void(bool)> m_watcher;
};

struct Window : TestProgram {
    std::shared_ptr<WatchedSound> sound;
    std::unique_ptr<ProgramWindows> windows;
    Main* main = nullptr;
    QStringList operations;

    explicit Window(const std::function<void(Program&)>& before = {},
                    std::shared_ptr<WatchedSound> library = std::make_shared<WatchedSound>())
        : TestProgram(false, library), sound(std::move(library)) {
        windows = std::make_unique<ProgramWindows>(*program);
        main = &windows->main();
        program->sound().observer = [this](const QString& operation, const QString& file) {
            operations << (file.isEmpty() ? operation : operation + QLatin1Char(' ') + file);
        };
        if (before)
            before(*program);
        EXPECT_EQ(windows->Form_Load(), MainLifecycle::StartResult::Started);
        main->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(main));
    }
    ~Window() {
        program->sound().observer = nullptr;
        windows.reset();
    }
    QAction* action(const char* name) const { return main->findChild<QAction*>(QString::fromUtf8(name)); }
    QLabel* panel(const char* name) const { return main->findChild<QLabel*>(QString::fromLatin1(name)); }
    QString soundFolder() const {
        return QFileInfo(program->sound().SoundFullPath(S("probe.wav"))).absolutePath();
    }
};

// The play and record window, opened modally by `open`.
bool withPlayWindow(const std::function<void()>& open, const std::function<void(frmPlayRecord&)>& inside) {
    return withModal<frmPlayRecord>(open, inside);
}

} // namespace

TEST(SoundWindows, TheStatusBarSaysWhenThereIsNoSoundAndFollowsTheServerFromItsThread) {
    Window w;
    const Language& lang = w.program->language();
    QLabel* text = w.panel("VOLTEXT");
    QLabel* volume = w.panel("VOL");
    EXPECT_EQ(text->text(), lang.LanguageString(3210));
    EXPECT_FALSE(text->text().isEmpty());
    EXPECT_EQ(volume->toolTip(), lang.LanguageString(3211));
    EXPECT_EQ(text->toolTip(), lang.LanguageString(3211));

    w.sound->serverChanges(true);
    EXPECT_EQ(text->text(), lang.LanguageString(3210)) << "the report waits for the main thread";
    QCoreApplication::processEvents();
    EXPECT_EQ(text->text(), QString());
    EXPECT_EQ(volume->toolTip(), lang.LanguageString(3158));

    w.sound->serverChanges(false);
    QCoreApplication::processEvents();
    EXPECT_EQ(text->text(), lang.LanguageString(3210));

    // In another language, the same state in its words.
    for (const int number : {7, 9}) {
        w.program->language().LanguageSet(number);
        w.windows->applyLanguage();
        EXPECT_EQ(text->text(), lang.LanguageString(3210));
        EXPECT_EQ(volume->toolTip(), lang.LanguageString(3211));
        SaveScreenshot(w.main->statusBar(), S("main-statusbar-nosound-") + lang.LanguageCode());
    }

    // A report still on its way when the windows go, and one after, reach nothing.
    w.sound->serverChanges(true);
    w.windows.reset();
    EXPECT_FALSE(w.sound->watched());
    QCoreApplication::processEvents();
    w.sound->serverChanges(false);
}

TEST(SoundWindows, TheLogsPlayCommandPlaysTheRowsRecordingInAPlayOnlyWindow) {
    Window w(SaveNewCalls);
    if (!w.main->findChild<QTreeView*>(S("lvListView"))->isVisible())
        w.action("mnuViewExtended")->trigger();
    auto* tabs = w.main->findChild<QTabBar*>(S("tbsTabStrip"));
    QTest::mouseClick(tabs, Qt::LeftButton, {}, tabs->tabRect(1).center());
    ASSERT_EQ(w.program->lists().selected(), MainTab::Log);
    auto* list = w.main->findChild<QTreeView*>(S("lvListAnrufe"));
    int withMessage = -1;
    int without = -1;
    for (int row = 0; row < list->model()->rowCount(); ++row)
        (w.program->lists().RowNumber(MainTab::Log, row) == S("0301111") ? withMessage : without) = row;
    ASSERT_GE(withMessage, 0);
    ASSERT_GE(without, 0);

    list->setCurrentIndex(list->model()->index(without, 0));
    EXPECT_FALSE(w.action("PLAY")->isEnabled()) << "a call without a message";
    list->setCurrentIndex(list->model()->index(withMessage, 0));
    EXPECT_TRUE(w.action("PLAY")->isEnabled());
    EXPECT_TRUE(w.action("mnuKontextPlayAnsage")->isEnabled());

    const QString file = w.program->sound().SoundFullPath(S("Msg1.wav"));
    w.operations.clear();
    QString shown;
    bool recordShown = true;
    bool fieldEnabled = true;
    QStringList whileOpen;
    const bool came =
        withPlayWindow([&w] { w.action("PLAY")->trigger(); },
                       [&](frmPlayRecord& window) {
                           EXPECT_TRUE(window.isModal());
                           auto* field = window.findChild<ctlDateiAuswahl*>(S("ctlDateiAuswahl1"));
                           shown = field->FilePath();
                           fieldEnabled = field->isEnabled();
                           recordShown = window.findChild<QPushButton*>(S("cmdRecord"))->isVisible();
                           whileOpen = w.operations;
                       });
    ASSERT_TRUE(came);
    EXPECT_EQ(shown, file);
    EXPECT_FALSE(fieldEnabled);
    EXPECT_FALSE(recordShown);
    EXPECT_EQ(whileOpen, QStringList{S("play ") + file}) << "it plays at once";
    EXPECT_EQ(w.operations.mid(1), (QStringList{S("stop ") + file, S("record stop")}));
    EXPECT_TRUE(w.program->sound().playingFile().isEmpty());

    // A row without a recording opens nothing.
    w.operations.clear();
    EXPECT_FALSE(withPlayWindow([&w, without] { Q_EMIT w.main->listCommand(ListCommand::Play, without); },
                                [](frmPlayRecord&) {}));
    EXPECT_TRUE(w.operations.isEmpty());
}

TEST(SoundWindows, AFileControlsPlayButtonOpensTheWindowOnItsBoxAndTakesTheNameBack) {
    Window w;
    const QString folder = w.soundFolder();
    QWidget host;
    auto* layout = new QVBoxLayout(&host);
    auto* control = new ctlDateiAuswahl(&host);
    layout->addWidget(control);
    control->setShowPlayButton(true);
    control->setDefaultPath(folder);
    control->setFilePath(folder + S("/Ansage/alt.wav"));
    ASSERT_EQ(control->FilePath(), S("Ansage/alt.wav"));
    host.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    w.windows->connectPlayRecord(control);
    w.operations.clear();

    QString shown;
    bool recordShown = false;
    const bool came = withPlayWindow(
        [control] {
            QTest::mouseClick(control->findChild<QToolButton*>(S("cmdShowPlayRecord")), Qt::LeftButton);
        },
        [&](frmPlayRecord& window) {
            EXPECT_EQ(window.parentWidget(), &host);
            auto* field = window.findChild<ctlDateiAuswahl*>(S("ctlDateiAuswahl1"));
            shown = field->FilePath();
            recordShown = window.findChild<QPushButton*>(S("cmdRecord"))->isVisible();
            EXPECT_TRUE(field->isEnabled());
            auto* box = field->findChild<QLineEdit*>(S("txtDateiname"));
            box->setFocus();
            QTest::keyClick(box, Qt::Key_A, Qt::ControlModifier);
            QTest::keyClicks(box, S("Ansage/neu.wav"));
            QTest::mouseClick(window.findChild<QPushButton*>(S("cmdRecord")), Qt::LeftButton);
        });
    ASSERT_TRUE(came);
    EXPECT_EQ(shown, S("Ansage/alt.wav"));
    EXPECT_TRUE(recordShown);
    EXPECT_EQ(w.operations, (QStringList{S("record ") + folder + S("/Ansage/neu.wav"), S("record stop")}));
    EXPECT_EQ(control->FilePath(), S("Ansage/neu.wav"));
}

TEST(SoundWindows, TheVolumePanelOpensThePopUpOnTheProgramsVolumes) {
    Window w;
    QLabel* panel = w.panel("VOL");
    QTest::mouseClick(panel, Qt::LeftButton);
    QPointer<frmVolumeControl> popup = w.main->findChild<frmVolumeControl*>();
    ASSERT_FALSE(popup.isNull());
    ASSERT_TRUE(QTest::qWaitForWindowExposed(popup.data()));
    QSlider* out = popup->findChild<QSlider*>(S("sliOutVolume"));
    QSlider* in = popup->findChild<QSlider*>(S("sliInVolume"));
    EXPECT_EQ(out->value(), 65535 - 40000);
    EXPECT_EQ(in->value(), 0);
    // Over the panel, on the main window's screen.
    EXPECT_LE(popup->frameGeometry().bottom(), panel->mapToGlobal(QPoint(0, 0)).y());

    out->setValue(5535);
    in->setValue(35535);
    EXPECT_EQ(w.program->sound().SoundGetVolume(), 60000);
    EXPECT_EQ(w.program->sound().GetInVolume(), 30000);
    QTest::mouseClick(w.main->windowHandle(), Qt::LeftButton, Qt::NoModifier,
                      QPoint(5, w.main->height() / 2));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(popup.isNull());
    EXPECT_EQ(w.program->sound().SoundGetVolume(), 60000);
    EXPECT_EQ(w.program->sound().GetInVolume(), 30000);

    // The text beside it, which says that there is no sound, opens it too.
    QTest::mouseClick(w.panel("VOLTEXT"), Qt::LeftButton);
    popup = w.main->findChild<frmVolumeControl*>();
    ASSERT_FALSE(popup.isNull());
    EXPECT_EQ(popup->findChild<QSlider*>(S("sliOutVolume"))->value(), 5535);
    popup->close();
}
