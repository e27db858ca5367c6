#pragma once

#include <QImage>
#include <QString>

/// Finds pictures by name for the screen's scale factor. The images carry that factor as their device pixel ratio; a
/// null image means that there is none. Any thread, except for mainScreenScale().
namespace ImageExtension {

/// The scale factor of the main screen as an integer, at least 1. Main thread; 1 without a GUI application.
int mainScreenScale();

/// "logo" and 2 give "logo@2x".
QString scaledName(const QString& name, int scale);

/// The named picture of the program (":/images/<name>.svg" or ".png") when it exists, else "<scaled name>.png" of @p
/// resourceFolder.
QImage imageWithName(const QString& name, const QString& resourceFolder, int scale = mainScreenScale());

/// Always read afresh from "<scaled name>.png" of @p resourceFolder.
QImage noSystemCacheImageWithName(const QString& name, const QString& resourceFolder, int scale = mainScreenScale());

/// With a bundle: "<scaled name>.<type>" in "<bundle>.bundle" of @p resourceFolder, below the extra path when there is
/// one. With a null
/// @p bundle: "<name>.tiff" of @p resourceFolder, failing that "<scaled name>.png". A null @p extraPath is none.
QImage imageWithName(const QString& name, const QString& type, const QString& bundle, const QString& extraPath,
    const QString& resourceFolder, int scale = mainScreenScale());

} // namespace ImageExtension
