#pragma once

#include <QColor>

/// Colours from their bytes; each channel is its byte divided by 255.
namespace ColorExtension {

/// @param value  0xRRGGBBAA
QColor fromRGBA(quint32 value);
/// @param value  0xRRGGBB; opaque, the byte above is ignored
QColor fromRGB(quint32 value);
QColor fromRed(quint8 red, quint8 green, quint8 blue);

} // namespace ColorExtension
