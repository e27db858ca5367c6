#include "NetworkInterfaces.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace Platform::NetworkInterfaces {

namespace {

constexpr int MaximumLayers = 4;

bool standsOnHardware(const QDir& interfaces, const QString& name, int layers) {
    const QString folder = interfaces.filePath(name);
    if (QFileInfo::exists(folder + u"/device"_s))
        return true;
    if (layers == 0)
        return false;
    const QString prefix = u"lower_"_s;
    for (const QString& link : QDir(folder).entryList({prefix + u'*'}, QDir::Dirs | QDir::System)) {
        if (standsOnHardware(interfaces, link.mid(prefix.size()), layers - 1))
            return true;
    }
    return false;
}

} // namespace

bool standsOnHardware(const QString& root, const QString& name) {
    return standsOnHardware(QDir(root + u"/sys/class/net"_s), name, MaximumLayers);
}

} // namespace Platform::NetworkInterfaces
