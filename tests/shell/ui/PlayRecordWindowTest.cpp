// The play and record window and the volume pop-up alone, on a sound card the test stands in for: what
// each button, tool bar key and the timer do to the sound and to the window, the question before a file
// is recorded over, the close, the play-only window, and the sliders that run upside down. With
// MORVA_SCREENSHOT_DIR set, each window is saved as a picture in German and English.

#include "shell/base/Language.h"
#include "shell/ui/PlayRecordSound.h"
#include "shell/ui/ctlDateiAuswahl.h"
#include "shell/ui/frmPlayRecord.h"
#include "shell/ui/frmVolumeControl.h"
#include "tests/support/Screenshot.h"

#include <QAction>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QSet>
#include <QSlider>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

constexpr int English = 9;
constexpr int German = 7;

// The sound card and the sound folder as the test sets them up; every operation is written to `log`.
struct FakeSound final : PlayRecordSound, VolumeSound {
    QStringList log;
    QSet<QString> existing;
    std::map<QString, std::pair<QString, double>> files; // name: format text, seconds
    SoundProgressView progress;
    int32_t outVolume = 65535;
    int32_t inVolume = 65535;

    int32_t SoundPlayLoop(const QString& file, int count) override {
        log << QStringLiteral("play %1 %2").arg(file).arg(count);
        return 0;
    }
    void SoundPlayStop() override { log << S("play stop"); }
    int32_t SoundRecord(const QString& file) override {
        log << S("record ") + file;
        return 0;
    }
    void SoundRecordStop() override { log << S("record stop"); }
    bool SoundFileExists(const QString& file) const override { return existing.contains(file); }
    QString SoundFileFormatText(const QString& file) const override {
        const auto it = files.find(file);
        return it == files.end() ? QString() : it->second.first;
    }
    double SoundFileSeconds(const QString& file) const override {
        const auto it = files.find(file);
        return it == files.end() ? 0 : it->second.second;
    }
    SoundProgressView SoundProgress() const override { return progress; }

    int32_t SoundGetVolume() const override { return outVolume; }
    void SoundSetVolume(int32_t value) override {
        outVolume = value;
        log << QStringLiteral("out volume %1").arg(value);
    }
    int32_t GetInVolume() const override { return inVolume; }
    void SetInVolume(int32_t value) override {
        inVolume = value;
        log << QStringLiteral("in volume %1").arg(value);
    }
};

// The window over a text box of an opener (or none), shown as its opener shows it.
struct PlayWindow {
    explicit PlayWindow(bool withTextBox, const QString& boxText = S("greeting.wav"),
                        int languageNumber = English) {
        language.LanguageSet(languageNumber);
        sound.files[S("greeting.wav")] = {S("PCM 8,000 kHz, 16 Bit, Mono"), 3.25};
        sound.files[S("welcome.wav")] = {S("CCITT A-Law 8,000 kHz, 8 Bit, Mono"), 12.3456};
        opener = std::make_unique<QWidget>();
        box = new QLineEdit(boxText, opener.get());
        box->setObjectName(S("txtDateiname"));
        window = new frmPlayRecord(language, sound, opener.get());
        if (withTextBox)
            window->mctlPathTextControl = box;
        window->setAsker([this](QWidget* owner, const QString& text) {
            EXPECT_EQ(owner, window.data());
            questions << text;
            return answer;
        });
    }
    ~PlayWindow() { delete window.data(); }

    void show() {
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.data()));
    }
    template <class T> T* child(const char* name) const { return window->findChild<T*>(S(name)); }
    QPushButton* button(const char* name) const { return child<QPushButton>(name); }
    void click(const char* name) const { QTest::mouseClick(button(name), Qt::LeftButton); }
    QAction* key(const char* name) const { return child<QToolBar>("Toolbar1")->findChild<QAction*>(S(name)); }
    QTimer* timer() const { return child<QTimer>("timerProgress"); }
    int bar() const { return child<QProgressBar>("prgProgress")->value(); }
    QString label(const char* name) const { return child<QLabel>(name)->text(); }
    ctlDateiAuswahl* field() const { return child<ctlDateiAuswahl>("ctlDateiAuswahl1"); }
    QLineEdit* fieldBox() const { return field()->findChild<QLineEdit*>(S("txtDateiname")); }
    // A new name typed into the field over the old one.
    void type(const QString& name) const {
        fieldBox()->setFocus();
        QTest::keyClick(fieldBox(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(fieldBox(), Qt::Key_Backspace);
        QTest::keyClicks(fieldBox(), name);
    }
    // What the window shows and does: mode, timer, bar.
    QString state() const {
        return QStringLiteral("mode %1, timer %2, bar %3")
            .arg(int(window->mode()))
            .arg(timer()->isActive() ? S("on") : S("off"))
            .arg(bar());
    }
    // The operations since the last call.
    QStringList taken() {
        QStringList done = sound.log;
        sound.log.clear();
        return done;
    }

    Language language;
    FakeSound sound;
    std::unique_ptr<QWidget> opener;
    QLineEdit* box = nullptr;
    QPointer<frmPlayRecord> window;
    QStringList questions;
    bool answer = false;
};

} // namespace

