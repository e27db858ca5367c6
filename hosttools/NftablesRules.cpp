#include "NftablesRules.h"

#include <QHash>
#include <QList>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

constexpr int MostIncludes = 64;
constexpr int DeepestInclude = 8;
constexpr int DeepestJump = 16;
constexpr int MostJumps = 4096;

/// Words, and the marks that end something. A comment goes up to the end of its line, which ends a rule.
QList<QByteArray> tokensOf(const QByteArray& text) {
    QList<QByteArray> tokens;
    QByteArray word;
    bool isComment = false;
    char quote = 0;
    const auto endWord = [&] {
        if (!word.isEmpty())
            tokens.append(word);
        word.clear();
    };
    for (const char c : text) {
        if (quote && c != quote && c != '\n') {
            word += c;
        } else if (quote && c == quote) {
            quote = 0;
        } else if (c == '\n' || (!isComment && (c == ';' || c == '{' || c == '}'))) {
            endWord();
            tokens.append(c == '\n' ? QByteArray(";") : QByteArray(1, c));
            isComment = false;
            quote = 0;
        } else if (!isComment && c == '#') {
            endWord();
            isComment = true;
        } else if (!isComment && (c == '"' || c == '\'')) {
            quote = c;
        } else if (!isComment && (c == ' ' || c == '\t' || c == '\r')) {
            endWord();
        } else if (!isComment) {
            word += c;
        }
    }
    endWord();
    tokens.append(QByteArray(";"));
    return tokens;
}

/// What becomes of traffic that no condition has picked out.
enum class Fate { Open, Refused, Admitted, Unclear };

using Statement = QList<QByteArray>;

struct Chain {
    QByteArray family;
    bool isInputHook = false;
    Fate policy = Fate::Open;
    QList<Statement> rules;
};
using Chains = QHash<QByteArray, Chain>;

void take(Chain& chain, const Statement& statement) {
    if (statement.isEmpty())
        return;
    if (statement[0] == "type") {
        chain.isInputHook = statement.value(1) == "filter" && statement.value(statement.indexOf("hook") + 1) == "input";
    } else if (statement[0] == "policy") {
        const QByteArray policy = statement.value(1);
        chain.policy = policy == "drop" ? Fate::Refused : policy == "accept" ? Fate::Open : Fate::Unclear;
    } else {
        chain.rules.append(statement);
    }
}

/// Adds what stands between braces to a chain.
/// @param place  at the token after the opening brace; left behind the closing one
/// @returns false without a closing brace
bool readChain(const QList<QByteArray>& tokens, qsizetype& place, Chain& chain) {
    int depth = 1;
    Statement statement;
    for (; place < tokens.size() && depth > 0; ++place) {
        const QByteArray& token = tokens[place];
        depth += token == "{" ? 1 : token == "}" ? -1 : 0;
        if (depth > 0 && (token != ";" || depth > 1))
            statement.append(token);
        else
            take(chain, std::exchange(statement, {}));
    }
    return depth == 0;
}

/// Follows jumps from chain to chain.
class FateFinder {
public:
    explicit FateFinder(const Chains& chains) : m_chains(chains) {}

    /// @param key  "family table chain"
    Fate fateIn(const QByteArray& key, int depth = 0) {
        const auto found = m_chains.constFind(key);
        if (found == m_chains.constEnd() || depth > DeepestJump || ++m_visits > MostJumps)
            return Fate::Unclear;
        const Fate fate = fateByRules(key.left(key.lastIndexOf(' ') + 1), *found, depth);
        return fate == Fate::Open ? found->policy : fate;
    }

private:
    /// The first rule without a condition decides.
    Fate fateByRules(const QByteArray& table, const Chain& chain, int depth) {
        for (const Statement& rule : chain.rules) {
            // Counting and logging do not choose: what they lead to is for everything.
            qsizetype place = 0;
            while (rule.value(place) == "counter" || rule.value(place) == "log")
                ++place;
            const QByteArray verdict = rule.value(place);
            if (verdict == "drop" || verdict == "reject")
                return Fate::Refused;
            if (verdict == "accept" || verdict == "return")
                return verdict == "accept" ? Fate::Admitted : Fate::Open;
            if (verdict != "jump" && verdict != "goto")
                continue;
            const Fate fate = fateIn(table + rule.value(place + 1), depth + 1);
            if (fate != Fate::Open || verdict == "goto")
                return fate;
        }
        return Fate::Open;
    }

    const Chains& m_chains;
    int m_visits = 0;
};

bool isFamilyName(const QByteArray& word) {
    return word == "ip" || word == "ip6" || word == "inet" || word == "arp" || word == "bridge" || word == "netdev";
}

