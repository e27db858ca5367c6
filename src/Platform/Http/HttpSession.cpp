#include "HttpSession.h"

#include "HttpSessionCore.h"

#include <algorithm>
#include <cmath>

namespace Platform {

namespace {

constexpr double DefaultTimeout = 60.0;
/// Longer is as good as for ever, and sums of times must not overflow.
constexpr double LongestTimeout = 7 * 24 * 3600.0;

double usableTimeout(double seconds) {
    return std::isfinite(seconds) && seconds > 0 ? std::min(seconds, LongestTimeout) : DefaultTimeout;
}

HttpRequest getOf(const QString& url, const HttpSession::Parameters& parameters) {
    HttpRequest request;
    request.url = urlWithQuery(url, parameters);
    return request;
}

void send(const std::shared_ptr<HttpSessionCore>& core, const HttpRequest& request, double timeout,
    CurlRequest::Finish finish) {
    const auto time = std::chrono::duration_cast<CurlRequest::Clock::duration>(std::chrono::duration<double>(timeout));
    core->send(std::make_shared<CurlRequest>(request, CurlRequest::Clock::now() + time, std::move(finish)));
}

} // namespace

HttpSession::HttpSession(HttpSettings settings)
    : m_core(std::make_shared<HttpSessionCore>(settings)), m_requestTimeout(usableTimeout(settings.requestTimeout)) {}

HttpSession::~HttpSession() {
    m_core->shutDown();
}

double HttpSession::requestTimeout() const {
    const std::lock_guard lock(m_mutex);
    return m_requestTimeout;
}

void HttpSession::setRequestTimeout(double seconds) {
    const std::lock_guard lock(m_mutex);
    m_requestTimeout = usableTimeout(seconds);
}

void HttpSession::sendForJson(const HttpRequest& request, JsonCompletion completion) {
    const double timeout = request.timeout > 0 ? usableTimeout(request.timeout) : requestTimeout();
    send(m_core, request, timeout, [completion = std::move(completion)](const Error& error, const HttpAnswer& answer) {
        QJsonObject object;
        const Error result = error ? error : parseJsonAnswer(answer.body, &object);
        completion(object, result);
    });
}

void HttpSession::sendForData(const HttpRequest& request, DataCompletion completion) {
    const double timeout = request.timeout > 0 ? usableTimeout(request.timeout) : requestTimeout();
    send(m_core, request, timeout, [completion = std::move(completion)](const Error& error, const HttpAnswer& answer) {
        completion(error ? QByteArray() : answer.body, error);
    });
}

void HttpSession::getJson(const QString& url, const Parameters& parameters, JsonCompletion completion) {
    sendForJson(getOf(url, parameters), std::move(completion));
}

} // namespace Platform
