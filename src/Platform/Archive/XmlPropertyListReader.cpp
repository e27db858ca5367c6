#include "PropertyList.h"

#include "ArchiveDate.h"
#include "PropertyListLimits.h"

#include <QRegularExpression>
#include <QXmlStreamReader>

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

} // namespace

std::optional<ArchiveValue> PropertyList::decodedXml(const QByteArray& bytes) {
    return bytes.size() > PropertyListLimits::FileSize ? std::nullopt : XmlDecoder(bytes).decode();
}

} // namespace Platform
