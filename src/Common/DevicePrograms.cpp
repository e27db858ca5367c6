#include "ITDevice.h"

#include "Files.h"
#include "InstalledPackage.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

/// The platform's numbers for code that is not signed, and for no code at all.
constexpr int NotSigned = -67062;
constexpr int NoSuchCode = -67068;

/// Version in the information file of the bundle that @p path lies in; empty outside of bundles.
QString bundleVersion(const QString& path) {
    const QString ending = u".app/"_s;
    const qsizetype place = path.indexOf(ending);
    if (place < 0)
        return {};
    const QString file = path.left(place + ending.size()) + u"Contents/Info.plist"_s;
    const auto bytes = Platform::readFile(file, Platform::PropertyListLimits::FileSize);
    const auto information = bytes ? Platform::PropertyList::decoded(*bytes) : std::nullopt;
    return information ? information->value(u"CFBundleShortVersionString").string() : QString();
}

} // namespace

QString ITDevice::getAppVersionWithPath(const QString& path) const {
    const QString version = bundleVersion(path);
    if (!version.isEmpty())
        return version;
    const auto package = packageOwning(m_root, path);
    return package ? package->version : QString();
}

QVariantMap ITDevice::getProcessSign(const QString& path) const {
    const auto package = packageOwning(m_root, path);
    const bool isNamed = package && !package->maintainer.isEmpty();
    return {{u"signatureStatus"_s, QFileInfo(path).isFile() ? NotSigned : NoSuchCode},
        {u"signingAuthorities"_s, QStringList{isNamed ? package->maintainer : u"unknown"_s}}};
}
