#include "lines/answering/modSTTS.h"

#include "lines/answering/PromptSet.h"
#include "lines/sound/SoundEngine.h"
#include "platform/fdsnd/FdSndLibrary.h"

#include <QFile>

namespace {
QString piece(const char* name) {
    return QString::fromUtf8(name) + QStringLiteral(".wav");
}
} // namespace

bool modSTTS::PromptAppend(const QString& target, const QString& piece) const {
    return FdSndLibrary::fdsnd_AddToFile(m_sound.SoundFullPath(target), m_sound.PromptFullPath(piece)) >= 0;
}

QString modSTTS::PromptBuild(const QString& target, const QStringList& pieces) const {
    const QString path = m_sound.SoundFullPath(target);
    QFile::remove(path);
    for (const QString& name : pieces)
        PromptAppend(path, name);
    return path;
}

void modSTTS::PromptAppendDigits(QStringList& pieces, const QString& digits) {
    const QString trimmed = digits.trimmed();
    if (trimmed.isEmpty())
        return;
    for (const QChar c : trimmed)
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return;
    for (const QChar c : trimmed)
        pieces << QString(c) + QStringLiteral(".wav");
}

void modSTTS::PromptAppendNumber(QStringList& pieces, int n, bool final) const {
    pieces << PromptSet::NumberPieces(n, final, languageCode);
}

void modSTTS::appendCount(QStringList& pieces, int n) const {
    pieces << piece("Siehaben");
    PromptAppendNumber(pieces, n, true);
    pieces << (n == 1 ? piece("neueNt") : piece("neueNn"));
}

QStringList modSTTS::Welcome(int n) const {
    QStringList pieces{piece("willkommen")};
    appendCount(pieces, n);
    pieces << piece("04help");
    return pieces;
}

QStringList modSTTS::Count(int n) const {
    if (n == 0)
        return NoMessages();
    QStringList pieces;
    appendCount(pieces, n);
    return pieces;
}

QStringList modSTTS::Help(int n) const {
    QStringList pieces{piece("help")};
    appendCount(pieces, n);
    return pieces;
}

QStringList modSTTS::AskDeleteOne(int index) const {
    QStringList pieces{piece("oklöschen1")};
    PromptAppendNumber(pieces, index, false);
    pieces << piece("oklöschen2");
    return pieces;
}

QStringList modSTTS::AskDeleteAll() const {
    return {piece("allelöschen")};
}

QStringList modSTTS::DeletedOne(int index) const {
    QStringList pieces{piece("AnrufNummer")};
    PromptAppendNumber(pieces, index, false);
    pieces << piece("deleted");
    return pieces;
}

QStringList modSTTS::DeletedAll(int n) const {
    if (n == 1)
        return DeletedOne(1);
    QStringList pieces{piece("empty")};
    PromptAppendNumber(pieces, n, true);
    pieces << piece("anrgelöscht");
    return pieces;
}

QStringList modSTTS::NoMessages() const {
    return {piece("noanrufe")};
}

QStringList modSTTS::Announcement(int index, const QString& msn, const QString& caller) const {
    QStringList pieces{piece("nachrichtnr")};
    PromptAppendNumber(pieces, index, false);
    pieces << piece("fMSN");
    PromptAppendDigits(pieces, msn);
    pieces << piece("von");
    PromptAppendDigits(pieces, caller);
    return pieces;
}
