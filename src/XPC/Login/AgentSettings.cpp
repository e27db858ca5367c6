#include "AgentSettings.h"

#include "ArchiveStore.h"
#include "IntegerValue.h"

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
    return isSet(read(u"hideqenswitch.archive"_s));
}

bool AgentSettings::iShowOTP() const {
    return isSet(read(u"userlogin.archive"_s).toMap().value(u"double_factor_auth"_s));
}

int AgentSettings::selectBtnTag() const {
    const QVariantMap methods = read(u"userlogin.archive"_s).toMap();
    const qint64 qrCode = integerValue(methods.value(u"qrcode_login"_s)).value_or(0);
    const qint64 account = integerValue(methods.value(u"pc_account_login"_s)).value_or(0);
    return account == 1 && qrCode == 0 ? 1 : 0;
}

QVariant AgentSettings::AppMgrList() const {
    return read(u"appmgrlist.archive"_s);
}

QVariantList AgentSettings::TrustedsAppList() const {
    return read(u"ngncloudlist.archive"_s).toMap().value(u"trustedapp"_s).toList();
}
