#include "Redaction.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// Shorter words stand in other words too often to be looked for everywhere.
constexpr qsizetype ShortestLearned = 3;
constexpr qsizetype LongestLearned = 200;
/// Words in one expression; the library has a limit for its size.
constexpr qsizetype LargestForm = 100;

struct Kind {
    QString name;
    /// Of the keys, in any case and without separators.
    QStringList keys;
};

const QList<Kind>& kinds() {
    static const QList<Kind> all{
        {u"secret"_s,
            {u"ticket"_s, u"password"_s, u"oldpassword"_s, u"newpassword"_s, u"pwd"_s, u"otp"_s, u"token"_s,
                u"secret"_s, u"key"_s, u"p12"_s}},
        {u"account"_s, {u"userid"_s, u"account"_s, u"uid"_s, u"loginuser"_s, u"user"_s}},
        {u"name"_s,
            {u"username"_s, u"name"_s, u"fullname"_s, u"mail"_s, u"email"_s, u"phone"_s, u"mobile"_s, u"ssid"_s,
                u"ssidlist"_s}},
        {u"host"_s,
            {u"hostname"_s, u"host"_s, u"machinename"_s, u"computername"_s, u"server"_s, u"domain"_s, u"domainname"_s,
                u"addomainname"_s, u"entdomain"_s, u"dc"_s, u"serverip"_s, u"used"_s, u"intranet"_s, u"extranet"_s}},
        {u"address"_s,
            {u"ip"_s, u"mac"_s, u"macaddress"_s, u"address"_s, u"addr"_s, u"inacaddr"_s, u"desturl"_s,
                u"downloadurl"_s}},
        {u"id"_s,
            {u"deviceid"_s, u"soleid"_s, u"serial"_s, u"serialnumber"_s, u"uuid"_s, u"machineid"_s,
                u"boardserialnums"_s, u"memoryserialnums"_s, u"harddiskserialnums"_s, u"macaddresses"_s, u"iparray"_s}},
    };
    return all;
}

/// Empty for a key that tells nothing.
QString kindOf(QString key) {
    key = key.toLower().remove(u'_').remove(u'-').remove(u' ');
    for (const Kind& kind : kinds()) {
        if (kind.keys.contains(key))
            return kind.name;
    }
    return {};
}

