#include "QenCloudNGNLogin.h"

#include "ErrorText.h"
#include "SealedBody.h"

using Platform::Error;

namespace {

QenCloudNGNLogin::Completion normalising(QenCloudNGNLogin::Completion complete) {
    return [complete = std::move(complete)](
               const QJsonObject& answer, const Error& error) { complete(answer, normalisedError(error)); };
}

} // namespace

void QenCloudNGNLogin::loginAccount(const QJsonObject& parameters, Completion complete) {
    m_accounts.PostResquestDicWithParamDic(parameters, normalising(std::move(complete)));
}

void QenCloudNGNLogin::startCheckQRLoginState(qint64 clientoper, Completion complete) {
    m_accounts.checkQRLoginState(clientoper, normalising(std::move(complete)));
}

void QenCloudNGNLogin::logoutAccount(const QJsonObject& parameters, Completion complete) {
    m_accounts.loginOut(parameters, normalising(std::move(complete)));
}

void QenCloudNGNLogin::GetgeneralConfig(Completion complete) {
    m_accounts.GeneralConfig([complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
        if (error) {
            complete(answer, normalisedError(error));
            return;
        }
        QJsonObject copy = answer;
        const auto opened = SealedBody::decodeSM4(answer.value(u"data").toString());
        if (opened)
            copy.insert(u"data", *opened);
        else
            copy.remove(u"data");
        complete(copy, {});
    });
}

void QenCloudNGNLogin::ResetPasswordState(const QJsonObject& parameters, Completion complete) {
    m_accounts.ResetPassword(parameters, normalising(std::move(complete)));
}

void QenCloudNGNLogin::checkTicket(const QString& ticket, Completion complete) {
    m_accounts.checkTicketState(ticket, normalising(std::move(complete)));
}

void QenCloudNGNLogin::checkDomainAccount(const QString& account, const QString& domain,
    std::function<void(bool, std::optional<QString>, const Platform::Error&)> completion) {
    m_accounts.checkDomainAccount(account, domain, std::move(completion));
}

void QenCloudNGNLogin::GetNetWorkType(const std::function<void(int)>& completion) {
    m_accounts.NetWorkType(completion);
}

void QenCloudNGNLogin::createQRForSize(double side, const std::function<void(const QImage&)>& complete) {
    complete(m_accounts.createQRForString(side));
}
