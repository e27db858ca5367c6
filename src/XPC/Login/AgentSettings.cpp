#include "AgentSettings.h"

#include "ArchiveStore.h"
#include "IntegerValue.h"
#include "StateFiles.h"

using namespace Qt::StringLiterals;

namespace {

/// The agent writes its flags as strings; a number is none.
bool isSet(const QVariant& flag) {
    return flag.typeId() == QMetaType::QString && flag.toString() == u"1"_s;
}

} // namespace

QVariant AgentSettings::read(const QString& name) const {
    const auto root = unarchiveObjectWithFile(m_agentState + u'/' + name);
    return root ? root->toVariant() : QVariant();
}

bool AgentSettings::isHideTray() const {
    return isSet(read(StateFiles::HideTray));
}

bool AgentSettings::iShowOTP() const {
    return isSet(read(StateFiles::UserLogin).toMap().value(u"double_factor_auth"_s));
}

int AgentSettings::selectBtnTag() const {
    const QVariantMap methods = read(StateFiles::UserLogin).toMap();
    const qint64 qrCode = integerValue(methods.value(u"qrcode_login"_s)).value_or(0);
    const qint64 account = integerValue(methods.value(u"pc_account_login"_s)).value_or(0);
    return account == 1 && qrCode == 0 ? 1 : 0;
}

QVariant AgentSettings::AppMgrList() const {
    return read(StateFiles::OfficeTools);
}

QVariantList AgentSettings::TrustedsAppList() const {
    return read(StateFiles::TrustedApps).toMap().value(u"trustedapp"_s).toList();
}
