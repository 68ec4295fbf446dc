#include "automation/ActionRules.h"

#include "numbers/Num_module.h"
#include "platform/Clock.h"
#include "platform/desktop/Desktop.h"
#include "shell/base/CallRecord.h"
#include "shell/base/Language.h"
#include "shell/base/Settings.h"
#include "shell/base/UserDialogs.h"

#include <QDir>
#include <QFile>

#include <algorithm>

int ActionTrigger(int16_t callState) {
    switch (callState) {
    case StateIdle:
        return 0;
    case StateOutgoingWaiting:
        return 1;
    case StateOutgoingConnected:
        return 2;
    case StateIncomingRinging:
        return 3;
    case StateIncomingConnected:
        return 4;
    default:
        return 5;
    }
}

int ActionCount(const ActionTable& rules) {
    return std::max(0, int(rules.size()) - 1);
}

void ActionDelete(ActionTable& rules, int index) {
    if (index >= 1 && index <= ActionCount(rules))
        rules.erase(rules.begin() + index);
}

void ActionPaste(ActionTable& rules, const ActionRule& rule, int before) {
    if (rules.empty())
        rules.resize(1);
    if (before >= 1 && before <= ActionCount(rules))
        rules.insert(rules.begin() + before, rule);
    else
        rules.push_back(rule);
}

QString ActionTriggerLabel(const Language& language, int status) {
    const auto s = [&language](int number) {
        return language.LanguageString(number);
    };
    switch (status) {
    case 0:
        return s(619);
    case 1:
        return s(626) + QLatin1Char(' ') + s(629);
    case 2:
        return s(624) + QLatin1Char(' ') + s(629);
    case 3:
        return s(626) + QLatin1Char(' ') + s(630);
    case 4:
        return s(624) + QLatin1Char(' ') + s(630);
    case 5:
        return s(620);
    case 6:
        return s(271);
    default:
        return QString();
    }
}

QString ActionTypLabel(const Language& language, int typ) {
    return typ >= 0 && typ <= 4 ? language.LanguageString(266 + typ) : QString();
}

ActionFields ActionFieldsFor(int typ) {
    switch (typ) {
    case 3:
        return {256, 257, 258};
    case 4:
        return {256, 258, 0};
    default:
        return {265, 0, 0};
    }
}

ActionEntryValues ActionEntryLoad(const ActionTable& rules, int index) {
    if (index < 1 || index > ActionCount(rules))
        return {0, 0, QString(), QString(), QString()};
    const ActionRule& rule = rules[std::size_t(index)];
    return {rule.Status, rule.Typ, rule.Command, rule.Command2, rule.Command3};
}

bool ActionEntrySave(ActionTable& rules, int& index, const ActionEntryValues& values) {
    if (values.status < 0 || values.typ < 0)
        return false;
    if (rules.empty())
        rules.resize(1);
    if (index < 1 || index > ActionCount(rules)) {
        rules.emplace_back();
        index = ActionCount(rules);
    }
    ActionRule& rule = rules[std::size_t(index)];
    rule.Status = int16_t(values.status);
    rule.Typ = int16_t(values.typ);
    rule.Command = values.command;
    // The window edits only the first parameter of the actions on programs and windows; a window title
    // for a program comes from a hand-edited settings file alone.
    const bool three = values.typ == 3 || values.typ == 4;
    rule.Command2 = three ? values.command2 : QString();
    rule.Command3 = three ? values.command3 : QString();
    return true;
}

bool SplitCommandLine(const QString& line, QStringList& arguments, QString* error) {
    arguments.clear();
    QString current;
    bool inWord = false;
    enum { Plain, Single, Double } quote = Plain;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar c = line[i];
        if (quote == Single) {
            if (c == QLatin1Char('\''))
                quote = Plain;
            else
                current += c;
            continue;
        }
        if (quote == Double) {
            if (c == QLatin1Char('"')) {
                quote = Plain;
            } else if (c == QLatin1Char('\\') && i + 1 < line.size() &&
                       QStringLiteral("\"\\$`\n").contains(line[i + 1])) {
                if (line[++i] != QLatin1Char('\n'))
                    current += line[i];
            } else {
                current += c;
            }
            continue;
        }
        if (c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n')) {
            if (inWord)
                arguments << current;
            current.clear();
            inWord = false;
            continue;
        }
        inWord = true;
        if (c == QLatin1Char('\'')) {
            quote = Single;
        } else if (c == QLatin1Char('"')) {
            quote = Double;
        } else if (c == QLatin1Char('\\')) {
            if (i + 1 < line.size() && line[++i] != QLatin1Char('\n'))
                current += line[i];
        } else {
            current += c;
        }
    }
    if (quote != Plain) {
        if (error)
            *error = QStringLiteral("the command line has an open quote");
        arguments.clear();
        return false;
    }
    if (inWord)
        arguments << current;
    return true;
}

