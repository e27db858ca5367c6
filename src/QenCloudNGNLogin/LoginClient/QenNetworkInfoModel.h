#pragma once

#include <QString>

#include <optional>

using namespace Qt::StringLiterals;

namespace Platform {
class ArchiveValue;
}

/// The record of the last used server. A value; any thread.
class QenNetworkInfoModel final {
public:
    qint64 networkType = 0;
    QString record_server = ""_L1;
    qint64 record_port = 0;

    /// @param folder  the agent's data folder
    static std::optional<QenNetworkInfoModel> currentNetRecord(const QString& folder = defaultFolder());
    /// True on success, or when the stored record already has this server and port: a change of the network type alone
    /// is not saved, on purpose.
    bool saveModelRecord(const QString& folder = defaultFolder()) const;
    /// True only when the file existed and is gone.
    static bool deleteCurrentNetModelRecord(const QString& folder = defaultFolder());
    /// Path of "record_server.archive"; with @p check its folder is made first.
    static QString modelSavePathWithCheck(bool check, const QString& folder = defaultFolder());

    Platform::ArchiveValue encoded() const;
    static std::optional<QenNetworkInfoModel> decoded(const Platform::ArchiveValue& object);

private:
    static QString defaultFolder();
};
