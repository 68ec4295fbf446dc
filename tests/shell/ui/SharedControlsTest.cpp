// The shared input controls driven as a user drives them: the file-name box with its browse button (the
// dialog answered by the test) and its red names, and the number box with its spin bar, keys and wheel.
// With MORVA_SCREENSHOT_DIR set, each control is saved as a picture.

#include "shell/ui/ctlDateiAuswahl.h"
#include "shell/ui/ctlNummerText.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWheelEvent>

#include "tests/support/Screenshot.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

void touch(const QString& path) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
}

// A control on a window of its own, shown, so that focus and clicks work as for a user.
template <class Control> struct Shown {
    Shown() {
        window = std::make_unique<QWidget>();
        auto* layout = new QVBoxLayout(window.get());
        control = new Control(window.get());
        layout->addWidget(control);
        // Something else to hold the focus first.
        other = new QLineEdit(window.get());
        other->setObjectName(S("other"));
        layout->addWidget(other);
        window->resize(320, window->sizeHint().height());
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        window->activateWindow();
        other->setFocus();
    }
    std::unique_ptr<QWidget> window;
    Control* control = nullptr;
    QLineEdit* other = nullptr;
};

// ---- ctlNummerText ----

struct Number : Shown<ctlNummerText> {
    QLineEdit* box() const { return control->findChild<QLineEdit*>(S("txtAnzeige")); }
    QScrollBar* bar() const { return control->findChild<QScrollBar*>(S("VScrollAnzeige")); }

