#include "DeviceFiles.h"

#include <QFile>
#include <QList>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace DeviceFiles {

namespace {

constexpr qsizetype Limit = 1 << 20;

QString unquoted(const QString& text) {
    QString value;
    QChar quote;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == u'\\' && quote != u'\'' && i + 1 < text.size())
            value += text.at(++i);
        else if (c == quote && !quote.isNull())
            quote = QChar();
        else if (quote.isNull() && (c == u'"' || c == u'\''))
            quote = c;
        else
            value += c;
    }
    return value;
}

} // namespace

// Not Platform::readFile(): kernel parameters give their whole text to the first read and nothing to further ones.
QByteArray bytes(const QString& path) {
    // A pipe with nobody at its other end must not hold us up.
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0)
        return {};
    struct stat status {};
    QByteArray content;
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        char buffer[4096];
        ssize_t count = 0;
        while (content.size() < Limit && (count = ::read(descriptor, buffer, sizeof buffer)) > 0)
            content.append(buffer, count);
    }
    ::close(descriptor);
    return content;
}

QString line(const QString& path) {
    return QString::fromUtf8(bytes(path).split('\n').constFirst()).trimmed();
}

QString statement(const QString& path) {
    for (const QByteArray& rawLine : bytes(path).split('\n')) {
        const QString text = QString::fromUtf8(rawLine).trimmed();
        if (!text.isEmpty() && !text.startsWith(u'#'))
            return text;
    }
    return {};
}

QMap<QString, QString> variables(const QString& path) {
    QMap<QString, QString> found;
    for (const QByteArray& rawLine : bytes(path).split('\n')) {
        const QString text = QString::fromUtf8(rawLine).trimmed();
        const qsizetype sign = text.indexOf(u'=');
        if (sign > 0 && !text.startsWith(u'#'))
            found.insert(text.left(sign), unquoted(text.mid(sign + 1)));
    }
    return found;
}

QMap<QString, QString> keyGroup(const QString& path, const QString& group) {
    QMap<QString, QString> found;
    bool isInside = false;
    for (const QByteArray& rawLine : bytes(path).split('\n')) {
        const QString text = QString::fromUtf8(rawLine).trimmed();
        if (text.startsWith(u'[')) {
            isInside = text == u'[' + group + u']';
            continue;
        }
        const qsizetype sign = text.indexOf(u'=');
        if (isInside && sign > 0 && !text.startsWith(u'#'))
            found.insert(text.left(sign).trimmed(), text.mid(sign + 1).trimmed());
    }
    return found;
}

} // namespace DeviceFiles
