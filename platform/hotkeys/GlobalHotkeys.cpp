#include "platform/hotkeys/GlobalHotkeys.h"

#include "platform/hotkeys/PortalHotkeys.h"
#include "platform/hotkeys/X11Hotkeys.h"

namespace hotkeys {

namespace {

// Where there is neither an X server nor a Wayland desktop: every key is refused, saying why.
class NoHotkeys : public GlobalHotkeys {
public:
    explicit NoHotkeys(QString reason) : m_reason(std::move(reason)) {}
    bool registerKey(int, const HotkeyKey& key, QString* error) override {
        if (key.vkey == 0)
            return true;
        if (error)
            *error = m_reason;
        return false;
    }
    void unregisterKey(int) override {}
    QString kind() const override { return QStringLiteral("none"); }

private:
    QString m_reason;
};

} // namespace

HotkeyWay ChooseHotkeyWay(const QString& sessionType, bool hasWaylandDisplay, bool hasX11Display) {
    if (sessionType.compare(QLatin1String("wayland"), Qt::CaseInsensitive) == 0)
        return HotkeyWay::Portal;
    if (hasWaylandDisplay && !hasX11Display)
        return HotkeyWay::Portal;
    return hasX11Display ? HotkeyWay::X11 : HotkeyWay::None;
}

std::unique_ptr<GlobalHotkeys> CreateGlobalHotkeys(QObject* parent) {
    std::unique_ptr<GlobalHotkeys> keys;
    switch (ChooseHotkeyWay(qEnvironmentVariable("XDG_SESSION_TYPE"),
                            !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"),
                            !qEnvironmentVariableIsEmpty("DISPLAY"))) {
    case HotkeyWay::Portal:
        keys = std::make_unique<PortalHotkeys>();
        break;
    case HotkeyWay::X11: {
        auto x11 = std::make_unique<X11Hotkeys>();
        if (x11->isConnected())
            keys = std::move(x11);
        else
            keys = std::make_unique<NoHotkeys>(
                QStringLiteral("the X server at %1 cannot be reached").arg(qEnvironmentVariable("DISPLAY")));
        break;
    }
    case HotkeyWay::None:
        keys =
            std::make_unique<NoHotkeys>(QStringLiteral("no X server and no Wayland desktop for global keys"));
        break;
    }
    keys->setParent(parent);
    return keys;
}

} // namespace hotkeys
