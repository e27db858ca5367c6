#include "AccountModel.h"

#include "ArchiveStore.h"
#include "Paths.h"
#include "StateFiles.h"
#include "StringExtension.h"
#include "SystemLog.h"

#include <QFile>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

const QString PassPhrase = u"quorvanel"_s;
const QString ClassName = u"AccountModel"_s;

} // namespace

AccountModelHelper& AccountModelHelper::helper() {
    static auto* helper = new AccountModelHelper(Platform::Paths::applicationSupport());
    return *helper;
}

AccountModel::AccountModel() {
    setTicket(""_L1);
}

void AccountModel::setTicket(const QString& ticket) {
    m_ticket = StringExtension::aes256_encrypt(ticket, PassPhrase).value_or(QString());
}

QString AccountModel::decryptTicket() const {
    const QString plain = StringExtension::aes256_decrypt(m_ticket, PassPhrase).value_or(QString());
    return plain.isEmpty() ? m_ticket : plain;
}

ArchiveValue AccountModel::encoded() const {
    ArchiveValue object = ArchiveValue::object(ClassName);
    object.setField(u"ticket"_s, m_ticket);
    object.setField(u"qenStatus"_s, m_qenStatus);
    object.setField(u"userid"_s, m_userid);
    object.setField(u"username"_s, m_username);
    object.setField(u"islogout"_s, m_islogout);
    object.setField(u"ticket_state"_s, m_ticketState);
    object.setField(u"networkType"_s, m_networkType);
    object.setField(u"loginType"_s, m_loginType);
    object.setField(u"domainName"_s, m_domainName);
    return object;
}

std::optional<AccountModel> AccountModel::decoded(const ArchiveValue& object) {
    if (!object.isObject() || object.className() != ClassName)
        return std::nullopt;
    AccountModel model;
    model.m_ticket = object.field(u"ticket"_s).string();
    model.m_qenStatus = object.field(u"qenStatus"_s).integer();
    model.m_userid = object.field(u"userid"_s).string();
    model.m_username = object.field(u"username"_s).string();
    model.m_islogout = object.field(u"islogout"_s).integer();
    model.m_ticketState = object.field(u"ticket_state"_s).integer();
    model.m_networkType = object.field(u"networkType"_s).integer();
    model.m_loginType = object.field(u"loginType"_s).integer();
    model.m_domainName = object.field(u"domainName"_s).string();
    return model;
}

QString AccountModel::modelSavePathWithCheck(bool check, const QString& rootPath) {
    const QString folder = rootPath + u'/' + StateFiles::UserFolder;
    if (check)
        Platform::makeFolder(folder);
    return folder + u'/' + StateFiles::Login;
}

std::optional<AccountModel> AccountModel::currentModel(const QString& rootPath, bool* mayPass) {
    const auto root = unarchiveObjectWithFile(
        modelSavePathWithCheck(false, rootPath), {"NSString", "AccountModel", "NSValue", "NSNull"}, mayPass);
    return root ? decoded(*root) : std::nullopt;
}

bool AccountModel::save(const QString& rootPath) const {
    if (archiveRootObject(encoded(), modelSavePathWithCheck(true, rootPath), Platform::Durability::Synced))
        return true;
    Platform::systemLog(archiveResultError().logText());
    return false;
}

bool AccountModel::deleteCurrentModel(const QString& rootPath) {
    return QFile::remove(modelSavePathWithCheck(false, rootPath));
}
