#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QString>

#include <optional>

namespace ReferenceAgent {

/// Makes and reads keyed archives by running the support tool. Waits for it, a few seconds at most.
class ArchiveTool final {
public:
    /// @param program  path of the support tool
    explicit ArchiveTool(QString program) : m_program(std::move(program)) {}

    /// @return the root object of the archive at @p path; no value when it is missing or not readable
    std::optional<QJsonValue> show(const QString& path) const;
    /// Writes @p root to @p path, which is replaced. @param why  receives the tool's own words on failure
    bool write(const QString& path, const QJsonValue& root, QString* why) const;

private:
    std::optional<QByteArray> run(const QStringList& arguments, const QByteArray& input, QString* why) const;

    QString m_program;
};

} // namespace ReferenceAgent
