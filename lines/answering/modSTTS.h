#pragma once

// modSTTS: the prompts of the remote inquiry, joined from recorded pieces of the prompt folder. There is
// no speech synthesis while a call runs: a prompt is a list of pieces ("willkommen.wav", "3.wav" ...)
// joined into a file of the sound folder that is then played into the line.

#include <QString>
#include <QStringList>

class SoundEngine;

class modSTTS {
public:
    // The file of the answer to a key, and the file of the count of messages; rebuilt each time.
    static constexpr char TmpTts[] = "tmptts.wav";
    static constexpr char TmpTtsCount[] = "tmpttscount.wav";

    explicit modSTTS(const SoundEngine& sound) : m_sound(sound) {}

    // The language whose word order the numbers follow: that of the prompt set in the prompt folder.
    QString languageCode = QStringLiteral("de");

    // Joins a piece of the prompt folder to a file of the sound folder (a missing target becomes a copy of
    // the piece). A piece that cannot be joined leaves a gap in the sentence, nothing more.
    bool PromptAppend(const QString& target, const QString& piece) const;
    // Deletes the target (a failure is passed over) and joins the pieces into it, in order. The full path
    // of the target.
    QString PromptBuild(const QString& target, const QStringList& pieces) const;

    // One piece per character, "0.wav" to "9.wav", of a trimmed string that is wholly numeric; nothing
    // for anything else ("extern", "unbekannt", "+49...").
    static void PromptAppendDigits(QStringList& pieces, const QString& digits);
    // A number in the word order of `languageCode`; the final form is the count before a noun ("eine"
    // neue Nachricht), the other the number itself ("Nachricht Nummer eins").
    void PromptAppendNumber(QStringList& pieces, int n, bool final) const;

    // The prompts, n the number of messages.
    QStringList Welcome(int n) const;
    QStringList Count(int n) const;
    QStringList Help(int n) const;
    QStringList AskDeleteOne(int index) const;
    QStringList AskDeleteAll() const;
    QStringList DeletedOne(int index) const;
    // The report of a deletion of several: "All <n> messages have been deleted."
    QStringList DeletedAll(int n) const;
    QStringList NoMessages() const;
    QStringList Announcement(int index, const QString& msn, const QString& caller) const;

private:
    // "Sie haben" n "neue Nachricht(en)".
    void appendCount(QStringList& pieces, int n) const;

    const SoundEngine& m_sound;
};