TEST(PlayRecordWindow, PlaysRecordsAndStopsByButtonAndByToolBarKey) {
    PlayWindow w(true);
    w.show();
    EXPECT_EQ(w.window->windowTitle(), S("Play and record"));
    EXPECT_EQ(w.button("cmdPlay")->text(), w.language.LanguageString(606));
    EXPECT_EQ(w.button("cmdRecord")->text(), w.language.LanguageString(605));
    EXPECT_EQ(w.button("cmdStop")->text(), w.language.LanguageString(604));
    EXPECT_EQ(w.key("play")->toolTip(), w.language.LanguageString(606));
    EXPECT_TRUE(w.button("cmdRecord")->isVisible());
    EXPECT_TRUE(w.key("record")->isVisible());
    EXPECT_TRUE(w.field()->isEnabled());
    EXPECT_EQ(w.field()->FilePath(), S("greeting.wav")) << "the field shows the text box's name";
    EXPECT_EQ(w.label("lblDateiinfo"), S("PCM 8,000 kHz, 16 Bit, Mono"));
    EXPECT_EQ(w.label("lblDateilänge"), S("03,250 sec"));
    EXPECT_EQ(w.label("lblDateigröße"), QString());
    EXPECT_EQ(w.label("lblDateiPosition"), QString());
    EXPECT_EQ(w.timer()->interval(), 50);
    EXPECT_EQ(w.state(), S("mode 0, timer off, bar 0"));
    EXPECT_TRUE(w.taken().isEmpty()) << "nothing plays before it is asked to";

    // Each command by its button and by its tool bar key, in turns.
    struct Step {
        const char* button; // or a tool bar key
        bool byKey;
        QStringList sound;
        const char* state;
    } const steps[] = {
        // Before anything ran, the mode is neither: Stop stops a recording.
        {"cmdStop", false, {S("record stop")}, "mode 0, timer off, bar 100"},
        {"cmdPlay", false, {S("play greeting.wav 0")}, "mode 1, timer on, bar 0"},
        {"cmdStop", false, {S("play stop")}, "mode 1, timer off, bar 100"},
        {"record", true, {S("record greeting.wav")}, "mode 2, timer on, bar 100"},
        {"stop", true, {S("record stop")}, "mode 2, timer off, bar 100"},
        {"play", true, {S("play greeting.wav 0")}, "mode 1, timer on, bar 0"},
        {"stop", true, {S("play stop")}, "mode 1, timer off, bar 100"},
        {"cmdRecord", false, {S("record greeting.wav")}, "mode 2, timer on, bar 100"},
        {"cmdStop", false, {S("record stop")}, "mode 2, timer off, bar 100"},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.button);
        if (step.byKey)
            w.key(step.button)->trigger();
        else
            w.click(step.button);
        EXPECT_EQ(w.taken(), step.sound);
        EXPECT_EQ(w.state(), S(step.state));
    }
    EXPECT_TRUE(w.questions.isEmpty()) << "a file that is not there is recorded without a question";
}

