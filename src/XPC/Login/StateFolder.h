#pragma once

#include "ArchiveStore.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <mutex>

/// The client's state files but for the signed-in record: each one keyed archive, replaced in one step.
///
/// Any thread. A file whose content is already what is to be written is left alone, so that whoever follows it hears of
/// changes only. Failures are not reported: a file that cannot be written is as it was.
class StateFolder final {
public:
    explicit StateFolder(QString folder) : m_folder(std::move(folder)) {}

    QString path(const QString& name) const { return m_folder + u'/' + name; }
    bool exists(const QString& name) const;
    std::optional<Platform::ArchiveValue> read(const QString& name) const;
    /// Makes the folder when it is missing.
    void replace(const QString& name, const Platform::ArchiveValue& root,
        Platform::Durability durability = Platform::Durability::Plain);
    /// Writes also what stands there already: a file whose writing is the message.
    void rewrite(const QString& name, const Platform::ArchiveValue& root);
    bool remove(const QString& name);
    /// The file stands as replace() of this object left it: nobody has written, and nobody has taken it away.
    bool isUntouched(const QString& name) const;

private:
    struct Written {
        QByteArray bytes;
        Platform::FileIdentity identity;
    };

    const QString m_folder;
    mutable std::mutex m_mutex;
    QHash<QString, Written> m_written;
};
