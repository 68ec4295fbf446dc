#include "platform/hotkeys/GlobalHotkeys.h"

// Interim: replaced by the X11 grab and the portal.
namespace hotkeys {
namespace {
class NoHotkeys : public GlobalHotkeys {
public:
    bool registerKey(int, const HotkeyKey& key, QString* error) override {
        if (key.vkey == 0)
            return true;
        if (error)
            *error = QStringLiteral("not built yet");
        return false;
    }
    void unregisterKey(int) override {}
    QString kind() const override { return QStringLiteral("none"); }
};
} // namespace
std::unique_ptr<GlobalHotkeys> CreateGlobalHotkeys(QObject* parent) {
    auto keys = std::make_unique<NoHotkeys>();
    keys->setParent(parent);
    return keys;
}
QString MarkedText(int) {
    return QString();
}
} // namespace hotkeys
