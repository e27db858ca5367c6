#include "AccountModel.h"

#include "ArchiveStore.h"
#include "StringExtension.h"
#include "SystemLog.h"

#include <QFile>

using Platform::ArchiveValue;

namespace {

const QString PassPhrase = QStringLiteral("quorvanel");
const QString ClassName = QStringLiteral("AccountModel");

/// Present but empty: a record without a user id is another thing.
QString emptyText() {
    return QLatin1String("");
}

} // namespace

AccountModel::AccountModel() : m_userid(emptyText()), m_username(emptyText()), m_domainName(emptyText()) {
    setTicket(emptyText());
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
    object.setField(QStringLiteral("ticket"), m_ticket);
    object.setField(QStringLiteral("qenStatus"), m_qenStatus);
    object.setField(QStringLiteral("userid"), m_userid);
    object.setField(QStringLiteral("username"), m_username);
    object.setField(QStringLiteral("islogout"), m_islogout);
    object.setField(QStringLiteral("ticket_state"), m_ticketState);
    object.setField(QStringLiteral("networkType"), m_networkType);
    object.setField(QStringLiteral("loginType"), m_loginType);
    object.setField(QStringLiteral("domainName"), m_domainName);
    return object;
}

std::optional<AccountModel> AccountModel::decoded(const ArchiveValue& object) {
    if (!object.isObject() || object.className() != ClassName)
        return std::nullopt;
    AccountModel model;
    model.m_ticket = object.field(QStringLiteral("ticket")).string();
    model.m_qenStatus = object.field(QStringLiteral("qenStatus")).integer();
    model.m_userid = object.field(QStringLiteral("userid")).string();
    model.m_username = object.field(QStringLiteral("username")).string();
    model.m_islogout = object.field(QStringLiteral("islogout")).integer();
    model.m_ticketState = object.field(QStringLiteral("ticket_state")).integer();
    model.m_networkType = object.field(QStringLiteral("networkType")).integer();
    model.m_loginType = object.field(QStringLiteral("loginType")).integer();
    model.m_domainName = object.field(QStringLiteral("domainName")).string();
    return model;
}

QString AccountModel::modelSavePathWithCheck(bool check, const QString& rootPath) {
    const QString folder = rootPath + QStringLiteral("/QenCloudL");
    if (check)
        Platform::makeFolder(folder);
    return folder + QStringLiteral("/login.archive");
}

std::optional<AccountModel> AccountModel::currentModel(const QString& rootPath) {
    const auto root = unarchiveObjectWithFile(modelSavePathWithCheck(false, rootPath),
                                              {"NSString", "AccountModel", "NSValue", "NSNull"});
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
