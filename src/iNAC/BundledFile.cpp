#include "BundledFile.h"

#include "Bundle.h"

#include <QFile>

namespace {

/// Bytes; far more than a profile or an identity has.
constexpr qint64 LargestFile = 1 << 20;

} // namespace

QByteArray bundledFile(const QString& name, const QString& type) {
    const QString path = Platform::resourcePath(name, type);
    QFile file(path);
    return !path.isEmpty() && file.open(QIODevice::ReadOnly) ? file.read(LargestFile) : QByteArray();
}
