#pragma once

#include <QImage>
#include <QString>

/// What a picture that somebody else made may be: an organisation's mark, the icon of a program.
namespace ForeignPictureLimits {
inline constexpr qint64 FileSize = 4 * 1024 * 1024;
inline constexpr int Side = 2048;
inline constexpr qint64 VectorFileSize = 256 * 1024;
} // namespace ForeignPictureLimits

/// Reads such a picture: PNG, JPEG, GIF (its first image) or BMP, told by its content and not by its name. The only
/// decoder of pictures from outside: every one comes as premultiplied ARGB with pixel ratio 1, since Qt 6.4 ends the
/// program when it scales an image with a colour table and another ratio.
///
/// Null for a file that is missing, no regular one, beyond the limits or broken. Reads a file; any thread.
/// @param vectorSide  SVG is drawn into a square of that side; 0 refuses it
QImage readForeignPicture(const QString& path, int vectorSide = 0);
