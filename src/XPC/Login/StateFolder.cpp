#include "StateFolder.h"

#include "KeyedArchiver.h"
#include "PropertyListLimits.h"

#include <QFile>

bool StateFolder::exists(const QString& name) const {
    return Platform::fileIdentity(path(name)) != Platform::FileIdentity();
}

std::optional<Platform::ArchiveValue> StateFolder::read(const QString& name) const {
    return unarchiveObjectWithFile(path(name));
}

void StateFolder::replace(const QString& name, const Platform::ArchiveValue& root, Platform::Durability durability) {
    const QByteArray bytes = Platform::KeyedArchiver::archivedData(root);
    if (bytes.isEmpty())
        return;
    const std::lock_guard lock(m_mutex);
    Written& written = m_written[name];
    const bool isKnown =
        written.identity != Platform::FileIdentity() && written.identity == Platform::fileIdentity(path(name));
    if (isKnown ? written.bytes == bytes
                : Platform::readFile(path(name), Platform::PropertyListLimits::FileSize) == bytes) {
        written = {bytes, Platform::fileIdentity(path(name))};
        return;
    }
    Platform::makeFolder(m_folder);
    if (Platform::replaceFile(path(name), bytes, durability))
        m_written.remove(name);
    else
        written = {bytes, Platform::fileIdentity(path(name))};
}

void StateFolder::rewrite(const QString& name, const Platform::ArchiveValue& root) {
    Platform::makeFolder(m_folder);
    archiveRootObject(root, path(name));
}

bool StateFolder::remove(const QString& name) {
    const std::lock_guard lock(m_mutex);
    m_written.remove(name);
    return QFile::remove(path(name));
}

bool StateFolder::isUntouched(const QString& name) const {
    const std::lock_guard lock(m_mutex);
    const auto written = m_written.constFind(name);
    return written != m_written.cend() && written->identity == Platform::fileIdentity(path(name));
}
