#include "PropertyListText.h"

#include <QDateTime>
#include <QLocale>
#include <QTimeZone>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Platform::ArchiveValue;

constexpr qsizetype MostShownBytes = 24;
constexpr qsizetype Group = 4;

QString quoted(const QString& text) {
    const auto isPlain = [](QChar c) {
        return c.unicode() < 0x80 &&
            (c.isLetterOrNumber() || c == u'_' || c == u'$' || c == u'/' || c == u':' || c == u'.');
    };
    if (!text.isEmpty() && std::all_of(text.begin(), text.end(), isPlain))
        return text;
    QString result(u'"');
    for (const QChar c : text) {
        if (c == u'"' || c == u'\\')
            result += u"\\"_s + c;
        else if (c == u'\n')
            result += u"\\n"_s;
        else if (c.unicode() < 0x20 || c.unicode() >= 0x7f)
            result += u"\\U%1"_s.arg(uint{c.unicode()}, 4, 16, QChar(u'0'));
        else
            result += c;
    }
    return result + u'"';
}

QString dataText(const QByteArray& bytes) {
    const bool isWhole = bytes.size() <= MostShownBytes;
    const QByteArray head = isWhole ? bytes : bytes.left(4 * Group);
    QString text = u"{length = %1, bytes = 0x"_s.arg(bytes.size());
    for (qsizetype i = 0; i < head.size(); i += Group)
        text += (i ? u" "_s : QString()) + QString::fromLatin1(head.mid(i, Group).toHex());
    if (!isWhole)
        text += u" ... %1"_s.arg(QString::fromLatin1(bytes.right(2 * Group).toHex(' ')).remove(u' '));
    return text + u'}';
}

QString dateText(double seconds) {
    const QDateTime start(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc());
    const QDateTime date = start.addMSecs(qint64(std::clamp(seconds, -1e11, 1e11) * 1000));
    return date.toString(u"yyyy-MM-dd HH:mm:ss"_s) + u" +0000"_s;
}

QString scalarText(const ArchiveValue& value) {
    switch (value.type()) {
    case ArchiveValue::Type::String:
        return value.string();
    case ArchiveValue::Type::Unsigned:
        return QString::number(value.unsignedInteger());
    case ArchiveValue::Type::Double:
        return QString::number(value.number(), 'g', QLocale::FloatingPointShortest);
    case ArchiveValue::Type::Date:
        return dateText(value.number());
    case ArchiveValue::Type::Data:
        return dataText(value.data());
    default:
        return QString::number(value.integer());
    }
}

void addText(const ArchiveValue& value, int level, QString& text) {
    const QString indent(4 * (level + 1), u' ');
    const QString closing = QString(4 * level, u' ');
    if (value.isArray()) {
        const ArchiveValue::Array& items = value.array();
        text += u"(\n"_s;
        for (size_t i = 0; i < items.size(); ++i) {
            text += indent;
            addText(items[i], level + 1, text);
            text += i + 1 < items.size() ? u",\n"_s : u"\n"_s;
        }
        text += closing + u')';
    } else if (value.isDictionary()) {
        text += u"{\n"_s;
        for (const auto* entry : value.sortedPairs()) {
            text += indent + quoted(entry->key) + u" = "_s;
            addText(entry->value, level + 1, text);
            text += u";\n"_s;
        }
        text += closing + u'}';
    } else {
        text += value.isData() ? scalarText(value) : quoted(scalarText(value));
    }
}

} // namespace

QString propertyListText(const ArchiveValue& value) {
    if (!value.isArray() && !value.isDictionary())
        return scalarText(value);
    QString text;
    addText(value, 0, text);
    return text;
}