const QRegularExpression& pairs() {
    static const QRegularExpression pattern(
        uR"form(([A-Za-z][A-Za-z0-9_-]*)["']?[ \t]*[:=][ \t]*(?:"([^"\n]+)"|'([^'\n]+)'|([^\s,;"'{}\[\]()&]+)))form"_s);
    return pattern;
}

QString valueOf(const QRegularExpressionMatch& pair) {
    return pair.captured(2) + pair.captured(3) + pair.captured(4);
}

/// Says nothing about anybody.
bool isPlain(const QString& value) {
    static const QRegularExpression plain(
        uR"(\A(?:|[0-9]{1,4}|true|false|null|none|yes|no|nil|127\.0\.0\.1(?::\d+)?|::1|localhost|0\.0\.0\.0|\(null\)|\*+|<[a-z]+-\d+>.*)\z)"_s,
        QRegularExpression::CaseInsensitiveOption);
    return plain.match(value).hasMatch();
}

bool isAscii(const QString& text) {
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 128; });
}

struct Pattern {
    QString kind;
    QRegularExpression form;
};

/// What gives itself away by its form, the longest forms first.
const QList<Pattern>& patterns() {
    const auto form = [](const QString& text) {
        return QRegularExpression(text, QRegularExpression::CaseInsensitiveOption);
    };
    static const QList<Pattern> all{
        {u"name"_s, form(uR"([\w.+%-]+@[\w-]+(?:\.[\w-]+)+)"_s)},
        {u"host"_s, form(uR"((?<=://)[^\s/:"'<>,;)]+)"_s)},
        {u"id"_s, form(uR"(\b[0-9a-f]{8}(?:-[0-9a-f]{4}){3}-[0-9a-f]{12}\b)"_s)},
        {u"address"_s, form(uR"(\b[0-9a-f]{2}(?:[:-][0-9a-f]{2}){5}\b)"_s)},
        {u"address"_s, form(uR"(\b(?!127\.|0\.0\.0\.0)(?:\d{1,3}\.){3}\d{1,3}\b)"_s)},
        {u"address"_s,
            form(
                uR"((?<![\w:])(?:[0-9a-f]{1,4}:){3,7}[0-9a-f]{1,4}(?![\w:])|(?<![\w:])(?:[0-9a-f]{1,4}:){1,6}:(?:[0-9a-f]{1,4}:?){1,6}(?<!:)(?![\w:]))"_s)},
        {u"secret"_s, form(uR"((?-i)(?<![\w+/=-])(?=[\w+/=-]*\d)(?=[\w+/=-]*[a-z])(?=[\w+/=-]*[A-Z])[\w+/=-]{32,})"_s)},
        {u"secret"_s, form(uR"((?<![\w+=-])(?=[\w+=-]*\d)(?=[\w+=-]*[a-z])[\w+=-]{32,})"_s)},
        {u"id"_s, form(uR"((?<!\w)(?=[0-9a-f]*[a-f])(?=[a-f]*[0-9])[0-9a-f]{12,}(?!\w))"_s)},
        {u"id"_s, form(uR"((?<![\w.])\d{11,}(?![\w.]))"_s)},
        {u"host"_s,
            form(
                uR"((?<![\w./<-])(?!(?:com\.qencloud|org\.(?:freedesktop|kde|gnome|gtk|a11y|fedoraproject))\.)(?:[a-z0-9](?:[a-z0-9-]*[a-z0-9])?\.){2,}[a-z]{2,}(?![\w.-]))"_s)},
    };
    return all;
}

} // namespace

void Redaction::learn(const QString& kind, const QString& value) {
    if (isPlain(value))
        return;
    // A host's port stands elsewhere than the host.
    const qsizetype colon = value.lastIndexOf(u':');
    if (kind == u"host" && colon > 0 && value.indexOf(u':') == colon) {
        learn(kind, value.left(colon));
        return;
    }
    token(kind, value);
    const qsizetype shortest = isAscii(value) ? ShortestLearned : ShortestLearned - 1;
    if (value.size() >= shortest && value.size() <= LongestLearned && !m_learned.contains(value))
        m_learned.append(value);
}

void Redaction::learn(const QJsonValue& json) {
    for (const QJsonValue& element : json.toArray())
        learn(element);
    const QJsonObject object = json.toObject();
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        const QString kind = kindOf(entry.key());
        if (!kind.isEmpty()) {
            for (const QJsonValue& value : entry->isArray() ? entry->toArray() : QJsonArray{*entry})
                learn(kind, value.toVariant().toString());
        }
        learn(*entry);
    }
}

void Redaction::learnFrom(const QString& text) {
    for (auto found = pairs().globalMatch(text); found.hasNext();) {
        const auto pair = found.next();
        if (const QString kind = kindOf(pair.captured(1)); !kind.isEmpty())
            learn(kind, valueOf(pair));
    }
}

QString Redaction::token(const QString& kind, const QString& value) {
    QString& known = m_tokens[value.toLower()];
    if (known.isEmpty())
        known = u"<%1-%2>"_s.arg(kind).arg(++m_counts[kind]);
    return known;
}

QString Redaction::without(const QString& text, const QString& kind, const QRegularExpression& pattern) {
    QString clean;
    qsizetype end = 0;
    for (auto found = pattern.globalMatch(text); found.hasNext();) {
        const auto match = found.next();
        clean += QStringView(text).mid(end, match.capturedStart() - end);
        clean += isPlain(match.captured()) ? match.captured() : token(kind, match.captured());
        end = match.capturedEnd();
    }
    return clean + text.mid(end);
}

QString Redaction::withoutLearned(const QString& text) {
    // The longest first: a name may stand in a longer one.
    std::sort(
        m_learned.begin(), m_learned.end(), [](const QString& a, const QString& b) { return a.size() > b.size(); });
    QString clean = text;
    for (qsizetype first = 0; first < m_learned.size(); first += LargestForm) {
        QStringList forms;
        for (const QString& value : m_learned.mid(first, LargestForm)) {
            const QString word = QRegularExpression::escape(value);
            forms << (isAscii(value) ? u"(?<![A-Za-z0-9<])"_s + word + u"(?![A-Za-z0-9])"_s : word);
        }
        const QRegularExpression pattern(forms.join(u'|'), QRegularExpression::CaseInsensitiveOption);
        clean = without(clean, u"name"_s, pattern);
    }
    return clean;
}

QString Redaction::cleaned(const QString& text) {
    QString clean;
    qsizetype end = 0;
    // What is too short to be looked for everywhere is known by its key.
    for (auto found = pairs().globalMatch(text); found.hasNext();) {
        const auto pair = found.next();
        const QString kind = kindOf(pair.captured(1));
        const QString value = valueOf(pair);
        if (kind.isEmpty() || isPlain(value))
            continue;
        const int group = pair.hasCaptured(2) ? 2 : pair.hasCaptured(3) ? 3 : 4;
        clean += QStringView(text).mid(end, pair.capturedStart(group) - end);
        clean += token(kind, value);
        end = pair.capturedEnd(group);
    }
    clean += QStringView(text).mid(end);
    clean = withoutLearned(clean);
    for (const Pattern& pattern : patterns())
        clean = without(clean, pattern.kind, pattern.form);
    return clean;
}
