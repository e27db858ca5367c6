#pragma once

#include "ArchiveValue.h"

#include <QString>

#include <mutex>

namespace Platform {

/// Small settings of the user: a property list dictionary in the user's Preferences folder, read and written where it
/// is used. Any thread.
class UserDefaults final {
public:
    /// @param file  a damaged or missing one reads as empty
    explicit UserDefaults(QString file) : m_file(std::move(file)) {}

    /// Nothing for a missing key.
    ArchiveValue objectForKey(const QString& key) const;
    /// True for a number that is not 0.
    bool boolForKey(const QString& key) const;
    /// Nothing, or a value that a property list cannot hold, removes the key. What changes is written on top of what is
    /// in the file now, so that keys of another process stay; in one step, 0600, its folder made when missing.
    /// @returns whether the file holds it
    bool setObject(const ArchiveValue& value, const QString& key);
    bool setBool(bool value, const QString& key) { return setObject(ArchiveValue(value), key); }

private:
    ArchiveValue held(bool* mayPass = nullptr) const;

    const QString m_file;
    mutable std::mutex m_mutex;
};

} // namespace Platform
