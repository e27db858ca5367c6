#include "ArchiveTool.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace ReferenceAgent {

namespace {

constexpr int limitMs = 10000;

} // namespace

std::optional<QJsonValue> ArchiveTool::show(const QString& path) const {
    QString ignored;
    const auto output = run({u"archive"_s, u"show"_s, path}, {}, &ignored);
    if (!output)
        return {};
    // In a list of one, since a document cannot hold a bare string.
    const QJsonDocument document = QJsonDocument::fromJson('[' + *output + ']');
    if (document.array().size() != 1)
        return {};
    return document.array().first();
}

bool ArchiveTool::write(const QString& path, const QJsonValue& root, QString* why) const {
    QByteArray json = QJsonDocument(QJsonArray{root}).toJson(QJsonDocument::Compact);
    json = json.mid(1, json.size() - 2);
    return run({u"archive"_s, u"write"_s, path}, json, why).has_value();
}

std::optional<QByteArray> ArchiveTool::run(const QStringList& arguments, const QByteArray& input, QString* why) const {
    QProcess process;
    process.start(m_program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(limitMs)) {
        *why = process.errorString();
        process.kill();
        process.waitForFinished(limitMs);
        return {};
    }
    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return process.readAllStandardOutput();
    *why = QString::fromUtf8(process.readAllStandardError().trimmed());
    return {};
}

} // namespace ReferenceAgent
