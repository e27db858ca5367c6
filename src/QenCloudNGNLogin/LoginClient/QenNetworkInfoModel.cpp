#include "QenNetworkInfoModel.h"

#include "ArchiveStore.h"
#include "Paths.h"
#include "StateFiles.h"
#include "SystemLog.h"

#include <QFile>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

const QString ClassName = u"QenNetworkInfoModel"_s;

} // namespace

QString QenNetworkInfoModel::defaultFolder() {
    return Platform::Paths::agentState();
}

QString QenNetworkInfoModel::modelSavePathWithCheck(bool check, const QString& folder) {
    if (check)
        Platform::makeFolder(folder);
    return folder + u'/' + StateFiles::ServerRecord;
}

ArchiveValue QenNetworkInfoModel::encoded() const {
    ArchiveValue object = ArchiveValue::object(ClassName);
    object.setField(u"networkType"_s, networkType);
    object.setField(u"record_server"_s, record_server);
    object.setField(u"record_port"_s, record_port);
    return object;
}

std::optional<QenNetworkInfoModel> QenNetworkInfoModel::decoded(const ArchiveValue& object) {
    if (!object.isObject() || object.className() != ClassName)
        return std::nullopt;
    QenNetworkInfoModel model;
    model.networkType = object.field(u"networkType"_s).integer();
    model.record_server = object.field(u"record_server"_s).string();
    model.record_port = object.field(u"record_port"_s).integer();
    return model;
}

std::optional<QenNetworkInfoModel> QenNetworkInfoModel::currentNetRecord(const QString& folder) {
    const auto root = unarchiveObjectWithFile(modelSavePathWithCheck(false, folder));
    return root ? decoded(*root) : std::nullopt;
}

bool QenNetworkInfoModel::saveModelRecord(const QString& folder) const {
    const QString path = modelSavePathWithCheck(true, folder);
    const auto stored = currentNetRecord(folder);
    if (stored && stored->record_server == record_server && stored->record_port == record_port)
        return true;
    if (archiveRootObject(encoded(), path))
        return true;
    Platform::systemLog(archiveResultError().logText());
    return false;
}

bool QenNetworkInfoModel::deleteCurrentNetModelRecord(const QString& folder) {
    return QFile::remove(modelSavePathWithCheck(false, folder));
}
