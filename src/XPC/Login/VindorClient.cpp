#include "VindorClient.h"

#include "ErrorText.h"
#include "IntegerValue.h"
#include "LoopbackListener.h"
#include "StringTable.h"
#include "UniqueFd.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

using Platform::Error;
using Platform::HttpRequest;

namespace {

constexpr int MostPortDigits = 16;

/// The text of a small regular file that root or this user owns; nobody else may send the client anywhere.
QByteArray trustedText(const QString& path) {
    const Platform::UniqueFd file(open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    QByteArray text(MostPortDigits, '\0');
    struct stat facts {};
    ssize_t length = -1;
    if (fstat(file.get(), &facts) == 0 && S_ISREG(facts.st_mode) && (facts.st_uid == 0 || facts.st_uid == geteuid()))
        length = read(file.get(), text.data(), static_cast<size_t>(text.size()));
    return length > 0 ? text.left(length).trimmed() : QByteArray();
}

Error notReachable() {
    return Error(Platform::UrlErrorDomain, Error::CannotConnect, localizedString(u"AgentNotReachable"_s));
}

} // namespace

VindorClient::VindorClient(QString portFile, double timeout) : m_portFile(std::move(portFile)), m_timeout(timeout) {}

QString VindorClient::urlOf(const QString& path) const {
    bool isNumber = false;
    const ushort port = trustedText(m_portFile).toUShort(&isNumber);
    if (!isNumber || port == 0 || !Platform::isTrustedListener(port))
        return {};
    return u"http://127.0.0.1:%1%2"_s.arg(QString::number(port), path);
}

void VindorClient::startRequestAccess(std::function<void(int)> completion) {
    const QString url = urlOf(u"/v1/access"_s);
    if (url.isNull()) {
        completion(AgentStop::NoAccess);
        return;
    }
    m_session.sendForJson({.url = url, .method = "POST", .timeout = m_timeout},
        [this, completion = std::move(completion)](const QJsonObject& answer, const Error& error) {
            const auto code = integerValue(answer.value(u"code"));
            const QString token = answer.value(u"token").toString();
            if (error || code != 0 || token.isEmpty()) {
                completion(!error && code && *code != 0 ? static_cast<int>(*code) : AgentStop::NoAccess);
                return;
            }
            {
                const std::lock_guard lock(m_mutex);
                m_token = token.toUtf8();
            }
            completion(0);
        });
}

void VindorClient::stopSmartAgent(std::function<void(const QJsonObject&, const Error&)> completion) {
    const QString url = urlOf(u"/v1/smartagent/stop"_s);
    if (url.isNull()) {
        completion({}, notReachable());
        return;
    }
    HttpRequest request{.url = url, .method = "POST", .timeout = m_timeout};
    {
        const std::lock_guard lock(m_mutex);
        request.bearerToken = m_token;
    }
    m_session.sendForJson(request, describing(std::move(completion)));
}

void VindorClient::accessAndStop(std::function<void(const AgentStop&)> completion) {
    {
        const std::lock_guard lock(m_mutex);
        m_units.push_back(std::move(completion));
        if (m_units.size() > 1)
            return;
    }
    beginUnit();
}

void VindorClient::beginUnit() {
    const auto end = [this](const AgentStop& outcome) {
        std::function<void(const AgentStop&)> completion;
        bool isMore = false;
        {
            const std::lock_guard lock(m_mutex);
            completion = std::move(m_units.front());
            m_units.pop_front();
            isMore = !m_units.empty();
        }
        completion(outcome);
        if (isMore)
            beginUnit();
    };
    startRequestAccess([this, end](int status) {
        if (status != 0)
            end({.access = status});
        else
            stopSmartAgent([end](const QJsonObject& answer, const Error& error) {
                end({.access = 0, .answer = answer, .error = error});
            });
    });
}
