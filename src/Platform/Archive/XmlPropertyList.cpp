#include "PropertyList.h"

#include "ArchiveDate.h"
#include "PropertyListLimits.h"

#include <QRegularExpression>
#include <QXmlStreamReader>

#include <algorithm>
#include <charconv>
#include <cmath>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

/// Reads one value after the other; any rule that is broken ends the whole.
class XmlDecoder {
public:
    explicit XmlDecoder(const QByteArray& bytes) : m_xml(bytes) {}

    std::optional<ArchiveValue> decode() {
        if (!m_xml.readNextStartElement() || m_xml.name() != u"plist" || !m_xml.readNextStartElement())
            return std::nullopt;
        ArchiveValue root;
        if (!decodeValue(0, root) || m_xml.readNextStartElement())
            return std::nullopt;
        while (!m_xml.atEnd())
            m_xml.readNext();
        return m_xml.hasError() ? std::nullopt : std::optional(std::move(root));
    }

private:
    bool decodeValue(int depth, ArchiveValue& result) {
        if (++m_values > PropertyListLimits::Objects)
            return false;
        // A copy: the reader's own text goes when it reads on.
        const QString name = m_xml.name().toString();
        if (name == u"dict" || name == u"array") {
            if (depth >= PropertyListLimits::Depth)
                return false;
            return name == u"dict" ? decodeDictionary(depth, result) : decodeArray(depth, result);
        }
        return decodeScalar(name, m_xml.readElementText(), result) && !m_xml.hasError();
    }

    bool decodeArray(int depth, ArchiveValue& result) {
        ArchiveValue::Array items;
        while (m_xml.readNextStartElement()) {
            ArchiveValue item;
            if (!decodeValue(depth + 1, item))
                return false;
            items.push_back(std::move(item));
        }
        result = ArchiveValue(std::move(items));
        return !m_xml.hasError();
    }

    bool decodeDictionary(int depth, ArchiveValue& result) {
        ArchiveValue::Dictionary entries;
        while (m_xml.readNextStartElement()) {
            if (m_xml.name() != u"key")
                return false;
            const QString key = m_xml.readElementText();
            ArchiveValue value;
            if (m_xml.hasError() || !m_xml.readNextStartElement() || !decodeValue(depth + 1, value))
                return false;
            entries.push_back({key.isNull() ? QString(""_L1) : key, std::move(value)});
        }
        result = ArchiveValue(std::move(entries));
        return !m_xml.hasError();
    }

