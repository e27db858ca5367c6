#pragma once

#include "AccountModel.h"
#include "Files.h"

#include <QString>

#include <optional>

/// The file of the signed-in record, as far as one reader and writer knows it: reads it again only when another file
/// stands there, and replaces it only while the file is the one that was read.
///
/// Not safe against two threads of one object; its owner, the session, locks.
class AccountRecord final {
public:
    enum class Stored {
        Yes,
        /// Somebody else has written meanwhile; nothing is changed, and refresh() gives what there is now.
        Conflict,
        /// The system refused; nothing is changed.
        Failed,
    };

    /// @param rootPath  as AccountModel takes it; nothing is read yet
    explicit AccountRecord(QString rootPath);

    /// Whether another file stands there than the one that was read or written last: one system call.
    bool isOutdated() const;
    /// What the file holds now; nothing for a missing, damaged or foreign one.
    std::optional<AccountModel> refresh();
    /// Puts @p record in the place of the file that was read last, or removes it. Safe against power loss.
    Stored replace(const std::optional<AccountModel>& record);

private:
    Stored write(const AccountModel& record, const QString& path, const QString& aside);
    Stored remove(const QString& path, const QString& aside);

    const QString m_rootPath;
    Platform::FileIdentity m_identity;
};
