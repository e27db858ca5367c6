#pragma once

#include <QString>

#include <optional>

/// What the package database knows of one installed package.
struct InstalledPackage {
    QString name;
    QString version;
    QString maintainer;
};

/// The installed package that owns the file @p path, from the dpkg database below @p root. Reads every package's file
/// list until one matches: some ten milliseconds, not for the main thread.
std::optional<InstalledPackage> packageOwning(const QString& root, const QString& path);