    // Replaces the box's text by typing `text` over all of it.
    void type(const QString& text) const {
        box()->setFocus();
        QTest::keyClick(box(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(box(), text);
    }
    // A click on the spin bar's upper or lower arrow, where the style draws it.
    void clickArrow(bool up) const {
        QScrollBar* b = bar();
        QStyleOptionSlider option;
        option.initFrom(b);
        option.subControls = QStyle::SC_All;
        option.orientation = Qt::Vertical;
        option.minimum = b->minimum();
        option.maximum = b->maximum();
        option.sliderPosition = b->sliderPosition();
        option.sliderValue = b->value();
        option.singleStep = b->singleStep();
        option.pageStep = b->pageStep();
        const QRect arrow = b->style()->subControlRect(
            QStyle::CC_ScrollBar, &option, up ? QStyle::SC_ScrollBarSubLine : QStyle::SC_ScrollBarAddLine, b);
        ASSERT_FALSE(arrow.isEmpty());
        QTest::mouseClick(b, Qt::LeftButton, Qt::NoModifier, arrow.center());
    }
    void wheel(int delta) const {
        const QPointF at(box()->width() / 2.0, box()->height() / 2.0);
        QWheelEvent event(at, box()->mapToGlobal(at), QPoint(), QPoint(0, delta), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(box(), &event);
    }
};

TEST(NumberControl, WithoutLimitsSetItRunsFromZeroToTen) {
    Number n;
    EXPECT_EQ(n.control->MinCount(), 0);
    EXPECT_EQ(n.control->MaxCount(), 10);
    EXPECT_EQ(n.control->Value(), 0);
    EXPECT_EQ(n.box()->text(), S("0"));
    EXPECT_EQ(n.bar()->value(), ctlNummerText::RestPosition);
    SaveScreenshot(n.control, S("ctlNummerText"));

    struct Case {
        int set, value;
    } const cases[] = {{5, 5}, {10, 10}, {11, 10}, {2000000000, 10}, {-1, 0}, {0, 0}};
    for (const Case& c : cases) {
        n.control->setValue(c.set);
        EXPECT_EQ(n.control->Value(), c.value) << c.set;
        EXPECT_EQ(n.box()->text(), QString::number(c.value)) << c.set;
    }
}

TEST(NumberControl, TypedTextIsReadFromItsBeginningAndKeptWithinTheLimits) {
    struct Case {
        int min, max;
        const char* typed;
        int value;
    };
    // Each key is read at once: a lone "-" reads as 0 and the box shows "0", so a "4" typed after it
    // makes "04", read as 4.
    const Case cases[] = {
        {0, 10, "7", 7},   {0, 10, "15", 10},
        {0, 10, "abc", 0}, {3, 10, "abc", 3},
        {3, 10, "1", 3},   {0, 20, "12abc", 12},
        {-5, 5, "-", 0},   {0, 5000, "4711", 4711},
        {0, 10, "-4", 4},  {0, 5000, "99999999999999999999", 5000},
    };
    for (const Case& c : cases) {
        Number n;
        n.control->setMinCount(c.min);
        n.control->setMaxCount(c.max);
        n.type(S(c.typed));
        EXPECT_EQ(n.control->Value(), c.value) << c.typed;
        EXPECT_EQ(n.box()->text(), QString::number(c.value)) << c.typed << ": the box jumps back at once";
    }
}

TEST(NumberControl, TextSetInTheBoxIsRoundedToTheNearestWholeNumber) {
    Number n;
    struct Case {
        const char* text;
        int value;
    } const cases[] = {{"4.6", 5}, {"4.4", 4},  {"2.5", 2}, {"3.5", 4},
                       {"  6", 6}, {"1 2", 10}, {"+7", 7},  {"-4", 0}};
    for (const Case& c : cases) {
        n.box()->setText(S(c.text));
        EXPECT_EQ(n.control->Value(), c.value) << c.text;
        EXPECT_EQ(n.box()->text(), QString::number(c.value)) << c.text;
    }
}

TEST(NumberControl, TheLeadingNumberOfAText) {
    struct Case {
        const char* text;
        double number;
    } const cases[] = {{"12abc", 12},  {"  -3", -3},    {"4.75x", 4.75}, {"1 2", 12},
                       {"abc", 0},     {"", 0},         {"+7", 7},       {"-", 0},
                       {"3.4.5", 3.4}, {"\t8 Rufe", 8}, {"x12", 0},      {".5", 0.5}};
    for (const Case& c : cases)
        EXPECT_DOUBLE_EQ(ctlNummerText::LeadingNumber(S(c.text)), c.number) << c.text;
}

TEST(NumberControl, EveryChangeOfTheTextRaisesChangeWithTheValue) {
    Number n;
    QSignalSpy changes(n.control, &ctlNummerText::Change);
    n.type(S("8"));
    ASSERT_EQ(changes.count(), 1);
    EXPECT_EQ(changes.last().at(0).toInt(), 8);

    n.control->setValue(3);
    ASSERT_EQ(changes.count(), 2) << "a value set shows in the box, which is a change of its text";
    EXPECT_EQ(changes.last().at(0).toInt(), 3);

    n.control->setValue(3);
    EXPECT_EQ(changes.count(), 2) << "the same value leaves the text, so no change";

    QTest::keyClicks(n.box(), S("x"));
    EXPECT_GE(changes.count(), 3);
    EXPECT_EQ(changes.last().at(0).toInt(), 3);
    EXPECT_EQ(n.box()->text(), S("3"));
}

TEST(NumberControl, TheSpinBarsArrowsStepByOneWithinTheLimitsAndRestAgain) {
    Number n;
    n.control->setValue(5);
    QSignalSpy changes(n.control, &ctlNummerText::Change);

    n.clickArrow(true);
    EXPECT_EQ(n.control->Value(), 6);
    EXPECT_EQ(n.box()->text(), S("6"));
    EXPECT_EQ(n.bar()->value(), ctlNummerText::RestPosition);
    EXPECT_TRUE(n.box()->hasFocus()) << "the box takes the focus";
    EXPECT_EQ(changes.count(), 1);

    n.clickArrow(false);
    n.clickArrow(false);
    EXPECT_EQ(n.control->Value(), 4);
    EXPECT_EQ(n.bar()->value(), ctlNummerText::RestPosition);

    n.control->setValue(10);
    n.other->setFocus();
    n.clickArrow(true);
    EXPECT_EQ(n.control->Value(), 10) << "up at MaxCount leaves the value";
    EXPECT_EQ(n.box()->text(), S("10"));
    EXPECT_EQ(n.bar()->value(), ctlNummerText::RestPosition);
    EXPECT_TRUE(n.box()->hasFocus());

    n.control->setMinCount(2);
    n.control->setValue(2);
    n.clickArrow(false);
    EXPECT_EQ(n.control->Value(), 2) << "down at MinCount leaves the value";
    n.clickArrow(true);
    EXPECT_EQ(n.control->Value(), 3);
}

TEST(NumberControl, UpDownKeysAndTheWheelStepTheBox) {
    Number n;
    n.control->setValue(5);
    n.box()->setFocus();
    QTest::keyClick(n.box(), Qt::Key_Up);
    EXPECT_EQ(n.control->Value(), 6);
    QTest::keyClick(n.box(), Qt::Key_Down);
    QTest::keyClick(n.box(), Qt::Key_Down);
    EXPECT_EQ(n.control->Value(), 4);
    EXPECT_EQ(n.box()->text(), S("4"));

    n.wheel(120);
    EXPECT_EQ(n.control->Value(), 5);
    n.wheel(-120);
    n.wheel(-120);
    EXPECT_EQ(n.control->Value(), 3);

    n.control->setValue(10);
    QTest::keyClick(n.box(), Qt::Key_Up);
    n.wheel(120);
    EXPECT_EQ(n.control->Value(), 10);
    n.control->setValue(0);
    QTest::keyClick(n.box(), Qt::Key_Down);
    n.wheel(-120);
    EXPECT_EQ(n.control->Value(), 0);
}

TEST(NumberControl, NewLimitsBringTheValueWithinThem) {
    Number n;
    n.control->setMaxCount(5000);
    n.control->setValue(300);
    n.control->setMaxCount(20);
    EXPECT_EQ(n.control->Value(), 20);
    EXPECT_EQ(n.box()->text(), S("20"));
    n.control->setMinCount(25);
    EXPECT_EQ(n.control->Value(), 20) << "raised to MinCount, then lowered to MaxCount";
    n.control->setMaxCount(30);
    n.control->setMinCount(25);
    EXPECT_EQ(n.control->Value(), 25);
}

TEST(NumberControl, ADisabledControlDoesNotStep) {
    Number n;
    n.control->setValue(4);
    n.control->setEnabled(false);
    EXPECT_FALSE(n.box()->isEnabled());
    EXPECT_FALSE(n.bar()->isEnabled());
    n.wheel(120);
    n.clickArrow(true);
    EXPECT_EQ(n.control->Value(), 4);
}

// ---- ctlDateiAuswahl ----

struct FileBox : Shown<ctlDateiAuswahl> {
    FileBox() {
        base = dir.path() + S("/sound/");
        QDir().mkpath(base);
        control->setFileAsker([this](QWidget* owner, const ctlDateiAuswahl::FileRequest& request) {
            asked = request;
            askedOwner = owner;
            return answer;
        });
    }
    QLineEdit* box() const { return control->findChild<QLineEdit*>(S("txtDateiname")); }
    QToolButton* browse() const { return control->findChild<QToolButton*>(S("cmdSelectFile")); }
    QToolButton* play() const { return control->findChild<QToolButton*>(S("cmdShowPlayRecord")); }
    bool red() const { return box()->palette().color(QPalette::Text) == QColor(255, 0, 0); }
    void type(const QString& text) const {
        box()->setFocus();
        QTest::keyClick(box(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(box(), text);
    }

    QTemporaryDir dir;
    QString base; // a folder "sound/" inside dir, with its closing "/"
    QString answer;
    std::optional<ctlDateiAuswahl::FileRequest> asked;
    QWidget* askedOwner = nullptr;
};

TEST(FileNameControl, ItsPropertiesStartWithTheirDefaults) {
    FileBox f;
    EXPECT_EQ(f.control->DialogHeader(), S("Datei auswählen..."));
    EXPECT_EQ(f.control->DialogFileSelect(), S("Alle Dateien (*.*)|*.*"));
    EXPECT_FALSE(f.control->ShowPlayButton());
    EXPECT_FALSE(f.control->ShowRed());
    EXPECT_FALSE(f.control->OnlyFolders());
    EXPECT_TRUE(f.control->DefaultPath().isEmpty());
    EXPECT_TRUE(f.control->FilePath().isEmpty());
    EXPECT_EQ(f.browse()->toolTip(), S("Datei auswählen..."));
    EXPECT_FALSE(f.play()->isVisible());
    f.control->setDialogHeader(S("Ansage auswählen ..."));
    EXPECT_EQ(f.browse()->toolTip(), S("Ansage auswählen ..."));
    f.control->setFilePath(S("/home/user/sound/ansage.wav"));
    SaveScreenshot(f.control, S("ctlDateiAuswahl"));
}

TEST(FileNameControl, WindowsFiltersBecomeQtFilters) {
    struct Case {
        const char* windows;
        const char* qt;
    } const cases[] = {
        {"Alle Dateien (*.*)|*.*", "Alle Dateien (*)"},
        {"Sound Dateien (*.wav)|*.wav", "Sound Dateien (*.wav)"},
        {"DInfo / Klicktel Dateien|Dinfowin.exe;dinfo32.exe;kTel32.exe",
         "DInfo / Klicktel Dateien (Dinfowin.exe dinfo32.exe kTel32.exe)"},
        {"Wave (*.wav)|*.wav|Alle Dateien (*.*)|*.*", "Wave (*.wav);;Alle Dateien (*)"},
        {"Texte|*.txt; *.log", "Texte (*.txt *.log)"},
        {"Nur ein Text", "Nur ein Text (*)"},
        {"", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ctlDateiAuswahl::QtFileFilter(S(c.windows)), S(c.qt)) << c.windows;
}

TEST(FileNameControl, ANameInsideTheDefaultFolderShowsRelativeAndOneElsewhereInFull) {
    FileBox f;
    f.control->setDefaultPath(f.base);
    QSignalSpy changed(f.control, &ctlDateiAuswahl::FilePathChanged);
    struct Case {
        QString name, shown;
    } const cases[] = {
        {f.base + S("ansage.wav"), S("ansage.wav")},
        {f.base + S("AB/gruss.wav"), S("AB/gruss.wav")},
        {f.dir.path() + S("/other/x.wav"), f.dir.path() + S("/other/x.wav")},
        {S("/media/usb/x.wav"), S("/media/usb/x.wav")},
        {S("relative.wav"), S("relative.wav")},
        {QString(), QString()},
    };
    for (const Case& c : cases) {
        f.control->setFilePath(c.name);
        EXPECT_EQ(f.box()->text(), c.shown) << c.name.toStdString();
        EXPECT_EQ(f.control->FilePath(), c.shown) << "FilePath returns the box's text";
        EXPECT_EQ(f.control->Text(), c.shown);
        ASSERT_FALSE(changed.isEmpty());
        EXPECT_EQ(changed.last().at(0).toString(), c.shown);
    }

    FileBox plain;
    plain.control->setFilePath(f.base + S("ansage.wav"));
    EXPECT_EQ(plain.control->FilePath(), f.base + S("ansage.wav")) << "without a default folder, in full";
}

TEST(FileNameControl, TheBrowseButtonAsksWithTitleFilterAndTheCompletedNameAndShowsTheAnswer) {
    FileBox f;
    f.control->setDefaultPath(f.base);
    f.control->setDialogHeader(S("Ansage auswählen ..."));
    f.control->setDialogFileSelect(S("Sound Dateien (*.wav)|*.wav"));
    f.control->setFilePath(f.base + S("alt.wav"));
    QSignalSpy changed(f.control, &ctlDateiAuswahl::FilePathChanged);

    f.answer = f.base + S("AB/neu.wav");
    QTest::mouseClick(f.browse(), Qt::LeftButton);
    ASSERT_TRUE(f.asked.has_value());
    EXPECT_FALSE(f.asked->folder);
    EXPECT_EQ(f.asked->title, S("Ansage auswählen ..."));
    EXPECT_EQ(f.asked->filter, S("Sound Dateien (*.wav)"));
    EXPECT_EQ(f.asked->start, f.base + S("alt.wav")) << "the box's relative name completed";
    EXPECT_EQ(f.askedOwner, f.control);
    EXPECT_EQ(f.box()->text(), S("AB/neu.wav"));
    ASSERT_EQ(changed.count(), 1);
    EXPECT_EQ(changed.last().at(0).toString(), S("AB/neu.wav"));

    f.answer = S("/media/usb/gruss.wav");
    QTest::mouseClick(f.browse(), Qt::LeftButton);
    EXPECT_EQ(f.asked->start, f.base + S("AB/neu.wav"));
    EXPECT_EQ(f.box()->text(), S("/media/usb/gruss.wav"));
    EXPECT_EQ(changed.count(), 2);

    f.answer.clear(); // Cancel
    QTest::mouseClick(f.browse(), Qt::LeftButton);
    EXPECT_EQ(f.box()->text(), S("/media/usb/gruss.wav")) << "Cancel changes nothing";
    EXPECT_EQ(changed.count(), 2);
}

TEST(FileNameControl, AFolderChosenEndsWithASlashAndCancelChangesNothing) {
    FileBox f;
    f.control->setOnlyFolders(true);
    f.control->setFilePath(S("/var/lib/morva/"));
    QSignalSpy changed(f.control, &ctlDateiAuswahl::FilePathChanged);

    f.answer = f.dir.path() + S("/sound");
    QTest::mouseClick(f.browse(), Qt::LeftButton);
    ASSERT_TRUE(f.asked.has_value());
    EXPECT_TRUE(f.asked->folder);
    EXPECT_EQ(f.asked->title, S("Datei auswählen..."));
    EXPECT_EQ(f.asked->start, S("/var/lib/morva/"));
    EXPECT_EQ(f.box()->text(), f.dir.path() + S("/sound/"));
    EXPECT_EQ(changed.count(), 1);

    f.answer = S("/srv/klang/");
    QTest::mouseClick(f.browse(), Qt::LeftButton);
    EXPECT_EQ(f.box()->text(), S("/srv/klang/")) << "no second slash";

    f.answer.clear();
    QTest::mouseClick(f.browse(), Qt::LeftButton);
    EXPECT_EQ(f.box()->text(), S("/srv/klang/"));
    EXPECT_EQ(changed.count(), 2);
}

TEST(FileNameControl, ShowRedColoursANameThatCannotBeOpenedOnlyWhenTheTextOrTheFolderChanges) {
    FileBox f;
    touch(f.base + S("da.wav"));
    f.control->setDefaultPath(f.base);
    f.type(S("fehlt.wav"));
    EXPECT_FALSE(f.red()) << "ShowRed is off";
    EXPECT_FALSE(f.control->isShownRed());

    QSignalSpy changed(f.control, &ctlDateiAuswahl::FilePathChanged);
    f.control->setShowRed(true);
    EXPECT_TRUE(f.red()) << "setting ShowRed checks at once";
    EXPECT_TRUE(f.control->isShownRed());
    ASSERT_EQ(changed.count(), 1) << "setting ShowRed raises FilePathChanged";
    EXPECT_EQ(changed.last().at(0).toString(), S("fehlt.wav"));
    SaveScreenshot(f.control, S("ctlDateiAuswahl_red"));

    f.type(S("da.wav"));
    EXPECT_FALSE(f.red()) << "completed against the default folder, it opens";

    ASSERT_TRUE(QFile::remove(f.base + S("da.wav")));
    EXPECT_FALSE(f.red()) << "a file deleted later is not noticed by itself";
    f.control->setDefaultPath(f.base);
    EXPECT_TRUE(f.red()) << "setting the default folder checks again";

    touch(f.base + S("da.wav"));
    EXPECT_TRUE(f.red());
    QTest::keyClick(f.box(), Qt::Key_Backspace);
    QTest::keyClicks(f.box(), S("v"));
    EXPECT_FALSE(f.red()) << "typing checks again";

    f.control->setDefaultPath(f.dir.path());
    EXPECT_TRUE(f.red()) << "da.wav is not in the new folder";

    f.control->setShowRed(false);
    EXPECT_FALSE(f.red());
    EXPECT_FALSE(f.control->isShownRed());
}

TEST(FileNameControl, AFolderNameCountsAsOpenedOnlyInAFolderControl) {
    FileBox f;
    f.control->setShowRed(true);
    f.control->setFilePath(f.base);
    EXPECT_TRUE(f.red()) << "a folder is not a file to open";
    f.control->setOnlyFolders(true);
    EXPECT_FALSE(f.red());
    f.control->setFilePath(f.dir.path() + S("/fehlt/"));
    EXPECT_TRUE(f.red());
}

TEST(FileNameControl, ThePlayButtonShowsWhenAskedAndRequestsThePlayAndRecordWindow) {
    FileBox f;
    f.control->setShowPlayButton(true);
    EXPECT_TRUE(f.play()->isVisible());
    EXPECT_TRUE(f.control->ShowPlayButton());
    f.control->setFilePath(S("/home/user/sound/ansage.wav"));
    SaveScreenshot(f.control, S("ctlDateiAuswahl_play"));
    QSignalSpy requested(f.control, &ctlDateiAuswahl::playRecordRequested);
    QTest::mouseClick(f.play(), Qt::LeftButton);
    EXPECT_EQ(requested.count(), 1);
    EXPECT_FALSE(f.asked.has_value()) << "the browse dialog stays closed";

    f.control->setShowPlayButton(false);
    EXPECT_FALSE(f.play()->isVisible());
}

TEST(FileNameControl, ADisabledControlTakesNoInput) {
    FileBox f;
    f.control->setShowPlayButton(true);
    f.control->setEnabled(false);
    EXPECT_FALSE(f.box()->isEnabled());
    EXPECT_FALSE(f.browse()->isEnabled());
    EXPECT_FALSE(f.play()->isEnabled());
    f.answer = S("/tmp/x.wav");
    QTest::mouseClick(f.browse(), Qt::LeftButton);
    EXPECT_FALSE(f.asked.has_value());
    EXPECT_TRUE(f.box()->text().isEmpty());
}

} // namespace
