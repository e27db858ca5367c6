#pragma once

#include <QByteArray>
#include <QFile>
#include <QHash>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

/// What the fuzz targets share.

/// Ends the program, which is a finding, when @p what does not hold.
inline void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "require: %s\n", what);
    std::abort();
}

/// A copy of an input, so that a read past its end is seen.
inline QByteArray bytesOf(const unsigned char* data, size_t size) {
    return {reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)};
}

/// The texts between lines of nothing but "%%".
inline QList<QByteArray> partsOf(const QByteArray& input) {
    QList<QByteArray> parts;
    for (qsizetype begin = 0; begin >= 0 && begin <= input.size();) {
        const qsizetype end = input.indexOf("\n%%\n", begin);
        parts << input.mid(begin, end < 0 ? -1 : end - begin);
        begin = end < 0 ? -1 : end + 4;
    }
    return parts;
}

/// A folder for the files of each input, gone at the end of the program.
class InputFolder {
public:
    QString path() const { return m_folder.path(); }
    QString path(const QString& name) const { return m_folder.filePath(name); }
    /// Most inputs change one file of several.
    void write(const QString& name, const QByteArray& content) {
        QFile file(path(name));
        const auto known = m_written.constFind(name);
        if (known != m_written.constEnd() && *known == content)
            return;
        require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), "an input cannot be written");
        m_written.insert(name, content);
    }

private:
    QTemporaryDir m_folder;
    QHash<QString, QByteArray> m_written;
};
