#pragma once

#include <QString>
#include <QStringList>

namespace prompts {
inline constexpr char DefaultGreeting[] = "standardansage.wav";
QStringList Languages();
QStringList InstallPrompts(const QString& code, const QString& folder, QStringList* failed = nullptr);
QStringList NumberPieces(int n, bool final, const QString& code);
} // namespace prompts