QString StarForm2(const QString& number) {
    if (number.size() <= 5)
        return number;
    const QChar star = QLatin1Char('*');
    return number.left(3) + star + number[3] + star + number[4] + star + number.mid(5);
}

QString StarForm3(const QString& number) {
    if (number.size() <= 3)
        return number;
    const QChar star = QLatin1Char('*');
    return number.left(2) + star + number[2] + star + number.mid(3);
}

QString SplitForm(const Settings& settings, const NumTrans& numTrans, const QString& number,
                  const QString& separator) {
    NumberParts parts;
    QString place1, place2;
    if (!SplitNumber(settings, numTrans, number, parts, place1, place2) || parts.subscriber.isEmpty())
        return number;
    QStringList pieces;
    if (!parts.country.isEmpty())
        pieces << QLatin1Char('+') + parts.country;
    if (!parts.area.isEmpty())
        pieces << parts.area;
    pieces << parts.subscriber;
    return pieces.join(separator);
}

QString ActionReplaceMacros(const QString& text, const ActionMacroValues& values, const Settings& settings,
                            const NumTrans& numTrans) {
    // Each form is made only where its macro stands: the split forms ask the number library.
    QString result = StringReplace(text, QStringLiteral("%N"), values.number);
    result = StringReplace(result, QStringLiteral("%U1"), values.runNumber);
    if (result.contains(QLatin1String("%U2")))
        result = StringReplace(result, QStringLiteral("%U2"), StarForm2(values.runNumber));
    if (result.contains(QLatin1String("%U3")))
        result = StringReplace(result, QStringLiteral("%U3"), StarForm3(values.runNumber));
    if (result.contains(QLatin1String("%U4")))
        result = StringReplace(result, QStringLiteral("%U4"),
                               SplitForm(settings, numTrans, values.runNumber, QStringLiteral("-")));
    if (result.contains(QLatin1String("%U5")))
        result = StringReplace(result, QStringLiteral("%U5"),
                               SplitForm(settings, numTrans, values.runNumber, QStringLiteral("/")));
    result = StringReplace(result, QStringLiteral("%M"), values.msn);
    result = StringReplace(result, QStringLiteral("%D"), values.duration);
    return StringReplace(result, QStringLiteral("%G"), values.charge);
}

ActionRules::ActionRules(const Settings& settings, const Language& language, const NumTrans& numTrans,
                         const Clock& clock, UserDialogs& dialogs, QString dataDir)
    : m_settings(settings), m_language(language), m_numTrans(numTrans), m_clock(clock), m_dialogs(dialogs),
      m_dataDir(std::move(dataDir)) {}

QString ActionRules::logPath() const {
    return QDir(m_dataDir).filePath(QStringLiteral("Action.log"));
}

QString ActionRules::ActionRun(int16_t state, int testIndex, const QString& testNumber) {
    const bool test = testIndex > 0;
    const int trigger = test ? 100 : ActionTrigger(state);
    const QString callNumber = m_call ? m_call->CallNumber : QString();
    if (!test) {
        if (trigger == 3 && m_settings.Showonring == 1 && m_window)
            m_window->showNormalAndFocus();
        if (trigger == 0 && m_settings.MinimizeOnSilence == 1 && m_window)
            m_window->minimize();
        if ((trigger == 2 || trigger == 4) && markNumberSeen)
            markNumberSeen(callNumber);
    }

    ActionMacroValues values;
    values.number = callNumber;
    values.runNumber = test ? testNumber : callNumber;
    if (m_call) {
        values.msn = m_call->CallMSN;
        values.duration = m_call->CallDuration;
        values.charge = m_call->CallCharge;
    }

    QString result;
    for (int n = 1; n <= ActionCount(rules); ++n) {
        const ActionRule& rule = rules[std::size_t(n)];
        if (n != testIndex && rule.Status != trigger)
            continue;
        QString logLine;
        const QString error = runRule(rule, values, logLine);
        if (!error.isEmpty())
            result += error + QLatin1Char('\n');
        if (!logLine.isEmpty())
            log(logLine);
    }
    return result.isEmpty() ? QStringLiteral("Command OK") : result;
}

