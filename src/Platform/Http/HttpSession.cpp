#include "HttpSession.h"

#include "HttpThread.h"

#include <QUrl>

namespace Platform {

namespace {

/// @p url with @p parameters appended to its query; all but letters, digits and "-._~/?" escaped.
QString urlWithQuery(const QString& url, const HttpSession::Parameters& parameters) {
    const auto escape = [](const QString& text) { return QString::fromLatin1(QUrl::toPercentEncoding(text, "/?")); };
    QString result = url;
    QChar separator = url.contains(u'?') ? u'&' : u'?';
    for (const auto& [key, value] : parameters) {
        result += separator + escape(key) + u'=' + escape(value);
        separator = u'&';
    }
    return result;
}

void send(const std::shared_ptr<HttpSessionState>& session, const HttpRequest& request, CurlRequest::Finish finish) {
    session->isUsed = true;
    const std::chrono::duration<double> time(request.timeout > 0 ? request.timeout : session->settings.requestTimeout);
    const auto deadline = CurlRequest::Clock::now() + std::chrono::duration_cast<CurlRequest::Clock::duration>(time);
    HttpThread::shared().send(std::make_shared<CurlRequest>(session, request, deadline, std::move(finish)));
}

} // namespace

HttpSession::HttpSession(HttpSettings settings) : m_state(std::make_shared<HttpSessionState>(std::move(settings))) {}

HttpSession::~HttpSession() {
    if (m_state->isUsed)
        HttpThread::shared().close(m_state);
}

double HttpSession::requestTimeout() const {
    return m_state->settings.requestTimeout;
}

void HttpSession::sendForJson(const HttpRequest& request, JsonCompletion completion) {
    send(m_state, request, [completion = std::move(completion)](const Error& error, const HttpAnswer& answer) {
        QJsonObject object;
        const Error result = error ? error : parseJsonAnswer(answer.body, &object);
        completion(object, result);
    });
}

void HttpSession::sendForData(const HttpRequest& request, DataCompletion completion) {
    send(m_state, request, [completion = std::move(completion)](const Error& error, const HttpAnswer& answer) {
        completion(error ? QByteArray() : answer.body, error);
    });
}

void HttpSession::getJson(const QString& url, const Parameters& parameters, JsonCompletion completion) {
    sendForJson({.url = urlWithQuery(url, parameters)}, std::move(completion));
}

} // namespace Platform
