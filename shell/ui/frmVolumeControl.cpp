#include "shell/ui/frmVolumeControl.h"

#include "shell/base/Language.h"
#include "shell/ui/PlayRecordSound.h"

#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QScreen>
#include <QSlider>
#include <QVBoxLayout>

#include <algorithm>

frmVolumeControl::frmVolumeControl(const Language& language, VolumeSound& sound, QWidget* parent)
    : QWidget(parent, Qt::Popup | Qt::FramelessWindowHint), m_sound(sound) {
    setObjectName(QStringLiteral("frmVolumeControl"));
    setAttribute(Qt::WA_DeleteOnClose);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* frame = new QFrame(this);
    frame->setObjectName(QStringLiteral("fraVolume"));
    frame->setFrameStyle(QFrame::Box | QFrame::Plain);
    outer->addWidget(frame);
    auto* grid = new QGridLayout(frame);
    grid->setContentsMargins(8, 8, 8, 6);
    grid->setHorizontalSpacing(12);

    const auto slider = [this, frame, grid](int column, const char* name, const QString& text) {
        auto* s = new QSlider(Qt::Vertical, frame);
        s->setObjectName(QString::fromLatin1(name));
        s->setRange(0, MaxVolume);
        // The smallest value, the loudest, at the top; the keys and the wheel move the way it looks.
        s->setInvertedAppearance(true);
        s->setInvertedControls(true);
        s->setSingleStep(MaxVolume / 50);
        s->setPageStep(MaxVolume / 10);
        s->setMinimumHeight(120);
        // The groove is filled below the handle, where the volume is: the styles fill it on the side of
        // the smallest value, which here is the top.
        s->setStyleSheet(QStringLiteral(
            "QSlider::groove:vertical { width: 4px; border-radius: 2px; background: palette(highlight); }"
            "QSlider::sub-page:vertical { border-radius: 2px; background: palette(mid); }"
            "QSlider::handle:vertical { height: 12px; margin: 0 -6px; border-radius: 3px;"
            " border: 1px solid palette(dark); background: palette(button); }"));
        s->setToolTip(text);
        grid->addWidget(s, 0, column, Qt::AlignHCenter);
        auto* caption = new QLabel(text, frame);
        caption->setObjectName(QString::fromLatin1(name) + QStringLiteral("Label"));
        caption->setAlignment(Qt::AlignHCenter);
        grid->addWidget(caption, 1, column);
        return s;
    };
    m_sliOutVolume = slider(0, "sliOutVolume", language.LanguageString(3217));
    m_sliInVolume = slider(1, "sliInVolume", language.LanguageString(3218));

    Form_Load();
    connect(m_sliOutVolume, &QSlider::valueChanged, this, &frmVolumeControl::sliOutVolume_Scroll);
    connect(m_sliInVolume, &QSlider::valueChanged, this, &frmVolumeControl::sliInVolume_Scroll);
}

void frmVolumeControl::Form_Load() {
    m_sliOutVolume->setValue(MaxVolume - m_sound.SoundGetVolume());
    m_sliInVolume->setValue(MaxVolume - m_sound.GetInVolume());
}

void frmVolumeControl::sliOutVolume_Scroll() {
    m_sound.SoundSetVolume(MaxVolume - m_sliOutVolume->value());
}

void frmVolumeControl::sliInVolume_Scroll() {
    m_sound.SetInVolume(MaxVolume - m_sliInVolume->value());
}

void frmVolumeControl::popupAt(QWidget* panel) {
    adjustSize();
    const QRect area = panel->screen()->availableGeometry();
    const QPoint topLeft = panel->mapToGlobal(QPoint(0, 0));
    const int top = topLeft.y();
    const int bottom = top + panel->height();
    const bool above = top - area.top() >= height() || top - area.top() >= area.bottom() + 1 - bottom;
    QPoint at(topLeft.x() + panel->width() - width(), above ? top - height() : bottom);
    at.setX(std::clamp(at.x(), area.left(), std::max(area.left(), area.right() + 1 - width())));
    at.setY(std::clamp(at.y(), area.top(), std::max(area.top(), area.bottom() + 1 - height())));
    move(at);
    show();
    raise();
    activateWindow();
    m_sliOutVolume->setFocus(Qt::PopupFocusReason);
}
