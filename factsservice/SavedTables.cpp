#include "SavedTables.h"

#include <QList>

using namespace Qt::StringLiterals;

namespace {

using Verdict = Rule::Verdict;

/// Words as the commands print them: in double quotes where they hold blanks, with a backslash before quotes.
QStringList wordsOf(const QByteArray& line) {
    QStringList words;
    QByteArray word;
    bool isQuoted = false;
    bool isWord = false;
    for (qsizetype i = 0; i <= line.size(); ++i) {
        const char c = i < line.size() ? line[i] : ' ';
        if (isQuoted && c == '\\' && i + 1 < line.size()) {
            word += line[++i];
        } else if (c == '"') {
            isQuoted = !isQuoted;
            isWord = true;
        } else if (c == ' ' && (!isQuoted || i == line.size())) {
            if (isWord)
                words.append(QString::fromUtf8(word));
            word.clear();
            isWord = false;
        } else {
            word += c;
            isWord = true;
        }
    }
    return words;
}

Match portsMatch(const QString& list, int ordinary) {
    int total = 0;
    for (const QString& part : list.split(u',')) {
        const int first = part.section(u':', 0, 0).toInt();
        const int last = part.contains(u':') ? part.section(u':', 1).toInt() : first;
        total += last - first + 1;
        if (ordinary && first < ordinary && last > ordinary)
            return Match::Yes;
    }
    return portMatch(1, total);
}

/// "address/prefix", or "address/mask" where the mask is none of a prefix.
Match addressMatch(const QString& text, bool isDestination) {
    bool isPrefix = false;
    const int prefix = text.section(u'/', 1).toInt(&isPrefix);
    const Match network = isPrefix ? networkMatch(prefix) : text.contains(u'/') ? Match::Maybe : Match::No;
    const bool isForMany = text.startsWith(u"ff") || text.section(u'.', 0, 0).toInt() >= 224;
    // A single destination may be this computer's own address.
    return network == Match::No && isDestination && !isForMany ? Match::Maybe : network;
}

bool lists(const QString& list, QStringView name) {
    return list.split(u',').contains(name, Qt::CaseInsensitive);
}

Match yesIf(bool isSo) {
    return isSo ? Match::Yes : Match::No;
}

/// What an option of a rule asks of a packet; its values are the words up to the next option.
Condition conditionOf(const QString& option, const QStringList& values, bool setsMarks) {
    const QString value = values.value(0);
    constexpr int OrdinarySource = 45000;
    if (option == u"-i")
        return [value](const Probe& probe) { return interfaceMatch(probe, value, u'+'); };
    if (option == u"-p")
        return [value](const Probe& probe) { return value == u"all" ? Match::Yes : protocolMatch(probe, value); };
    if (option == u"-s" || option == u"-d")
        return always(addressMatch(value, option == u"-d"));
    if (option == u"--dport" || option == u"--dports")
        return always(portsMatch(value, 0));
    if (option == u"--sport" || option == u"--sports")
        return always(portsMatch(value, OrdinarySource));
    if (option == u"--ports" || option == u"-f" || option == u"-o" || option == u"--rt-type" ||
        option == u"--match-set" || option == u"--physdev-in" || option == u"--mac-source" || option == u"--helper")
        return always(Match::No);
    if (option == u"--ctstate" || option == u"--state")
        return always(yesIf(lists(value, u"NEW")));
    if (option == u"--ctstatus" || option == u"--src-type")
        return always(option == u"--src-type" ? yesIf(lists(value, u"UNICAST")) : Match::No);
    if (option == u"--ctdir")
        return always(yesIf(value == u"ORIGINAL"));
    if (option == u"--dst-type")
        return always(yesIf(lists(value, u"LOCAL")));
    if (option == u"--pkt-type")
        return always(yesIf(value == u"unicast"));
    if (option == u"--tcp-flags") {
        const QStringList mask = values.value(0).split(u',');
        const bool isSyn = mask.contains(u"SYN") || values.value(0) == u"ALL";
        return always(yesIf(values.value(1) == (isSyn ? u"SYN" : u"NONE")));
    }
    if (option == u"--mark")
        return always(setsMarks ? Match::Maybe : yesIf(value.section(u'/', 0, 0).toInt(nullptr, 0) == 0));
    if (option == u"--pol")
        return always(yesIf(value == u"none"));
    return always(Match::Maybe);
}

/// Reads one "-A" line.
class RuleLine {
public:
    RuleLine(const QStringList& words, QString table, RuleSet& rules)
        : m_words(words), m_table(std::move(table)), m_rules(rules) {
        for (m_place = 2; m_place < m_words.size();)
            takeOption();
    }

