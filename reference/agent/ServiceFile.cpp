#include "ServiceFile.h"

#include "Report.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace ReferenceAgent {

namespace {

/// One word of a command, as the bus takes it apart: quoted for its shell, then escaped for its file.
QString quoted(QString word) {
    word = u'\'' + word.replace(u'\'', u"'\\''"_s) + u'\'';
    return word.replace(u'\\', u"\\\\"_s);
}

} // namespace

ServiceFile::ServiceFile(const QString& folder, const QString& busName)
    : m_path(folder + u'/' + busName + u".service"_s), m_busName(busName) {}

ServiceFile::~ServiceFile() {
    if (m_written)
        QFile::remove(m_path);
}

bool ServiceFile::write(const QStringList& command) {
    QStringList words;
    for (const QString& word : command)
        words << quoted(word);
    const QByteArray text = u"[D-BUS Service]\nName=%1\nExec=%2\n"_s.arg(m_busName, words.join(u' ')).toUtf8();
    QFile file(m_path);
    if (file.open(QIODevice::ReadOnly) && file.readAll() == text) {
        m_written = true;
        return true;
    }
    file.close();
    m_written = QDir().mkpath(QFileInfo(m_path).absolutePath()) && file.open(QIODevice::NewOnly);
    if (!m_written || file.write(text) < 0) {
        complain(m_path, file.errorString());
        return false;
    }
    tell("wrote", QFileInfo(m_path).fileName());
    return true;
}

} // namespace ReferenceAgent
