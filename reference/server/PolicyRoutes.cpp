#include "PolicyRoutes.h"

#include "Router.h"
#include "Sealing.h"
#include "Stores.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

/// Answers are enciphered without compression, unlike requests.
QString sealedSetting(const Stores& stores, const QString& name) {
    const QJsonObject value = stores.settings.value(name).toObject();
    return QString::fromLatin1(encipher(QJsonDocument(value).toJson(QJsonDocument::Compact)));
}

Answer startConfiguration(const Stores& stores) {
    return jsonAnswer({{u"ret"_s, 0}, {u"msg"_s, QString()}, {u"data"_s, sealedSetting(stores, u"start_config"_s)}});
}

Answer gatewayPolicy(const Stores& stores, const Request& request) {
    // This operation's result is named "code".
    if (request.query.queryItemValue(u"ostype"_s) != "mac"_L1)
        return jsonAnswer({{u"code"_s, 11}, {u"msg"_s, u"请求参数错误：ostype"_s}});
    return jsonAnswer({{u"code"_s, 0}, {u"msg"_s, QString()}, {u"data"_s, sealedSetting(stores, u"policy_data"_s)},
        {u"office_data"_s, sealedSetting(stores, u"policy_office_data"_s)}});
}

} // namespace

void addPolicyRoutes(Router& router, Stores& stores) {
    router.add("GET", u"/qen/ping"_s, {Form::None, {}, [](const Request&, const QJsonObject&) {
                                           return jsonAnswer({{u"ret"_s, 0}});
                                       }});
    router.add("GET", u"/api/public/client/start_config"_s,
        {Form::None, {}, [&stores](const Request&, const QJsonObject&) { return startConfiguration(stores); }});
    router.add("GET", u"/qen/ngnpolicy"_s, {Form::None, {}, [&stores](const Request& request, const QJsonObject&) {
                                                return gatewayPolicy(stores, request);
                                            }});
}

} // namespace Reference
