#include "Mounts.h"

using namespace Qt::StringLiterals;

namespace {

int octal(const QByteArray& text, qsizetype place) {
    int value = 0;
    for (qsizetype i = place; i < place + 3; ++i) {
        const int digit = i < text.size() ? text[i] - '0' : -1;
        if (digit < 0 || digit > 7)
            return -1;
        value = value * 8 + digit;
    }
    return value < 256 ? value : -1;
}

} // namespace

QString unescapedField(const QByteArray& text) {
    QByteArray plain;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const int value = text[i] == '\\' ? octal(text, i + 1) : -1;
        plain += value < 0 ? text[i] : static_cast<char>(value);
        i += value < 0 ? 0 : 3;
    }
    return QString::fromUtf8(plain);
}

QStringList Mount::values(const QString& name) const {
    QStringList found;
    for (const QString& entry : options.split(u',')) {
        const QString key = entry.section(u'=', 0, 0);
        if (key == name || key == name + u'+')
            found.append(entry.section(u'=', 1));
    }
    return found;
}

std::optional<Mounts> Mounts::parsed(const QByteArray& table) {
    if (!table.endsWith('\n'))
        return std::nullopt;
    Mounts result;
    for (const QByteArray& line : table.chopped(1).split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype separator = fields.indexOf("-", 6);
        if (separator < 0 || fields.size() != separator + 4)
            return std::nullopt;
        result.m_places.insert(unescapedField(fields[4]), result.m_mounts.size());
        result.m_mounts.append(
            {unescapedField(fields[2]), unescapedField(fields[4]), unescapedField(fields[separator + 1]),
                unescapedField(fields[separator + 2]), unescapedField(fields[separator + 3])});
    }
    return result;
}

QList<Mount> Mounts::visible() const {
    QList<Mount> found;
    for (qsizetype i = 0; i < m_mounts.size(); ++i) {
        if (m_places.value(m_mounts[i].point) == i)
            found.append(m_mounts[i]);
    }
    return found;
}

const Mount* Mounts::at(const QString& point) const {
    const auto place = m_places.constFind(point);
    return place == m_places.cend() ? nullptr : &m_mounts[*place];
}

const Mount* Mounts::holding(const QString& path) const {
    QString point = path.startsWith(u'/') ? path : QString();
    while (!point.isEmpty()) {
        if (const Mount* found = at(point))
            return found;
        const qsizetype slash = point.lastIndexOf(u'/');
        point = slash > 0 ? point.left(slash) : point == u"/" ? QString() : u"/"_s;
    }
    return nullptr;
}
