#pragma once

// The volume pop-up under the main window's status panel "VOL": two upright sliders, sliOutVolume for the
// volume of the program's own playing and sliInVolume for the recording level. Both run from 0 to 65535
// upside down, the loudest at the top: a slider's value is 65535 minus the volume. Each move of a slider
// (drag, keys, wheel) sets its volume at once; there is nothing to confirm. The window has no frame and
// closes at the first click elsewhere, or on Escape, and the volumes last set stay in force. It deletes
// itself when it closes.

#include <QWidget>

class Language;
class QSlider;
class VolumeSound;

class frmVolumeControl : public QWidget {
    Q_OBJECT
public:
    static constexpr int MaxVolume = 65535;

    // `sound` must outlive the window. With a parent the window is also deleted with it.
    frmVolumeControl(const Language& language, VolumeSound& sound, QWidget* parent = nullptr);

    // Shows the window over `panel`, its right edge at the panel's: above it when there is room there (the
    // panel is in the status bar at the bottom of its window), else below it; always on the panel's screen.
    void popupAt(QWidget* panel);

public Q_SLOTS:
    void sliOutVolume_Scroll();
    void sliInVolume_Scroll();

private:
    void Form_Load();

    VolumeSound& m_sound;
    QSlider* m_sliOutVolume = nullptr;
    QSlider* m_sliInVolume = nullptr;
};
