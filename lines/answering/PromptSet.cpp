#include "lines/answering/PromptSet.h"

namespace prompts {
QStringList Languages() {
    return {QStringLiteral("de"), QStringLiteral("uk")};
}
QStringList InstallPrompts(const QString&, const QString&, QStringList*) {
    return {};
}
QStringList NumberPieces(int n, bool final, const QString&) {
    if (n == 1)
        return {final ? QStringLiteral("1e.wav") : QStringLiteral("1.wav")};
    return {QString::number(n) + QStringLiteral(".wav")};
}
} // namespace prompts
