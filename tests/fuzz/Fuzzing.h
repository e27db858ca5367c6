#pragma once

#include <QByteArray>
#include <QFile>
#include <QHash>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

/// What the fuzz targets share. Included once in a program.

/// What a target does with an input.
void fuzz(const QByteArray& input);

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    // A copy: a read past its end is seen.
    fuzz({reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)});
    return 0;
}

/// Ends the program, which is a finding, when @p what does not hold.
inline void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "require: %s\n", what);
    std::abort();
}

/// The texts between lines of nothing but "%%".
inline QList<QByteArray> partsOf(const QByteArray& input) {
    QList<QByteArray> parts;
    for (qsizetype begin = 0, end = 0; end >= 0; begin = end + 4) {
        end = input.indexOf("\n%%\n", begin);
        parts << input.mid(begin, end < 0 ? -1 : end - begin);
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
        if (m_written.contains(name) && m_written[name] == content)
            return;
        require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), "an input cannot be written");
        m_written.insert(name, content);
    }

private:
    QTemporaryDir m_folder;
    QHash<QString, QByteArray> m_written;
};
