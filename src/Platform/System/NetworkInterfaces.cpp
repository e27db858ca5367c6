#include "NetworkInterfaces.h"

#include <QDir>
#include <QFileInfo>

namespace Platform::NetworkInterfaces {

namespace {

constexpr int MaximumLayers = 4;

bool standsOnHardware(const QDir& interfaces, const QString& name, int layers) {
    const QString folder = interfaces.filePath(name);
    if (QFileInfo::exists(folder + QStringLiteral("/device")))
        return true;
    if (layers == 0)
        return false;
    const QString prefix = QStringLiteral("lower_");
    for (const QString& link : QDir(folder).entryList({prefix + u'*'}, QDir::Dirs | QDir::System)) {
        if (standsOnHardware(interfaces, link.mid(prefix.size()), layers - 1))
            return true;
    }
    return false;
}

} // namespace

bool standsOnHardware(const QString& root, const QString& name) {
    return standsOnHardware(QDir(root + QStringLiteral("/sys/class/net")), name, MaximumLayers);
}

} // namespace Platform::NetworkInterfaces
