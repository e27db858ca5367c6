#pragma once

#include <QColor>

/// Colours from their bytes; each channel is its byte divided by 255.
namespace ColorExtension {

/// @param value  0xRRGGBBAA
inline QColor fromRGBA(quint32 value) {
    return QColor(value >> 24, value >> 16 & 0xff, value >> 8 & 0xff, value & 0xff);
}
/// @param value  0xRRGGBB; opaque, the byte above is ignored
inline QColor fromRGB(quint32 value) {
    return QColor(value >> 16 & 0xff, value >> 8 & 0xff, value & 0xff);
}
inline QColor fromRed(quint8 red, quint8 green, quint8 blue) {
    return QColor(red, green, blue);
}

} // namespace ColorExtension
