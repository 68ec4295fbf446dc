#include "bench/BenchOffice.h"

#include "tools/standinline/StandInLine.h"

#include <QRandomGenerator>

namespace bench {

QString entryNumber(int book, int entry, int which) {
    static const char* const heads[3] = {"089", "030", "0171"};
    return QString::fromLatin1(heads[which]) + QString::number(1000000 + book * 100000 + entry);
}

void CreateOfficeBooks(Program& program) {
    program.settings().Vorwahl = QStringLiteral("089");
    ProfileStore& ini = program.profiles();
    const QString path = program.iniPath();
    ini.WritePrivateProfileString(QStringLiteral("PhoneBook"), QStringLiteral("Anzahl"),
                                  QString::number(BookCount + 1), path);
    for (int b = 0; b < BookCount; ++b)
        ini.WritePrivateProfileString(QStringLiteral("PhoneBook"), QStringLiteral("PhName%1").arg(b + 2),
                                      QStringLiteral("Office%1.txt").arg(b), path);
    program.Phonebooks().Phonebooks_create();
}

Office::Office() {
    program = std::make_unique<Program>(clock, std::make_unique<StandInLine>(), dir.path());
    CreateOfficeBooks(*program);
    colPhonebook& books = program->Phonebooks();
    for (int b = 0; b < BookCount; ++b)
        for (int e = 0; e < EntriesPerBook; ++e)
            books.Item(b + 2)->EintragAdd(QStringLiteral("Teilnehmer %1-%2").arg(b).arg(e), QString(),
                                          QString(), QStringLiteral("München"), QString(),
                                          entryNumber(b, e, 0), entryNumber(b, e, 1), entryNumber(b, e, 2),
                                          QString());

    // The log: calls spread evenly over three years up to now. Half the partners are in a book; a
    // third of the calls are outgoing; of the incoming ones a fifth rang unanswered and a tenth left
    // a message. Calls of the last two weeks are new.
    modEZGDB& log = program->callLog();
    log.SEZGDBOpen();
    QRandomGenerator random(1);
    const double first = DateNumber(Now) - LogDays;
    for (int i = 0; i < LogRecords; ++i) {
        EZGRecord r;
        const int kind = int(random.bounded(10));
        r.Richtung = kind < 3 ? 2 : 1;
        r.Verbindungsstatus = r.Richtung == 2 ? 16 : (kind < 5 ? 134 : 144);
        if (r.Richtung == 1 && kind == 9) {
            r.Verbindungsstatus = 135;
            r.Tondatei = QStringLiteral("Msg%1.wav").arg(i);
        }
        r.PartnerRufnummer = random.bounded(2) == 0
                                 ? entryNumber(int(random.bounded(BookCount)),
                                               int(random.bounded(EntriesPerBook)), int(random.bounded(3)))
                                 : QStringLiteral("040%1").arg(random.bounded(10000000));
        r.MSN = QStringLiteral("555%1").arg(random.bounded(3));
        r.Gesprächsdauer = random.bounded(600);
        r.Gebühr = random.bounded(200) / 100.0;
        const double date = first + double(i) * LogDays / LogRecords;
        r.Neu = date > DateNumber(Now) - 14 ? 1 : 0;
        log.SEZGDBSave_EZG_Eintrag(date, r);
    }
    // As the next start finds it: the date index in its file.
    log.SEZGDBClose();
    log.SEZGDBOpen();
}

Office& office() {
    static Office instance;
    return instance;
}

} // namespace bench
