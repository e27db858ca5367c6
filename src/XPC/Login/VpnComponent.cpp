#include "VpnComponent.h"

#include "ErrorText.h"
#include "IntegerValue.h"
#include "LoopbackListener.h"
#include "ServerAnswer.h"
#include "StringTable.h"
#include "TaskHelper.h"
#include "UniqueFd.h"

#include <QFile>

#include <future>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

using Platform::Error;

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

} // namespace

QString AgentStop::outcome() const {
    if (access != 0)
        return u"QenCloud Vindor Access Fail!!!"_s;
    const auto code = integerValue(answer.value(u"code"));
    return code == 0 ? u"QenCloud Vindor Stop Success!!!"_s
                     : u"QenCloud Vindor Stop Fail:code = %1"_s.arg(ServerAnswer::logged(code));
}

VindorClient::VindorClient(QString portFile, double timeout) : m_portFile(std::move(portFile)), m_timeout(timeout) {}

void VindorClient::post(
    const QString& path, const QByteArray& token, std::function<void(const QJsonObject&, const Error&)> completion) {
    bool isNumber = false;
    const ushort port = trustedText(m_portFile).toUShort(&isNumber);
    if (!isNumber || port == 0 || !Platform::isTrustedListener(port)) {
        completion({}, Error(Platform::UrlErrorDomain, Error::CannotConnect, localizedString(u"AgentNotReachable"_s)));
        return;
    }
    m_session.sendForJson({.url = u"http://127.0.0.1:%1%2"_s.arg(QString::number(port), path),
                              .method = "POST",
                              .bearerToken = token,
                              .timeout = m_timeout},
        describing(std::move(completion)));
}

void VindorClient::startRequestAccess(std::function<void(int)> completion) {
    post(
        u"/v1/access"_s, {}, [this, completion = std::move(completion)](const QJsonObject& answer, const Error& error) {
            const qint64 code = integerValue(answer.value(u"code")).value_or(AgentStop::NoAccess);
            const QByteArray token = answer.value(u"token").toString().toUtf8();
            if (code == 0) {
                const std::lock_guard lock(m_mutex);
                m_token = token;
            }
            const bool isAnswered = !error && (code != 0 || !token.isEmpty());
            completion(isAnswered ? static_cast<int>(code) : AgentStop::NoAccess);
        });
}

void VindorClient::stopSmartAgent(std::function<void(const QJsonObject&, const Error&)> completion) {
    QByteArray token;
    {
        const std::lock_guard lock(m_mutex);
        token = m_token;
    }
    post(u"/v1/smartagent/stop"_s, token, std::move(completion));
}

void VindorClient::accessAndStop(AgentStopped completion) {
    m_units.async([this, completion = std::move(completion)] {
        // Each of the two requests ends at its limit.
        std::promise<AgentStop> outcome;
        startRequestAccess([this, &outcome](int status) {
            if (status != 0)
                outcome.set_value({.access = status});
            else
                stopSmartAgent([&outcome](const QJsonObject& answer, const Error& error) {
                    outcome.set_value({.access = 0, .answer = answer, .error = error});
                });
        });
        completion(outcome.get_future().get());
    });
}

QString VpnComponent::search(const QString& filter, Platform::Error* error) const {
    QString found;
    const auto task = m_world.tasks.excuteTaskPath(u"/bin/bash"_s,
        {u"-c"_s, u"/bin/ps aux | grep -w '%1' | grep -v 'grep'"_s.arg(m_world.executable) + filter}, &found, error);
    if (task)
        task->terminate();
    return found.isEmpty() ? QString() : found;
}
