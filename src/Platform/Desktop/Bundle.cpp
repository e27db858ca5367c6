#include "Bundle.h"

#include "Files.h"
#include "Paths.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

QString contents() {
    return Paths::applicationBundle() + u"/Contents/"_s;
}

std::optional<ArchiveValue> information(const QString& folder) {
    const auto bytes = readFile(folder + u"/Contents/Info.plist"_s, PropertyListLimits::FileSize);
    return bytes ? PropertyList::decoded(*bytes) : std::nullopt;
}

} // namespace

QString resourcePath(const QString& name, const QString& type) {
    const QString file = type.isEmpty() ? name : name + u'.' + type;
    if (name.isEmpty())
        return {};
    for (const QString& place : {contents() + u"Resources/"_s, u":/bundle/"_s}) {
        if (QFileInfo::exists(place + file))
            return place + file;
    }
    return {};
}

QString infoValue(const QString& key) {
    if (const auto own = information(Paths::applicationBundle()))
        return own->value(key).string();
    const bool isVersion = key == u"CFBundleVersion" || key == u"CFBundleShortVersionString";
    return isVersion ? QStringLiteral(MAV_VERSION) : QString();
}

QString infoValue(const QString& folder, const QString& key) {
    const auto other = information(folder);
    return other ? other->value(key).string() : QString();
}

} // namespace Platform
