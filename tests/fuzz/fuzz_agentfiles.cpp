// The files that the agent leaves for the client, all with the same content: an archive of the input's JSON, else its
// very bytes. What is odd is absent, and what is taken over is read again as it was.

#include "ArchiveJson.h"
#include "CheckCatalogue.h"
#include "ClientWorld.h"
#include "Fuzzing.h"
#include "KeyedArchiver.h"
#include "NetworkPolicyFollower.h"
#include "QenCategoryMode.h"
#include "QenToolModel.h"
#include "QenUIFileListener.h"
#include "ToolNames.h"

namespace {

void readSettings(const ClientFolder& folder, const QenCloudLoginHelper& helper) {
    helper.isHideTray();
    helper.iShowOTP();
    helper.selectBtnTag();
    for (const QenToolModel& tool : toolModels(helper.AppMgrList(), [](const QString&) {})) {
        require(!tool.appName.isEmpty(), "a tool without a name");
        ToolNames::match(tool.appName, tool.appName);
    }
    for (const QVariant& entry : helper.TrustedsAppList())
        QenCategoryMode::initWithDictionary(entry);
    const auto policy = unarchivedObjectWithFilePath(folder.agent() + u'/' + StateFiles::ComplianceInfo);
    checkTree(policy.value_or(Platform::ArchiveValue()), requiredChecks(policy));
    const NetworkAccessPolicy access = storedNetworkAccessPolicy(folder.agent());
    require(!policy || !offersJoinDomain(policy->toVariant(), access) || !policy->isArray(), "a list offers to join");
}

void readServers(const ClientFolder& folder) {
    QenServerConfig config(folder.agent() + u'/' + StateFiles::ServerList, folder.support() + u"/QenCloudL"_s);
    config.updateServerConfig();
    QenAnalyseDomain domain;
    domain.analyseServerConfig(config.domain_server());
    require(domain.path_config().isEmpty() || domain.path_config().startsWith(u'/'), "a path without its beginning");
}

void readRecords(const ClientFolder& folder) {
    QenNetworkInfoModel::currentNetRecord(folder.agent());
    const auto record = AccountModel::currentModel(folder.support());
    if (!record)
        return;
    QenUIFileListener::ticketNotice(*record);
    record->decryptTicket();
    require(record->save(folder.support()), "a record that was read cannot be stored");
    require(AccountModel::currentModel(folder.support()) == record, "a record is read as something else");
}

} // namespace

void fuzz(const QByteArray& input) {
    static ClientFolder folder;
    static const ClientWorld world(folder);
    QByteArray content = input;
    QString reason;
    if (const auto value = ArchiveJson::value(content.toStdString(), reason))
        content = Platform::KeyedArchiver::archivedData(*value);
    for (const auto name :
        {StateFiles::HideTray, StateFiles::UserLogin, StateFiles::OfficeTools, StateFiles::TrustedApps,
            StateFiles::ComplianceInfo, StateFiles::InacSsidInfo, StateFiles::ServerList, StateFiles::ServerRecord})
        require(!Platform::replaceFile(folder.agent() + u'/' + name, content), "an input cannot be written");
    require(!Platform::replaceFile(folder.state(StateFiles::Login), content), "an input cannot be written");
    readSettings(folder, world.helper);
    readServers(folder);
    readRecords(folder);
}
