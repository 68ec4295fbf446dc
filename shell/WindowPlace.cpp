#include "shell/WindowPlace.h"

#include "platform/profile/ProfileStore.h"
#include "shell/MainLifecycle.h"

#include <algorithm>
#include <utility>

namespace {
// A key with this value was never written.
constexpr int Missing = -2147483647;
} // namespace

WindowPlace::WindowPlace(ProfileStore& profiles, QString iniPath, QString section)
    : m_profiles(profiles), m_iniPath(std::move(iniPath)), m_section(std::move(section)) {}

int WindowPlace::value(const QString& key, int defaultValue) const {
    return m_profiles.GetPrivateProfileInt(m_section, key, defaultValue, m_iniPath);
}

QRect WindowPlace::Frame(int twipsPerPixel, const QList<QRect>& screens, QSize defaultSize) const {
    const int twips = std::max(1, twipsPerPixel);
    const QRect primary = screens.isEmpty() ? QRect(0, 0, 1024, 768) : screens.front();
    int width = value(QStringLiteral("Fenster Width"), Missing);
    int height = value(QStringLiteral("Fenster Height"), Missing);
    // A size too small to be a window is no size kept.
    width = width == Missing || width / twips < 100 ? defaultSize.width() : width / twips;
    height = height == Missing || height / twips < 80 ? defaultSize.height() : height / twips;
    const int left = value(QStringLiteral("Fenster Left"), Missing);
    const int top = value(QStringLiteral("Fenster Top"), Missing);
    const QRect wanted(left == Missing ? primary.left() + (primary.width() - width) / 2 : left / twips,
                       top == Missing ? primary.top() + (primary.height() - height) / 2 : top / twips, width,
                       height);
    return screens.isEmpty() ? wanted : PlaceOnScreens(wanted, screens);
}

void WindowPlace::SaveFrame(const QRect& frame, int twipsPerPixel) {
    const int twips = std::max(1, twipsPerPixel);
    ProfileBatch batch(m_profiles, m_iniPath);
    m_profiles.WritePrivateProfileString(m_section, QStringLiteral("Fenster Left"),
                                         QString::number(frame.left() * twips), m_iniPath);
    m_profiles.WritePrivateProfileString(m_section, QStringLiteral("Fenster Top"),
                                         QString::number(frame.top() * twips), m_iniPath);
    m_profiles.WritePrivateProfileString(m_section, QStringLiteral("Fenster Width"),
                                         QString::number(frame.width() * twips), m_iniPath);
    m_profiles.WritePrivateProfileString(m_section, QStringLiteral("Fenster Height"),
                                         QString::number(frame.height() * twips), m_iniPath);
    batch.commit();
}

std::vector<int> WindowPlace::ColumnWidths(int columns, int twipsPerPixel) const {
    const int twips = std::max(1, twipsPerPixel);
    std::vector<int> widths;
    for (int column = 1; column <= columns; ++column)
        widths.push_back(std::max(0, value(QStringLiteral("S_%1").arg(column), 0)) / twips);
    return widths;
}

void WindowPlace::SaveColumnWidths(const std::vector<int>& pixels, int twipsPerPixel) {
    const int twips = std::max(1, twipsPerPixel);
    ProfileBatch batch(m_profiles, m_iniPath);
    for (std::size_t column = 0; column < pixels.size(); ++column)
        m_profiles.WritePrivateProfileString(m_section, QStringLiteral("S_%1").arg(column + 1),
                                             QString::number(pixels[column] * twips), m_iniPath);
    batch.commit();
}
