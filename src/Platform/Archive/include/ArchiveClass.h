#pragma once

#include <QStringList>

namespace Platform {

/// The class of an object, shared by all objects of one class in an archive.
struct ArchiveClass {
    QString name;
    /// From the class up to NSObject; empty when the archive named none.
    QStringList classes;
};

} // namespace Platform