/// The chains of a rule file by "family table chain".
class RuleReader {
public:
    explicit RuleReader(const QByteArray& text) : m_tokens(tokensOf(text)) {
        for (qsizetype i = 0; i < m_tokens.size(); ++i) {
            const QByteArray before = i > 0 ? m_tokens[i - 1] : QByteArray(";");
            const bool isStart = before == ";" || before == "{" || before == "}";
            // Rules one by one, and taking away what was there, are not followed.
            if ((m_tokens[i] == "rule" && !isStart) ||
                (isStart && !m_chains.isEmpty() && (m_tokens[i] == "flush" || m_tokens[i] == "delete")))
                m_isUnclear = true;
            if (m_tokens[i] == "table" || m_tokens[i] == "chain")
                readBlock(i);
        }
    }

    const Chains& chains() const { return m_chains; }
    bool isUnclear() const { return m_isUnclear; }

private:
    /// @param place  at "table" or "chain"; left at the last token that was used
    void readBlock(qsizetype& place) {
        const bool isChain = m_tokens[place] == "chain";
        Statement head;
        while (++place < m_tokens.size() && m_tokens[place] != "{" && m_tokens[place] != ";")
            head.append(m_tokens[place]);
        const bool hasFamily = isFamilyName(head.value(0));
        const qsizetype names = hasFamily ? 1 : 0;
        // "table inet filter {" holds chains; "add chain inet filter input {" names all of it.
        if (!isChain) {
            m_family = hasFamily ? head[0] : QByteArray("ip");
            m_table = head.value(names);
        } else if (m_tokens.value(place) == "{") {
            const bool isAlone = head.size() > names + 1;
            const QByteArray family = hasFamily ? head[0] : isAlone ? QByteArray("ip") : m_family;
            const QByteArray table = isAlone ? head[names] : m_table;
            Chain& chain = m_chains[family + ' ' + table + ' ' + head.value(head.size() - 1)];
            chain.family = family;
            m_isUnclear = !readChain(m_tokens, ++place, chain) || m_isUnclear;
            --place;
        }
    }

    const QList<QByteArray> m_tokens;
    QByteArray m_family = "ip";
    QByteArray m_table;
    Chains m_chains;
    bool m_isUnclear = false;
};

/// The folder and the pattern of an included path; null for a line that includes nothing.
QString includedPath(const QByteArray& line) {
    static const QRegularExpression form(u"^\\s*include\\s+[\"']([^\"']+)[\"']"_s);
    return form.match(QString::fromUtf8(line)).captured(1);
}

QStringList matching(const Facts& facts, const QString& path) {
    if (!path.contains(u'*'))
        return {path};
    const QString folder = path.left(path.lastIndexOf(u'/'));
    const auto pattern = QRegularExpression::fromWildcard(path.mid(folder.size() + 1), Qt::CaseSensitive);
    QStringList found;
    for (const QString& name : facts.names(folder)) {
        if (pattern.match(name).hasMatch())
            found.append(folder + u'/' + name);
    }
    return found;
}

Facts::State addFile(const Facts& facts, const QString& path, int depth, int& budget, QByteArray& all) {
    if (depth > DeepestInclude || --budget < 0)
        return Facts::State::Unusable;
    const Facts::Text file = facts.text(path);
    if (file.state != Facts::State::Read)
        return file.state;
    for (const QByteArray& line : file.bytes.split('\n')) {
        QString included = includedPath(line);
        if (included.isEmpty()) {
            all += line + '\n';
            continue;
        }
        if (!included.startsWith(u'/'))
            included = u"/etc/"_s + included;
        for (const QString& match : matching(facts, included)) {
            const Facts::State state = addFile(facts, match, depth + 1, budget, all);
            if (state != Facts::State::Read)
                return state;
        }
    }
    return all.size() <= Facts::Limit ? Facts::State::Read : Facts::State::Unusable;
}

} // namespace

Finding nftablesRefuseByDefault(const QByteArray& text) {
    const RuleReader reader(text);
    bool isUnclear = reader.isUnclear();
    bool isRefused = false;
    for (auto chain = reader.chains().cbegin(); chain != reader.chains().cend(); ++chain) {
        if (!chain->isInputHook || (chain->family != "ip" && chain->family != "inet"))
            continue;
        const Fate fate = FateFinder(reader.chains()).fateIn(chain.key());
        isRefused = isRefused || fate == Fate::Refused;
        isUnclear = isUnclear || fate == Fate::Unclear;
    }
    if (isUnclear)
        return Finding::unknown(u"the rules for nftables leave open what becomes of the rest"_s);
    return isRefused ? Finding::yes() : Finding::no(u"the rules for nftables let in what nothing refuses"_s);
}

Facts::Text nftablesFile(const Facts& facts, const QString& path) {
    QByteArray all;
    int budget = MostIncludes;
    const Facts::State state = addFile(facts, path, 0, budget, all);
    return {state, state == Facts::State::Read ? all : QByteArray()};
}
