#include "DesktopEntry.h"

#include <QMap>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

/// The escapes that any value may hold.
QString unescaped(const QString& value) {
    static constexpr QStringView Escapes = u"sntr\\";
    static constexpr QStringView Meanings = u" \n\t\r\\";
    QString text;
    for (qsizetype at = 0; at < value.size(); ++at) {
        const qsizetype escape = value[at] == u'\\' && at + 1 < value.size() ? Escapes.indexOf(value[at + 1]) : -1;
        text += escape < 0 ? value[at] : Meanings[escape];
        at += escape < 0 ? 0 : 1;
    }
    return text;
}

/// Keys of the main group; translations are left out.
QMap<QString, QString> mainGroup(const QByteArray& content) {
    QMap<QString, QString> values;
    bool isInside = false;
    for (const QByteArray& rawLine : content.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.startsWith(u'['))
            isInside = line == u"[Desktop Entry]";
        const qsizetype equals = line.indexOf(u'=');
        if (isInside && equals > 0 && !line.startsWith(u'#'))
            values.insert(line.left(equals).trimmed(), unescaped(line.mid(equals + 1).trimmed()));
    }
    return values;
}

/// A word without its field codes; nothing when it was nothing but one.
std::optional<QString> withoutFieldCodes(const QString& word) {
    QString text;
    for (qsizetype at = 0; at < word.size(); ++at) {
        if (word[at] != u'%')
            text += word[at];
        else if (++at < word.size() && word[at] == u'%')
            text += u'%';
    }
    return text.isEmpty() && !word.isEmpty() ? std::nullopt : std::optional(text);
}

} // namespace

QStringList execWords(const QString& exec) {
    QStringList words;
    QString word;
    bool isQuoted = false;
    bool isWord = false;
    for (qsizetype at = 0; at < exec.size(); ++at) {
        const QChar sign = exec[at];
        if (isQuoted && sign == u'\\' && at + 1 < exec.size()) {
            word += exec[++at];
        } else if (sign == u'"') {
            isQuoted = !isQuoted;
            isWord = true;
        } else if (!isQuoted && sign.isSpace()) {
            if (isWord)
                words << word;
            word.clear();
            isWord = false;
        } else {
            word += sign;
            isWord = true;
        }
    }
    if (isQuoted)
        return {};
    if (isWord)
        words << word;
    return words;
}

std::optional<DesktopEntry> DesktopEntry::parse(const QByteArray& content) {
    const QMap<QString, QString> values = mainGroup(content);
    const auto isTrue = [&values](const char16_t* key) { return values.value(QString::fromUtf16(key)) == u"true"; };
    if (values.value(u"Type"_s) != u"Application" || isTrue(u"Hidden") || isTrue(u"Terminal"))
        return std::nullopt;
    DesktopEntry entry;
    entry.name = values.value(u"Name"_s);
    entry.tryExec = values.value(u"TryExec"_s);
    entry.icon = values.value(u"Icon"_s);
    for (const QString& word : execWords(values.value(u"Exec"_s))) {
        if (const auto text = withoutFieldCodes(word))
            entry.command << *text;
    }
    return entry.command.isEmpty() || entry.command[0].isEmpty() ? std::nullopt : std::optional(entry);
}

} // namespace Platform