TEST(PlayRecordWindow, RecordingOverAnExistingFileAsksAndNoLeavesModeTimerAndFileAsTheyWere) {
    PlayWindow w(true);
    w.sound.existing << S("greeting.wav");
    w.show();
    const QString question = w.language.LanguageString(3334) + S("\ngreeting.wav");

    // Asked while nothing runs, and while it plays.
    w.answer = false;
    w.click("cmdRecord");
    EXPECT_EQ(w.questions, QStringList{question});
    EXPECT_EQ(w.state(), S("mode 0, timer off, bar 0"));
    w.click("cmdPlay");
    w.taken();
    w.key("record")->trigger();
    EXPECT_EQ(w.questions.size(), 2);
    EXPECT_EQ(w.state(), S("mode 1, timer on, bar 0"));
    EXPECT_TRUE(w.taken().isEmpty()) << "neither a recording nor a stop";
    EXPECT_EQ(w.field()->FilePath(), S("greeting.wav"));
    EXPECT_EQ(w.box->text(), S("greeting.wav"));

    // "Yes" records over it.
    w.answer = true;
    w.click("cmdRecord");
    EXPECT_EQ(w.questions.size(), 3);
    EXPECT_EQ(w.taken(), QStringList{S("record greeting.wav")});
    EXPECT_EQ(w.state(), S("mode 2, timer on, bar 100"));
}

TEST(PlayRecordWindow, ClosingStopsPlayingAndRecordingAndHandsTheNameToTheTextBox) {
    // By the close button (close) and by Escape (reject), each while it records a name typed anew.
    for (const bool escape : {false, true}) {
        SCOPED_TRACE(escape ? "Escape" : "close");
        PlayWindow w(true);
        w.show();
        w.type(S("welcome.wav"));
        EXPECT_EQ(w.label("lblDateiinfo"), S("CCITT A-Law 8,000 kHz, 8 Bit, Mono"));
        EXPECT_EQ(w.label("lblDateilänge"), S("12,346 sec"));
        EXPECT_EQ(w.box->text(), S("greeting.wav")) << "the text box keeps its name while the window is open";
        w.click("cmdRecord");
        w.taken();
        if (escape)
            QTest::keyClick(w.window.data(), Qt::Key_Escape);
        else
            EXPECT_TRUE(w.window->close());
        EXPECT_FALSE(w.window->isVisible());
        EXPECT_EQ(w.taken(), (QStringList{S("play stop"), S("record stop")}));
        EXPECT_FALSE(w.timer()->isActive());
        EXPECT_EQ(w.bar(), 100);
        EXPECT_EQ(w.box->text(), S("welcome.wav"));
    }
}

TEST(PlayRecordWindow, WithoutATextBoxItOnlyPlaysTheFileGivenAndStartsAtOnceWhenAsked) {
    for (const bool autoPlay : {false, true}) {
        SCOPED_TRACE(autoPlay ? "autoplay" : "no autoplay");
        PlayWindow w(false);
        w.window->mstrFile = S("welcome.wav");
        w.window->mintAutoPlay = autoPlay;
        w.show();
        EXPECT_FALSE(w.button("cmdRecord")->isVisible());
        EXPECT_FALSE(w.key("record")->isVisible());
        EXPECT_TRUE(w.button("cmdPlay")->isVisible());
        EXPECT_TRUE(w.button("cmdStop")->isVisible());
        EXPECT_FALSE(w.field()->isEnabled());
        EXPECT_EQ(w.field()->FilePath(), S("welcome.wav"));
        EXPECT_EQ(w.label("lblDateilänge"), S("12,346 sec"));
        if (autoPlay) {
            EXPECT_EQ(w.taken(), QStringList{S("play welcome.wav 0")});
            EXPECT_EQ(w.state(), S("mode 1, timer on, bar 0"));
        } else {
            EXPECT_TRUE(w.taken().isEmpty());
            EXPECT_EQ(w.state(), S("mode 0, timer off, bar 0"));
        }
        w.window->close();
        EXPECT_EQ(w.taken(), (QStringList{S("play stop"), S("record stop")}));
        EXPECT_EQ(w.box->text(), S("greeting.wav")) << "a text box not given is not written";
    }
}

TEST(PlayRecordWindow, NamesRelativeToTheDefaultFolderReachTheSoundInFull) {
    QTemporaryDir folder;
    PlayWindow w(true, S("Ansage/hallo.wav"));
    w.window->setDefaultPath(folder.path());
    w.sound.files[folder.filePath(S("Ansage/hallo.wav"))] = {S("PCM"), 1.5};
    w.show();
    EXPECT_EQ(w.field()->FilePath(), S("Ansage/hallo.wav"));
    EXPECT_EQ(w.label("lblDateilänge"), S("01,500 sec"));
    w.click("cmdPlay");
    EXPECT_EQ(w.taken(), QStringList{S("play ") + folder.filePath(S("Ansage/hallo.wav")) + S(" 0")});
    w.window->close();
    EXPECT_EQ(w.box->text(), S("Ansage/hallo.wav")) << "the box gets the name as its control writes it";
}

