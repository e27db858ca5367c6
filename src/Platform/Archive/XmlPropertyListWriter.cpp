#include "PropertyList.h"

#include "ArchiveDate.h"
#include "PropertyListLimits.h"
#include "ValueCount.h"

#include <algorithm>
#include <charconv>
#include <cmath>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

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
        if (!countValues(root, 0, values) || !write(root, 0))
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

QByteArray PropertyList::xmlData(const ArchiveValue& root) {
    return XmlEncoder().encode(root);
}

} // namespace Platform
