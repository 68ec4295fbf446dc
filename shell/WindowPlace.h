#pragma once

// The place of a window other than the main window and the widths of its list's columns, kept in a
// section of Morva.ini in twips as the main window keeps its own: "Fenster Left", "Fenster Top",
// "Fenster Width", "Fenster Height", and "S_1", "S_2" ... for the columns. The window works in pixels;
// this class turns them into twips and back with the screen's twips per pixel.

#include <QList>
#include <QRect>
#include <QSize>
#include <QString>

#include <vector>

class ProfileStore;

class WindowPlace {
public:
    // The keys of section `section` of the settings file `iniPath`.
    WindowPlace(ProfileStore& profiles, QString iniPath, QString section);

    // The window's frame in pixels: the kept one when the section holds one, else `defaultSize` centred on
    // the primary screen (the first of `screens`); in either case moved onto a present screen where it lies
    // on none (PlaceOnScreens).
    QRect Frame(int twipsPerPixel, const QList<QRect>& screens, QSize defaultSize) const;
    // Keeps `frame` (pixels) in one write of the file.
    void SaveFrame(const QRect& frame, int twipsPerPixel);

    // The widths of `columns` columns in pixels; 0 for a column that has no width kept.
    std::vector<int> ColumnWidths(int columns, int twipsPerPixel) const;
    // Keeps the widths (pixels) as "S_1" ... in one write of the file.
    void SaveColumnWidths(const std::vector<int>& pixels, int twipsPerPixel);

private:
    int value(const QString& key, int defaultValue) const;

    ProfileStore& m_profiles;
    QString m_iniPath;
    QString m_section;
};