    const Rule& rule() const { return m_rule; }

private:
    void takeOption() {
        const bool isNegated = m_words[m_place] == u"!";
        m_place += isNegated;
        const QString option = m_words.value(m_place++);
        QStringList values;
        while (m_place < m_words.size() && !m_words[m_place].startsWith(u'-') && m_words[m_place] != u"!")
            values.append(m_words[m_place++]);
        if (option == u"-j" || option == u"-g") {
            setVerdict(values.value(0), option == u"-g");
        } else if (option == u"-m") {
            m_modules.append(values.value(0));
            if (values.value(0) == u"rpfilter") // what comes the way that an answer would go
                addCondition(always(yesIf(!m_words.contains(u"--invert"))), false);
        } else if (!isWithoutMeaning(option)) {
            addCondition(conditionOf(option, values, m_rules.setsMarks), isNegated);
        }
    }

    void addCondition(const Condition& condition, bool isNegated) {
        m_rule.conditions.push_back(isNegated ? negated(condition) : condition);
    }

    /// Options of the target, of comments, and those that only say how another one is meant.
    bool isWithoutMeaning(const QString& option) const {
        return m_rule.verdict != Verdict::None || m_isDone || option == u"--comment" || option == u"--limit-burst" ||
            option == u"--dir" || m_modules.value(m_modules.size() - 1) == u"rpfilter";
    }

    void setVerdict(const QString& target, bool isGoto) {
        static const QHash<QString, Verdict> known{{u"ACCEPT"_s, Verdict::Accept}, {u"DROP"_s, Verdict::Drop},
            {u"REJECT"_s, Verdict::Drop}, {u"RETURN"_s, Verdict::Return}, {u"DNAT"_s, Verdict::Accept},
            {u"REDIRECT"_s, Verdict::Accept}, {u"LOG"_s, Verdict::None}, {u"NFLOG"_s, Verdict::None},
            {u"MARK"_s, Verdict::None}, {u"CONNMARK"_s, Verdict::None}, {u"CT"_s, Verdict::None},
            {u"NOTRACK"_s, Verdict::None}, {u"SET"_s, Verdict::None}, {u"TCPMSS"_s, Verdict::None},
            {u"CHECKSUM"_s, Verdict::None}, {u"TRACE"_s, Verdict::None}, {u"AUDIT"_s, Verdict::None}};
        const QString key = m_table + u' ' + target;
        m_isDone = true;
        if (m_rules.chains.contains(key)) {
            m_rule.verdict = isGoto ? Verdict::Goto : Verdict::Jump;
            m_rule.target = key;
        } else {
            m_rule.verdict = known.value(target, Verdict::Unclear);
        }
    }

    const QStringList& m_words;
    const QString m_table;
    RuleSet& m_rules;
    qsizetype m_place = 0;
    QStringList m_modules;
    bool m_isDone = false;
    Rule m_rule;
};

/// Starts a table anew.
void startTable(RuleSet& rules, const QString& table) {
    for (const QString& key : rules.chains.keys()) {
        if (key.startsWith(table + u' '))
            rules.chains.remove(key);
    }
}

} // namespace

bool addSavedTables(RuleSet& rules, const QByteArray& text, const QString& family, const QString& place) {
    QString table;
    rules.setsMarks = rules.setsMarks || text.contains("-j MARK") || text.contains("-j CONNMARK");
    for (const QByteArray& line : text.split('\n')) {
        if (line.isEmpty() || line.startsWith('#') || line == "COMMIT")
            continue;
        const QStringList words = wordsOf(line);
        if (line.startsWith('*')) {
            table = place + u' ' + words[0].mid(1);
            startTable(rules, table);
        } else if (line.startsWith(':') && words.size() >= 2 && !table.isEmpty()) {
            const QString name = words[0].mid(1);
            Chain& chain = rules.chains[table + u' ' + name];
            if (words[1] != u"-" && (name == u"INPUT" || name == u"PREROUTING"))
                chain = {family, {}, words[1] == u"DROP", Match::Yes, {}};
        } else if (line.startsWith("-A ") && words.size() >= 2 && rules.chains.contains(table + u' ' + words[1])) {
            rules.chains[table + u' ' + words[1]].rules.push_back(RuleLine(words, table, rules).rule());
        } else {
            return false;
        }
    }
    return !table.isEmpty();
}
