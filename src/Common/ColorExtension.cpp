#include "ColorExtension.h"

QColor ColorExtension::fromRGBA(quint32 value) {
    return QColor(value >> 24, value >> 16 & 0xff, value >> 8 & 0xff, value & 0xff);
}

QColor ColorExtension::fromRGB(quint32 value) {
    return QColor(value >> 16 & 0xff, value >> 8 & 0xff, value & 0xff);
}

QColor ColorExtension::fromRed(quint8 red, quint8 green, quint8 blue) {
    return QColor(red, green, blue);
}
