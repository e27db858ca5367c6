#include "QenCloudNGNLogin.h"

#include "SealedBody.h"

using namespace Qt::StringLiterals;

void QenCloudNGNLogin::GetgeneralConfig(Completion complete) {
    m_accounts.GeneralConfig([complete = std::move(complete)](const QJsonObject& answer, const Platform::Error& error) {
        complete(error ? answer : SealedBody::opened(answer, {"data"_L1}), error);
    });
}
