#pragma once

#include <QString>

/// Makes the client's folders and files: folders 0700, files 0600. Failures are not reported unless stated. Any thread.
class FileManager final {
public:
    static FileManager& sharedInstance();

    /// @p rootDirectory with @p name appended; made with the folders above it when nothing exists there.
    /// @returns the path in every case
    QString createDirectoryWithName(const QString& name, const QString& rootDirectory) const;
    /// Makes an empty file when nothing exists at @p path. @returns the path, null when the file could not be made
    QString createFilePath(const QString& path) const;
    QString createFilePathWithFileName(const QString& fileName, const QString& directory) const;

    /// The application data root: "/Users/.AllUsers/QenCloud/QenCloud.EXE$".
    QString createAppRootDirectory() const;
    QString createAppUpgradeRootDirectory() const;
    QString createAppPolicyRootDirectory() const;
};
