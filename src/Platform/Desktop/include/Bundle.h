#pragma once

#include <QString>

/// The application bundle's resources.
namespace Platform {

/// File of a resource: Contents/Resources/name.type in the bundle when that exists, else the built-in
/// ":/bundle/name.type", else empty. @p type may be empty.
QString resourcePath(const QString& name, const QString& type);

/// A text of the bundle's Contents/Info.plist. Without one the version keys give the version this program was built as,
/// and every other key is empty.
QString infoValue(const QString& key);
/// A text of the Contents/Info.plist of the bundle @p folder; null without bundle, key or text.
QString infoValue(const QString& folder, const QString& key);

} // namespace Platform
