#pragma once

#include <QString>
#include <QStringList>

namespace ReferenceAgent {

/// Makes a program a service that the session bus starts when it is first called, as long as this object lives.
///
/// A file that is there already is another's and stays, unless it has the very same words: those of an agent that was
/// killed.
class ServiceFile final {
public:
    /// @param folder  where the bus looks for services
    ServiceFile(const QString& folder, const QString& busName);
    ~ServiceFile();
    ServiceFile(const ServiceFile&) = delete;
    ServiceFile& operator=(const ServiceFile&) = delete;

    /// @param command  program and arguments  @return false, with a line on standard error, when it cannot be written
    bool write(const QStringList& command);

private:
    const QString m_path;
    const QString m_busName;
    bool m_written = false;
};

} // namespace ReferenceAgent