QString ActionRules::runRule(const ActionRule& rule, const ActionMacroValues& values, QString& logLine) {
    const auto replaced = [&](const QString& text) {
        return ActionReplaceMacros(text, values, m_settings, m_numTrans);
    };
    const auto quoted = [](const QString& text) {
        return QLatin1Char('\'') + text + QLatin1Char('\'');
    };
    const QChar tab = QLatin1Char('\t');
    const QString label = ActionTypLabel(m_language, rule.Typ);
    const QString noWindowList = m_language.LanguageString(3290);
    if (!m_desktop && rule.Typ >= 0 && rule.Typ <= 4)
        return QStringLiteral("no desktop");

    switch (rule.Typ) {
    case 0:
    case 1: {
        // The command line is split first and the macros put into each argument, so that what a caller
        // sends is always text inside one argument, never a word of the command.
        QStringList arguments;
        QString error;
        if (SplitCommandLine(rule.Command, arguments, &error)) {
            for (QString& argument : arguments)
                argument = replaced(argument);
            if (arguments.isEmpty())
                error = QStringLiteral("the command line is empty");
        }
        const QString title = replaced(rule.Command2);
        logLine = label + tab + quoted(rule.Command) + tab + quoted(title) + tab;
        if (error.isEmpty() && !title.isEmpty()) {
            const desktop::WindowSearch found = m_desktop->findWindow(title);
            if (found == desktop::WindowSearch::Found) {
                logLine += QStringLiteral("Window exists !");
                return QString();
            }
            if (found == desktop::WindowSearch::NoWindowList)
                logLine += noWindowList + QStringLiteral("; ");
        }
        if (error.isEmpty())
            error = m_desktop->startProgram(arguments, rule.Typ == 1);
        logLine += error;
        return error;
    }
    case 2: {
        const QString title = replaced(rule.Command);
        QString outcome;
        switch (m_desktop->closeWindow(title)) {
        case desktop::WindowSearch::Found:
            outcome = QStringLiteral("OK gesendet");
            break;
        case desktop::WindowSearch::NotFound:
            outcome = QStringLiteral("Fenster nicht gefunden");
            break;
        case desktop::WindowSearch::NoWindowList:
            outcome = noWindowList;
            break;
        }
        logLine = label + tab + quoted(title) + tab + outcome;
        return outcome == QLatin1String("OK gesendet") ? QString() : outcome;
    }
    case 3:
    case 4: {
        const QString topic = replaced(rule.Command);
        const QString item = replaced(rule.Command2);
        const QString data = replaced(rule.Command3);
        logLine = label + tab + quoted(topic) + QStringLiteral(" - ") + quoted(item) + QStringLiteral(" - ") +
                  quoted(data) + tab;
        // The topic names the service and the object path ("org.example.Service/path/of/object" or the
        // two with a blank between), the item the interface and the method ("org.example.Interface.Method").
        const qsizetype blank = topic.indexOf(QLatin1Char(' '));
        const qsizetype slash = blank >= 0 ? blank : topic.indexOf(QLatin1Char('/'));
        const QString service = (slash >= 0 ? topic.left(slash) : topic).trimmed();
        QString path = slash >= 0 ? topic.mid(slash).trimmed() : QString();
        if (path.isEmpty())
            path = QStringLiteral("/");
        const qsizetype dot = item.lastIndexOf(QLatin1Char('.'));
        QString error;
        if (service.isEmpty() || dot <= 0 || dot == item.size() - 1)
            error = QStringLiteral("D-Bus: the topic names no service or the item no interface.method");
        else
            error = m_desktop->callDBus(service, path, item.left(dot), item.mid(dot + 1),
                                        rule.Typ == 3 ? std::optional<QString>(data) : std::nullopt);
        logLine += error;
        return error;
    }
    default:
        return QString();
    }
}

void ActionRules::log(const QString& text) {
    const QDateTime now = m_clock.now();
    QFile file(logPath());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
        m_dialogs.MsgBox(m_language.LanguageString(600) + logPath() + QLatin1Char(' '));
        return;
    }
    const QString line = now.toString(QStringLiteral("dd.MM.yyyy")) + QLatin1Char('\t') +
                         now.toString(QStringLiteral("hh:mm:ss")) + QLatin1Char('\t') + text +
                         QLatin1Char('\n');
    file.write(line.toUtf8());
}
