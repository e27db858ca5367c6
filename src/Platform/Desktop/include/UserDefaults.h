#pragma once

#include "ArchiveValue.h"

#include <QMap>
#include <QString>

#include <mutex>

namespace Platform {

/// Small settings of the user: a property list dictionary in the user's Preferences folder.
///
/// Read on first use; changes are held until synchronize(). Any thread.
class UserDefaults final {
public:
    /// @param file  a damaged or missing one reads as empty
    explicit UserDefaults(QString file);

    /// Nothing for a missing key.
    ArchiveValue objectForKey(const QString& key) const;
    /// Nothing, or a value that a property list cannot hold, removes the key.
    void setObject(const ArchiveValue& value, const QString& key);
    /// A number is true unless it is 0; a text when it begins with Y, y, T, t or another number than 0.
    bool boolForKey(const QString& key) const;
    void setBool(bool value, const QString& key);

    /// Writes what changed: on top of what is in the file now, so that keys of another process stay; in one step, 0600,
    /// its folder made when missing. @returns whether the file holds the changes; they are kept otherwise
    bool synchronize();

private:
    static ArchiveValue dictionaryIn(const QString& file);
    void load() const;

    const QString m_file;
    mutable std::mutex m_mutex;
    mutable bool m_isLoaded = false;
    mutable ArchiveValue m_values;
    /// Changed keys; Nothing for removed ones.
    QMap<QString, ArchiveValue> m_changes;
};

} // namespace Platform
