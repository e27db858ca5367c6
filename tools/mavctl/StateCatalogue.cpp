#include "StateCatalogue.h"

#include "ArchiveStore.h"
#include "Files.h"
#include "ForeignPicture.h"
#include "ITDevice.h"
#include "Paths.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"
#include "StateFiles.h"

#include <QFileInfo>
#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace Paths = Platform::Paths;

namespace StateCatalogue {

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
    const auto add = [&files](const QString& path, bool isAgents) { files.append({path, formOf(path), isAgents}); };
    using namespace StateFiles;
    for (const auto name :
        {ServerList, ServerRecord, UserLogin, HideTray, OfficeTools, TrustedApps, ComplianceInfoPlain, ComplianceInfo,
            InacSsidInfo, JoinDomainSwitch, NgnSwitch, Tips, Restart, JoinDomainUpdate, MarkImage})
        add(Paths::agentState() + u'/' + name, true);
    const QString home = Paths::homeForUser(ITDevice().userName());
    if (!home.isEmpty())
        add(inacStatusFile(home), true);
    for (const auto name : {Login, SoleId, NetType, UserPolicy, NGNPolicy, GeneralConfig, ServerAddress, InacCache,
             CaCache, NetworkProfile})
        add(Paths::userState() + u'/' + name, false);
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

} // namespace StateCatalogue
