#include "tools/capiexchange/ExchangeCommands.h"

#include "tools/capiexchange/CapiExchange.h"

#include <QRegularExpression>

namespace exchange {

namespace {

CommandResult fail(const QString& text) {
    return {false, text};
}
CommandResult done(const QString& text) {
    return {true, text};
}

bool isCallId(const QString& word) {
    bool ok = false;
    return word.toInt(&ok) > 0 && ok;
}

// A CAPI reason: "0x3491" or four hex digits.
bool parseReason(const QString& word, uint16_t* reason) {
    static const QRegularExpression form(QStringLiteral("^(0[xX][0-9a-fA-F]{1,4}|[0-9a-fA-F]{4})$"));
    if (!form.match(word).hasMatch())
        return false;
    *reason = uint16_t(QStringView(word)
                           .mid(word.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? 2 : 0)
                           .toUInt(nullptr, 16));
    return true;
}

// The call a command names, or the newest call when it names none.
bool pickCall(CapiExchange& exchange, const QString* word, int* id, QString* error) {
    if (word) {
        if (!isCallId(*word)) {
            *error = QStringLiteral("'%1' is no call number").arg(*word);
            return false;
        }
        *id = word->toInt();
    } else {
        *id = exchange.lastCallId();
    }
    if (!exchange.call(*id)) {
        *error = *id == 0 ? QStringLiteral("there is no call yet")
                          : QStringLiteral("there is no call %1").arg(*id);
        return false;
    }
    return true;
}

QString describe(const ExchangeCall& c) {
    const QString from = c.incoming ? callerText(c) : QString::fromLatin1(c.calling);
    QString text = QStringLiteral("call %1: %2 %3 -> %4, %5")
                       .arg(c.id)
                       .arg(c.incoming ? QStringLiteral("incoming") : QStringLiteral("outgoing"), from,
                            QString::fromLatin1(c.called), stateName(c.state));
    if (c.applId)
        text += QStringLiteral(", application %1").arg(c.applId);
    if (c.state == ExchangeCall::Ended || c.state == ExchangeCall::Clearing)
        text += QStringLiteral(", reason 0x%1").arg(c.endReason, 4, 16, QLatin1Char('0'));
    if (!c.received.isEmpty() || c.blocksSent)
        text +=
            QStringLiteral(", %1 bytes received, %2 blocks sent").arg(c.received.size()).arg(c.blocksSent);
    return text;
}

CommandResult ring(CapiExchange& exchange, const QStringList& args) {
    if (args.size() < 2 || args.size() > 3)
        return fail(QStringLiteral("usage: ring FROM TO [CIP]  (FROM - for a suppressed number)"));
    QString from = args[0];
    uint8_t type = capi::PartyNumber::Subscriber;
    if (from == QLatin1String("-")) {
        from.clear();
        type = capi::PartyNumber::Unknown;
    } else if (from.startsWith(QLatin1Char('+'))) {
        from.remove(0, 1);
        type = capi::PartyNumber::International;
    } else if (from.startsWith(QLatin1String("00"))) {
        from.remove(0, 2);
        type = capi::PartyNumber::International;
    } else if (from.startsWith(QLatin1Char('0'))) {
        from.remove(0, 1);
        type = capi::PartyNumber::National;
    }
    static const QRegularExpression digits(QStringLiteral("^[0-9]*$"));
    if (!digits.match(from).hasMatch() || (from.isEmpty() && args[0] != QLatin1String("-")))
        return fail(QStringLiteral("'%1' is no caller number (digits, +digits or -)").arg(args[0]));
    if (args[1].isEmpty() || !digits.match(args[1]).hasMatch())
        return fail(QStringLiteral("'%1' is no called number (digits)").arg(args[1]));
    uint16_t cip = capi::CipTelephony;
    if (args.size() == 3) {
        bool ok = false;
        cip = uint16_t(args[2].toUShort(&ok));
        if (!ok || cip > 31)
            return fail(QStringLiteral("'%1' is no CIP value (0..31)").arg(args[2]));
    }
    const int id = exchange.offerCall(from.toLatin1(), args[1].toLatin1(), cip, type);
    return done(describe(*exchange.call(id)));
}

CommandResult hangup(CapiExchange& exchange, const QStringList& args) {
    if (args.size() > 2)
        return fail(QStringLiteral("usage: hangup [CALL] [REASON]  (reason in hex, e.g. 0x3490)"));
    const QString* callWord = nullptr;
    uint16_t reason = capi::NormalClearing;
    if (args.size() == 2) {
        callWord = &args[0];
        if (!parseReason(args[1], &reason))
            return fail(QStringLiteral("'%1' is no reason (hex, e.g. 0x3491)").arg(args[1]));
    } else if (args.size() == 1 && !parseReason(args[0], &reason)) {
        callWord = &args[0];
    }
    int id = 0;
    QString error;
    if (!pickCall(exchange, callWord, &id, &error))
        return fail(error);
    if (!exchange.hangUp(id, reason))
        return fail(QStringLiteral("call %1 is already over").arg(id));
    return done(QStringLiteral("call %1: the far end hangs up, reason 0x%2")
                    .arg(id)
                    .arg(reason, 4, 16, QLatin1Char('0')));
}

CommandResult answer(CapiExchange& exchange, const QStringList& args) {
    if (args.size() > 1)
        return fail(QStringLiteral("usage: answer [CALL]"));
    int id = 0;
    QString error;
    if (!pickCall(exchange, args.isEmpty() ? nullptr : &args[0], &id, &error))
        return fail(error);
    if (!exchange.answer(id))
        return fail(QStringLiteral("call %1 is no ringing outgoing call").arg(id));
    return done(QStringLiteral("call %1: the far end answers").arg(id));
}

CommandResult outgoing(CapiExchange& exchange, const QStringList& args) {
    static const QStringList names{QStringLiteral("ring"), QStringLiteral("answer"), QStringLiteral("busy"),
                                   QStringLiteral("unallocated"), QStringLiteral("noanswer")};
    const int which = args.isEmpty() ? -1 : int(names.indexOf(args[0]));
    if (which < 0 || args.size() > 2 || (args.size() == 2 && which != 4))
        return fail(QStringLiteral("usage: outgoing ring|answer|busy|unallocated|noanswer [MS]"));
    int ms = 30000;
    if (args.size() == 2) {
        bool ok = false;
        ms = args[1].toInt(&ok);
        if (!ok || ms < 0)
            return fail(QStringLiteral("'%1' is no time in milliseconds").arg(args[1]));
    }
    exchange.setOutgoing(CapiExchange::Outgoing(which), ms);
    return done(QStringLiteral("outgoing calls: %1").arg(args[0]));
}

CommandResult dtmf(CapiExchange& exchange, QStringList args) {
    QString mode;
    if (!args.isEmpty() &&
        (args.last() == QLatin1String("inband") || args.last() == QLatin1String("facility")))
        mode = args.takeLast();
    static const QRegularExpression digits(QStringLiteral("^[0-9*#A-Da-d]+$"));
    if (args.isEmpty() || args.size() > 2 || !digits.match(args.last()).hasMatch())
        return fail(QStringLiteral("usage: dtmf [CALL] DIGITS [inband|facility]  (digits 0-9 * # A-D)"));
    int id = 0;
    QString error;
    if (!pickCall(exchange, args.size() == 2 ? &args[0] : nullptr, &id, &error))
        return fail(error);
    const QByteArray tones = args.last().toUpper().toLatin1();
    if (mode.isEmpty())
        mode = exchange.call(id)->facilityDtmf ? QStringLiteral("facility") : QStringLiteral("inband");
    if (mode == QLatin1String("facility")) {
        if (!exchange.sendDtmfFacility(id, tones))
            return fail(QStringLiteral("call %1 is not connected or its application does not listen for DTMF")
                            .arg(id));
    } else if (!exchange.sendDtmfInband(id, tones)) {
        return fail(QStringLiteral("call %1 is not connected").arg(id));
    }
    return done(QStringLiteral("call %1: DTMF %2 %3").arg(id).arg(QString::fromLatin1(tones), mode));
}

CommandResult media(CapiExchange& exchange, const QStringList& args, bool play) {
    const QString usage = play ? QStringLiteral("usage: play [CALL] FILE  (FILE - stops)")
                               : QStringLiteral("usage: record [CALL] FILE  (FILE - stops)");
    if (args.isEmpty() || args.size() > 2)
        return fail(usage);
    int id = 0;
    QString error;
    if (!pickCall(exchange, args.size() == 2 ? &args[0] : nullptr, &id, &error))
        return fail(error);
    const QString file = args.last() == QLatin1String("-") ? QString() : args.last();
    const bool ok = play ? exchange.playFile(id, file, &error) : exchange.recordTo(id, file, 3, &error);
    if (!ok)
        return fail(error);
    if (file.isEmpty())
        return done(QStringLiteral("call %1: %2 stopped")
                        .arg(id)
                        .arg(play ? QStringLiteral("playing") : QStringLiteral("recording")));
    return done(QStringLiteral("call %1: %2 %3")
                    .arg(id)
                    .arg(play ? QStringLiteral("playing") : QStringLiteral("recording into"), file));
}

} // namespace

QStringList splitCommandLine(const QString& line, QString* error) {
    QStringList words;
    QString word;
    bool inWord = false, quoted = false;
    for (int i = 0; i < line.size(); ++i) {
        const QChar ch = line[i];
        if (quoted) {
            if (ch == QLatin1Char('\\') && i + 1 < line.size())
                word += line[++i];
            else if (ch == QLatin1Char('"'))
                quoted = false;
            else
                word += ch;
        } else if (ch == QLatin1Char('"')) {
            quoted = inWord = true;
        } else if (ch.isSpace()) {
            if (inWord)
                words << word;
            word.clear();
            inWord = false;
        } else {
            word += ch;
            inWord = true;
        }
    }
    if (quoted) {
        if (error)
            *error = QStringLiteral("a quote is not closed");
        return {};
    }
    if (inWord)
        words << word;
    return words;
}

QString quoteWord(const QString& word) {
    QString out = QStringLiteral("\"");
    for (const QChar ch : word) {
        if (ch == QLatin1Char('"') || ch == QLatin1Char('\\'))
            out += QLatin1Char('\\');
        out += ch;
    }
    return out + QLatin1Char('"');
}

CommandResult runCommand(CapiExchange& exchange, const QStringList& words) {
    if (words.isEmpty())
        return fail(QStringLiteral("no command; 'help' lists them"));
    const QString& name = words[0];
    const QStringList args = words.mid(1);
    if (name == QLatin1String("ring"))
        return ring(exchange, args);
    if (name == QLatin1String("hangup"))
        return hangup(exchange, args);
    if (name == QLatin1String("answer"))
        return answer(exchange, args);
    if (name == QLatin1String("outgoing"))
        return outgoing(exchange, args);
    if (name == QLatin1String("dtmf"))
        return dtmf(exchange, args);
    if (name == QLatin1String("play") || name == QLatin1String("record"))
        return media(exchange, args, name == QLatin1String("play"));
    if (name == QLatin1String("facility")) {
        if (args.size() != 1 || (args[0] != QLatin1String("on") && args[0] != QLatin1String("off")))
            return fail(QStringLiteral("usage: facility on|off"));
        exchange.setFacilityRefused(args[0] == QLatin1String("off"));
        return done(QStringLiteral("DTMF facility %1").arg(args[0]));
    }
    if ((name == QLatin1String("drop") || name == QLatin1String("calls")) && !args.isEmpty())
        return fail(QStringLiteral("usage: %1  (no arguments)").arg(name));
    if (name == QLatin1String("drop")) {
        exchange.dropLink();
        return done(QStringLiteral("every client connection closed"));
    }
    if (name == QLatin1String("calls")) {
        QStringList lines;
        for (const auto& c : exchange.calls())
            lines << describe(c);
        return done(lines.isEmpty() ? QStringLiteral("no calls") : lines.join(QLatin1Char('\n')));
    }
    if (name == QLatin1String("help"))
        return done(commandHelp());
    return fail(
        QStringLiteral("unknown command '%1' (or wrong arguments); 'help' lists the commands").arg(name));
}

QString commandHelp() {
    return QStringLiteral(
        "ring FROM TO [CIP]          an incoming call (FROM: 0891234567 national, +49... international,\n"
        "                            1234 subscriber, - suppressed; CIP default 16, telephony)\n"
        "hangup [CALL] [REASON]      the far end hangs up (REASON hex, default 0x3490)\n"
        "answer [CALL]               the far end of a ringing outgoing call answers\n"
        "outgoing ring|answer|busy|unallocated|noanswer [MS]\n"
        "                            what the far end of the next outgoing calls does\n"
        "dtmf [CALL] DIGITS [inband|facility]\n"
        "                            DTMF from the far end (default: facility when the application\n"
        "                            listens for it, else in band)\n"
        "play [CALL] FILE            play a wave file to the application (- stops)\n"
        "record [CALL] FILE          record what the application sends (- stops)\n"
        "facility on|off             offer or refuse the DTMF facility\n"
        "drop                        close every client connection at once\n"
        "calls                       list the calls\n"
        "help                        this list\n"
        "CALL defaults to the newest call.");
}

} // namespace exchange