TEST(PlayRecordWindow, AFileThatCannotBeReadShowsNoFormatAndNoLength) {
    PlayWindow w(true, S("missing.wav"));
    w.show();
    EXPECT_EQ(w.label("lblDateiinfo"), QString());
    EXPECT_EQ(w.label("lblDateilänge"), S("00,000 sec"));
    w.type(S("greeting.wav"));
    EXPECT_EQ(w.label("lblDateilänge"), S("03,250 sec"));
    w.type(QString());
    EXPECT_EQ(w.label("lblDateiinfo"), QString());
    EXPECT_EQ(w.label("lblDateilänge"), S("00,000 sec"));
}

TEST(PlayRecordWindow, LengthsHaveAtLeastTwoDigitsBeforeTheCommaAndThreeAfterIt) {
    struct Case {
        double seconds;
        const char* text;
    } const cases[] = {{0, "00,000 sec"},      {0.0004, "00,000 sec"},    {0.0005, "00,001 sec"},
                       {3.25, "03,250 sec"},   {9.9996, "10,000 sec"},    {59.125, "59,125 sec"},
                       {125.5, "125,500 sec"}, {3600.02, "3600,020 sec"}, {12.3456, "12,346 sec"}};
    for (const Case& c : cases)
        EXPECT_EQ(PlayRecordSecondsText(c.seconds), S(c.text)) << c.seconds;
}

TEST(PlayRecordWindow, TheTimerPutsTheProgressOnTheBarAndTheSizeAndPositionLabels) {
    PlayWindow w(true);
    w.show();
    w.sound.progress = {37, S("26000"), S("9620")};
    w.click("cmdPlay");
    EXPECT_EQ(w.bar(), 0) << "until the first tick";
    EXPECT_TRUE(QTest::qWaitFor([&w] { return w.bar() == 37; }, 5000));
    EXPECT_EQ(w.label("lblDateigröße"), S("26000"));
    EXPECT_EQ(w.label("lblDateiPosition"), S("9620"));
    w.sound.progress = {100, S("26000"), S("26000")};
    EXPECT_TRUE(QTest::qWaitFor([&w] { return w.label("lblDateiPosition") == S("26000"); }, 5000));
    EXPECT_EQ(w.bar(), 100);

    // Stopped, the timer leaves the bar and the labels alone.
    w.click("cmdStop");
    w.sound.progress = {5, S("1"), S("2")};
    QTest::qWait(150);
    EXPECT_EQ(w.bar(), 100);
    EXPECT_EQ(w.label("lblDateiPosition"), S("26000"));
}

TEST(PlayRecordWindow, Pictures) {
    for (const int number : {German, English}) {
        {
            PlayWindow w(true, S("greeting.wav"), number);
            w.show();
            w.sound.progress = {42, S("52000"), S("21840")};
            w.click("cmdPlay");
            EXPECT_TRUE(QTest::qWaitFor([&w] { return w.bar() == 42; }, 5000));
            SaveScreenshot(w.window.data(), S("frmPlayRecord-") + w.language.LanguageCode());
        }
        {
            PlayWindow w(false, QString(), number);
            w.window->mstrFile = S("/home/user/.local/share/Morva/Sound/welcome.wav");
            w.sound.files[w.window->mstrFile] = {S("CCITT A-Law 8,000 kHz, 8 Bit, Mono"), 7.5};
            w.show();
            EXPECT_FALSE(w.button("cmdRecord")->isVisible());
            SaveScreenshot(w.window.data(), S("frmPlayRecord-playonly-") + w.language.LanguageCode());
        }
    }
}

