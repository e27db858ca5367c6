#include "StateFiles.h"

#include "ArchiveStore.h"
#include "Files.h"
#include "ForeignPicture.h"
#include "ITDevice.h"
#include "Paths.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"

#include <QFileInfo>
#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace Paths = Platform::Paths;

namespace StateFiles {

namespace {

bool isText(const QString& path) {
    const auto bytes = Platform::readFile(path, Platform::PropertyListLimits::FileSize);
    if (!bytes)
        return false;
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(*bytes);
    return !decoder.hasError();
}

bool isPropertyList(const QString& path) {
    const auto bytes = Platform::readFile(path, Platform::PropertyListLimits::FileSize);
    return bytes && Platform::PropertyList::decoded(*bytes).has_value();
}

bool decodes(const QString& path, Form form) {
    switch (form) {
    case Form::Archive:
        return unarchiveObjectWithFile(path).has_value();
    case Form::Text:
        return isText(path);
    case Form::Picture:
        return !readForeignPicture(path).isNull();
    case Form::PropertyList:
        return isPropertyList(path);
    }
    return false;
}

} // namespace

Form formOf(const QString& path) {
    if (path.endsWith(u".txt"_s))
        return Form::Text;
    if (path.endsWith(u".png"_s))
        return Form::Picture;
    return path.endsWith(u".mobileconfig"_s) ? Form::PropertyList : Form::Archive;
}

QList<File> all() {
    QList<File> files;
    const auto add = [&files](const QString& folder, bool isAgents, std::initializer_list<const char*> names) {
        for (const char* name : names) {
            const QString path = folder + u'/' + QString::fromLatin1(name);
            files.append({path, formOf(path), isAgents});
        }
    };
    add(Paths::agentState(), true,
        {".QenConfig", "record_server.archive", "userlogin.archive", "hideqenswitch.archive", "appmgrlist.archive",
            "ngncloudlist.archive", "complianceInfo", "complianceInfo.archive", "inacSSIDInfo.archive",
            "joindomainSwitchStatus.archive", "switchngn.archive", "tips.txt", "restart.txt", "joinDomainUpdate.txt",
            "c_qen_mark@2x.png"});
    // Addressed through the account's home by both sides, wherever $HOME points.
    const QString home = Paths::homeForUser(ITDevice::currentDevice().userName());
    if (!home.isEmpty())
        add(home + u"/Library/Application Support/QenCloudL"_s, true, {"inacStatus.archive"});
    add(Paths::userState(), false,
        {"login.archive", "soleid.archive", "netType.archive", "userpolicy.archive", "NGNPolicy.archive",
            "GeneralConfig.archive", "domianorip.archive", "inacCache.archive", "caCache.archive",
            "RTMDMNetwork.mobileconfig"});
    return files;
}

State stateOf(const QString& path, Form form) {
    const QFileInfo info(path);
    if (!info.exists())
        return {};
    return {decodes(path, form) ? Condition::Decodes : Condition::Damaged, info.lastModified()};
}

QString word(Condition condition) {
    switch (condition) {
    case Condition::Decodes:
        return u"decodes"_s;
    case Condition::Damaged:
        return u"damaged"_s;
    case Condition::Missing:
        break;
    }
    return u"missing"_s;
}

} // namespace StateFiles