    static bool decodeScalar(const QString& name, const QString& text, ArchiveValue& result) {
        if (name == u"string") {
            result = ArchiveValue::text(text);
        } else if (name == u"true" || name == u"false") {
            result = name == u"true";
        } else if (name == u"integer") {
            return decodeInteger(text.trimmed(), result);
        } else if (name == u"real") {
            bool isNumber = false;
            result = text.trimmed().toDouble(&isNumber);
            return isNumber;
        } else if (name == u"date") {
            const auto seconds = ArchiveDate::fromIsoText(text.trimmed());
            result = ArchiveValue::date(seconds.value_or(0));
            return seconds.has_value();
        } else if (name == u"data") {
            QString plain = text;
            plain.removeIf([](QChar unit) { return unit.isSpace(); });
            const auto decoding =
                QByteArray::fromBase64Encoding(plain.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
            result = decoding.decoded;
            return bool(decoding);
        } else {
            return false;
        }
        return true;
    }

    static bool decodeInteger(const QString& text, ArchiveValue& result) {
        static const QRegularExpression form(QRegularExpression::anchoredPattern(u"([+-]?)(0[xX])?([0-9a-fA-F]+)"_s));
        const QRegularExpressionMatch match = form.match(text);
        const bool isNegative = match.capturedView(1) == u'-';
        bool isNumber = false;
        const quint64 number = match.capturedView(3).toULongLong(&isNumber, match.capturedView(2).isEmpty() ? 10 : 16);
        constexpr quint64 LowestNegative = quint64{1} << 63;
        if (!isNumber || (isNegative && number > LowestNegative))
            return false;
        result = isNegative ? ArchiveValue(static_cast<qint64>(0 - number)) : ArchiveValue(number);
        return true;
    }

    QXmlStreamReader m_xml;
    quint32 m_values = 0;
};

constexpr char Head[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                        "<plist version=\"1.0\">\n";

class XmlEncoder {
public:
    /// Empty when the value, or a character in it, has no form in XML.
    QByteArray encode(const ArchiveValue& root) {
        m_text = Head;
        size_t values = 1;
        if (!PropertyListLimits::count(root, 0, values) || !write(root, 0))
            return {};
        m_text += "</plist>\n";
        return m_text.size() <= PropertyListLimits::FileSize ? m_text : QByteArray();
    }

private:
    bool write(const ArchiveValue& value, int depth) {
        if (m_text.size() > PropertyListLimits::FileSize)
            return false;
        switch (value.type()) {
        case ArchiveValue::Type::Boolean:
            return line(depth, value.boolean() ? "<true/>" : "<false/>");
        case ArchiveValue::Type::Integer:
            return line(depth, "<integer>" + QByteArray::number(value.integer()) + "</integer>");
        case ArchiveValue::Type::Unsigned:
            return line(depth, "<integer>" + QByteArray::number(value.unsignedInteger()) + "</integer>");
        case ArchiveValue::Type::Double:
            return line(depth, "<real>" + realText(value.number()) + "</real>");
        case ArchiveValue::Type::Date: {
            const QString date = ArchiveDate::isoText(std::floor(value.number()));
            return !date.isEmpty() && line(depth, "<date>" + date.toLatin1() + "</date>");
        }
        case ArchiveValue::Type::Data:
            return line(depth, "<data>" + value.data().toBase64() + "</data>");
        case ArchiveValue::Type::String:
            return text(depth, "string", value.string());
        case ArchiveValue::Type::Array:
            return writeArray(value.array(), depth);
        case ArchiveValue::Type::Dictionary:
            return writeDictionary(value, depth);
        default:
            return false;
        }
    }

    bool writeArray(const ArchiveValue::Array& items, int depth) {
        if (items.empty())
            return line(depth, "<array/>");
        line(depth, "<array>");
        const bool isWhole =
            std::all_of(items.begin(), items.end(), [&](const auto& item) { return write(item, depth + 1); });
        return isWhole && line(depth, "</array>");
    }

    bool writeDictionary(const ArchiveValue& value, int depth) {
        const auto sorted = value.sortedPairs();
        if (sorted.empty())
            return line(depth, "<dict/>");
        line(depth, "<dict>");
        const bool isWhole = std::all_of(sorted.begin(), sorted.end(),
            [&](const auto* entry) { return text(depth + 1, "key", entry->key) && write(entry->value, depth + 1); });
        return isWhole && line(depth, "</dict>");
    }

    bool line(int depth, const QByteArray& content) {
        m_text.append(depth, '\t').append(content).append('\n');
        return true;
    }

    bool text(int depth, const char* element, const QString& content) {
        const auto hasNoForm = [](QChar unit) {
            return unit >= QChar(0xfffe) || (unit < u' ' && unit != u'\t' && unit != u'\n' && unit != u'\r');
        };
        if (!content.isValidUtf16() || std::any_of(content.begin(), content.end(), hasNoForm))
            return false;
        QString escaped = content;
        escaped.replace(u'&', "&amp;"_L1).replace(u'<', "&lt;"_L1).replace(u'>', "&gt;"_L1);
        escaped.replace(u'\r', "&#13;"_L1); // a bare one would be read as a line feed
        return line(depth, QByteArray("<") + element + '>' + escaped.toUtf8() + "</" + element + '>');
    }

    static QByteArray realText(double value) {
        if (std::isnan(value))
            return "nan";
        char buffer[32];
        return QByteArray(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr - buffer);
    }

    QByteArray m_text;
};

} // namespace

std::optional<ArchiveValue> PropertyList::decodedXml(const QByteArray& bytes) {
    return bytes.size() > PropertyListLimits::FileSize ? std::nullopt : XmlDecoder(bytes).decode();
}

QByteArray PropertyList::xmlData(const ArchiveValue& root) {
    return XmlEncoder().encode(root);
}

} // namespace Platform
