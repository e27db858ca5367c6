#include "ImageExtension.h"

#include <QFile>
#include <QGuiApplication>
#include <QImageReader>
#include <QScreen>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// A raster file is taken to be made for the scale, a vector file is drawn at it.
QImage readImage(const QString& path, int scale) {
    QImageReader reader(path);
    if (reader.supportsOption(QImageIOHandler::ScaledSize) && path.endsWith(u".svg"_s))
        reader.setScaledSize(reader.size() * scale);
    // With a colour table and another pixel ratio than 1, Qt 6.4 cannot scale it.
    QImage image = reader.read().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    return image;
}

} // namespace

int ImageExtension::mainScreenScale() {
    const auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    const QScreen* screen = application ? QGuiApplication::primaryScreen() : nullptr;
    return screen ? std::max(1, static_cast<int>(screen->devicePixelRatio())) : 1;
}

QString ImageExtension::scaledName(const QString& name, int scale) {
    return u"%1@%2x"_s.arg(name, QString::number(scale));
}

QImage ImageExtension::imageWithName(const QString& name, const QString& resourceFolder, int scale) {
    const QString vector = u":/images/%1.svg"_s.arg(name);
    if (QFile::exists(vector))
        return readImage(vector, scale);
    const QString raster = u":/images/%1.png"_s.arg(name);
    if (QFile::exists(raster))
        return readImage(raster, 1);
    return noSystemCacheImageWithName(name, resourceFolder, scale);
}

QImage ImageExtension::noSystemCacheImageWithName(const QString& name, const QString& resourceFolder, int scale) {
    return readImage(u"%1/%2.png"_s.arg(resourceFolder, scaledName(name, scale)), scale);
}

QImage ImageExtension::imageWithName(const QString& name, const QString& type, const QString& bundle,
    const QString& extraPath, const QString& resourceFolder, int scale) {
    if (!bundle.isNull()) {
        QString path = u"%1/%2.bundle"_s.arg(resourceFolder, bundle);
        if (!extraPath.isNull())
            path += u"/%1"_s.arg(extraPath);
        return readImage(u"%1/%2.%3"_s.arg(path, scaledName(name, scale), type), scale);
    }
    const QImage plain = readImage(u"%1/%2.tiff"_s.arg(resourceFolder, name), 1);
    return plain.isNull() ? noSystemCacheImageWithName(name, resourceFolder, scale) : plain;
}