namespace {

// A status bar stand-in with the panel "VOL" at its bottom right, and the volume pop-up opened at it.
struct VolumePopup {
    explicit VolumePopup(int languageNumber = English) {
        language.LanguageSet(languageNumber);
        sound.outVolume = 50000;
        sound.inVolume = 20000;
        anchor = std::make_unique<QWidget>();
        const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
        anchor->setGeometry(area.adjusted(area.width() / 4, area.height() / 4, 0, 0));
        panel = new QLabel(S("VOL"), anchor.get());
        panel->setObjectName(S("VOL"));
        panel->setGeometry(anchor->width() - 40, anchor->height() - 20, 40, 20);
        anchor->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(anchor.get()));
        window = new frmVolumeControl(language, sound, anchor.get());
        window->popupAt(panel);
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.data()));
    }
    ~VolumePopup() { delete window.data(); }
    QSlider* slider(const char* name) const { return window->findChild<QSlider*>(S(name)); }
    bool gone() {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return window.isNull();
    }

    Language language;
    FakeSound sound;
    std::unique_ptr<QWidget> anchor;
    QLabel* panel = nullptr;
    QPointer<frmVolumeControl> window;
};

} // namespace

TEST(VolumeControl, SlidersShowTheVolumesUpsideDownAndSetThemAtOnce) {
    VolumePopup v;
    QSlider* out = v.slider("sliOutVolume");
    QSlider* in = v.slider("sliInVolume");
    ASSERT_NE(out, nullptr);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(out->orientation(), Qt::Vertical);
    EXPECT_EQ(out->minimum(), 0);
    EXPECT_EQ(out->maximum(), 65535);
    EXPECT_EQ(out->value(), 65535 - 50000);
    EXPECT_EQ(in->value(), 65535 - 20000);
    EXPECT_TRUE(v.sound.log.isEmpty()) << "opening sets no volume";
    // Above the panel, its right edge at the panel's.
    const QRect frame = v.window->frameGeometry();
    const QPoint panelAt = v.panel->mapToGlobal(QPoint(0, 0));
    EXPECT_EQ(frame.bottom() + 1, panelAt.y());
    EXPECT_EQ(frame.right(), panelAt.x() + v.panel->width() - 1);

    // A click on the upper end of a slider turns it up, the lower end down: the loudest is at the top.
    QTest::mouseClick(out, Qt::LeftButton, Qt::NoModifier, QPoint(out->width() / 2, 2));
    EXPECT_GT(v.sound.outVolume, 50000);
    EXPECT_EQ(v.sound.outVolume, 65535 - out->value());
    QTest::mouseClick(in, Qt::LeftButton, Qt::NoModifier, QPoint(in->width() / 2, in->height() - 3));
    EXPECT_LT(v.sound.inVolume, 20000);
    EXPECT_EQ(v.sound.inVolume, 65535 - in->value());

    // The keys go the way the slider looks: Up is louder.
    out->setFocus();
    const int32_t before = v.sound.outVolume;
    QTest::keyClick(out, Qt::Key_Down);
    EXPECT_LT(v.sound.outVolume, before);
    QTest::keyClick(out, Qt::Key_Home);
    EXPECT_EQ(v.sound.outVolume, 65535) << "Home is the top";
    QTest::keyClick(in, Qt::Key_End);
    EXPECT_EQ(v.sound.inVolume, 0) << "End is the bottom";
}

TEST(VolumeControl, AClickElsewhereOrEscapeClosesItAndTheVolumesStay) {
    {
        VolumePopup v;
        v.slider("sliOutVolume")->setValue(1000);
        v.slider("sliInVolume")->setValue(64535);
        EXPECT_EQ(v.sound.outVolume, 64535);
        EXPECT_EQ(v.sound.inVolume, 1000);
        const qsizetype changes = v.sound.log.size();
        // Through the window system, as a real click comes, so that the pop-up sees it.
        QTest::mouseClick(v.anchor->windowHandle(), Qt::LeftButton, Qt::NoModifier, QPoint(10, 10));
        EXPECT_TRUE(v.gone());
        EXPECT_EQ(v.sound.log.size(), changes) << "closing sets no volume";
        EXPECT_EQ(v.sound.outVolume, 64535);
        EXPECT_EQ(v.sound.inVolume, 1000);
    }
    {
        VolumePopup v;
        v.slider("sliOutVolume")->setValue(30000);
        QTest::keyClick(v.window->windowHandle(), Qt::Key_Escape);
        EXPECT_TRUE(v.gone());
        EXPECT_EQ(v.sound.outVolume, 35535);
    }
}

TEST(VolumeControl, Pictures) {
    for (const int number : {German, English}) {
        VolumePopup v(number);
        EXPECT_EQ(v.slider("sliInVolume")->toolTip(), v.language.LanguageString(3218));
        SaveScreenshot(v.window.data(), S("frmVolumeControl-") + v.language.LanguageCode());
    }
}
