#include "ImageExtension.h"

#include <QFile>
#include <QGuiApplication>
#include <QImageReader>
#include <QScreen>

#include <algorithm>

namespace {

/// A raster file is taken to be made for the scale, a vector file is drawn at it.
QImage readImage(const QString& path, int scale) {
    QImageReader reader(path);
    if (reader.supportsOption(QImageIOHandler::ScaledSize) && path.endsWith(QStringLiteral(".svg")))
        reader.setScaledSize(reader.size() * scale);
    QImage image = reader.read();
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
    return QStringLiteral("%1@%2x").arg(name, QString::number(scale));
}

QImage ImageExtension::imageWithName(const QString& name, const QString& resourceFolder, int scale) {
    const QString vector = QStringLiteral(":/images/%1.svg").arg(name);
    if (QFile::exists(vector))
        return readImage(vector, scale);
    const QString raster = QStringLiteral(":/images/%1.png").arg(name);
    if (QFile::exists(raster))
        return readImage(raster, 1);
    return noSystemCacheImageWithName(name, resourceFolder, scale);
}

QImage ImageExtension::noSystemCacheImageWithName(const QString& name, const QString& resourceFolder, int scale) {
    return readImage(QStringLiteral("%1/%2.png").arg(resourceFolder, scaledName(name, scale)), scale);
}

QImage ImageExtension::imageWithName(const QString& name, const QString& type, const QString& bundle,
                                     const QString& extraPath, const QString& resourceFolder, int scale) {
    if (!bundle.isNull()) {
        QString path = QStringLiteral("%1/%2.bundle").arg(resourceFolder, bundle);
        if (!extraPath.isNull())
            path += QStringLiteral("/%1").arg(extraPath);
        return readImage(QStringLiteral("%1/%2.%3").arg(path, scaledName(name, scale), type), scale);
    }
    const QImage plain = readImage(QStringLiteral("%1/%2.tiff").arg(resourceFolder, name), 1);
    return plain.isNull() ? noSystemCacheImageWithName(name, resourceFolder, scale) : plain;
}
