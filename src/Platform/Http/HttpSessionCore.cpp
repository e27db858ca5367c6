#include "HttpSessionCore.h"

#include "CurlCalls.h"
#include "ProxyLookup.h"

#include <sys/epoll.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

constexpr int MostRedirects = 5;
/// Towards one host at once; further requests wait for their turn, which counts into their time. As many are kept when
/// idle: with fewer, a connection that comes free would be closed while a waiting request makes a new one.
constexpr long MostConnections = 6;
constexpr size_t MostSpareHandles = 4;

uint32_t epollEvents(int what) {
    uint32_t events = 0;
    if (what & CURL_POLL_IN)
        events |= EPOLLIN;
    if (what & CURL_POLL_OUT)
        events |= EPOLLOUT;
    return events;
}

int curlEvents(uint32_t events) {
    int result = 0;
    if (events & (EPOLLIN | EPOLLHUP))
        result |= CURL_CSELECT_IN;
    if (events & EPOLLOUT)
        result |= CURL_CSELECT_OUT;
    if (events & EPOLLERR)
        result |= CURL_CSELECT_ERR;
    return result;
}

Error cancelled() {
    return httpError(Error::Cancelled, u"cancelled"_s);
}

} // namespace

HttpSessionCore::HttpSessionCore(HttpSettings settings) : m_settings(std::move(settings)) {}

void HttpSessionCore::send(std::shared_ptr<CurlRequest> request) {
    m_isUsed = true;
    HttpThread::shared().post(
        [self = shared_from_this(), request = std::move(request)] { self->start(request); }, this);
}

void HttpSessionCore::shutDown() {
    if (m_isUsed)
        HttpThread::shared().finishFor(this, [self = shared_from_this()] { self->close(); });
}

bool HttpSessionCore::openMulti() {
    if (m_multi)
        return true;
    m_multi = isCurlThere() ? curl_multi_init() : nullptr;
    if (!m_multi)
        return false;
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETFUNCTION, onSocket);
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERFUNCTION, onTimer);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERDATA, this);
    curl_multi_setopt(m_multi, CURLMOPT_MAXCONNECTS, MostConnections);
    curl_multi_setopt(m_multi, CURLMOPT_MAX_HOST_CONNECTIONS, MostConnections);
    return true;
}

void HttpSessionCore::start(const std::shared_ptr<CurlRequest>& request) {
    if (m_closed || !openMulti()) {
        request->finish(m_closed ? cancelled() : httpError(Error::Unknown, u"no transfer library"_s));
        return;
    }
    if (m_number == 0)
        m_number = HttpThread::shared().add(shared_from_this());
    request->setId(++m_lastRequest);
    m_deadlines.emplace(request->deadline(), request->id());
    m_requests.emplace(request->id(), request);
    route(*request, request->request().url);
}

void HttpSessionCore::route(CurlRequest& request, const QString& url) {
    HttpUrl parsed;
    if (const Error error = parseHttpUrl(url, &parsed)) {
        finish(request, error);
        return;
    }
    request.setUrl(parsed);
    if (parsed.isLoopback()) {
        begin(request, {});
        return;
    }
    ProxyLookup::shared().find(parsed, [weak = weak_from_this(), id = request.id()](const ProxyChoice& proxy) {
        const auto self = weak.lock();
        if (!self)
            return;
        // Its time may be over by now.
        const auto found = self->m_requests.find(id);
        if (found != self->m_requests.end())
            self->begin(*found->second, proxy);
    });
}

void HttpSessionCore::begin(CurlRequest& request, const ProxyChoice& proxy) {
    CURL* easy = nullptr;
    if (m_spareHandles.empty()) {
        easy = curl_easy_init();
    } else {
        easy = m_spareHandles.back();
        m_spareHandles.pop_back();
    }
    if (!easy) {
        finish(request, httpError(Error::Unknown, u"no transfer"_s));
        return;
    }
    request.attach(easy, proxy, m_settings);
    if (curl_multi_add_handle(m_multi, easy) != CURLM_OK)
        finish(request, httpError(Error::Unknown, u"no transfer"_s));
}

void HttpSessionCore::releaseHandle(CurlRequest& request) {
    CURL* easy = request.detach();
    if (!easy)
        return;
    curl_multi_remove_handle(m_multi, easy);
    if (m_closed || m_spareHandles.size() >= MostSpareHandles) {
        curl_easy_cleanup(easy);
        return;
    }
    curl_easy_reset(easy);
    m_spareHandles.push_back(easy);
}

void HttpSessionCore::finish(CurlRequest& request, const Error& error, const HttpAnswer& answer) {
    releaseHandle(request);
    m_deadlines.erase({request.deadline(), request.id()});
    const auto node = m_requests.extract(request.id());
    // Last: the completion may send again and may close this session.
    node.mapped()->finish(error, answer);
}

void HttpSessionCore::close() {
    m_closed = true;
    HttpThread::shared().remove(m_number);
    while (!m_requests.empty())
        finish(*m_requests.begin()->second, cancelled());
    for (CURL* easy : m_spareHandles)
        curl_easy_cleanup(easy);
    m_spareHandles.clear();
    if (m_multi)
        curl_multi_cleanup(m_multi);
    m_multi = nullptr;
}

void HttpSessionCore::socketReady(int descriptor, uint32_t events) {
    if (m_closed)
        return;
    int running = 0;
    curl_multi_socket_action(m_multi, descriptor, curlEvents(events), &running);
    collect();
}

void HttpSessionCore::fireDue(Clock::time_point now) {
    if (!m_closed && m_curlDue <= now) {
        m_curlDue = Clock::time_point::max();
        int running = 0;
        curl_multi_socket_action(m_multi, CURL_SOCKET_TIMEOUT, 0, &running);
        collect();
    }
    while (!m_deadlines.empty() && m_deadlines.begin()->first <= now)
        finish(*m_requests.at(m_deadlines.begin()->second), httpError(Error::TimedOut, u"timed out"_s));
}

HttpSessionCore::Clock::time_point HttpSessionCore::nextDue() const {
    return m_deadlines.empty() ? m_curlDue : std::min(m_curlDue, m_deadlines.begin()->first);
}

void HttpSessionCore::collect() {
    int left = 0;
    // A completion may close this session, and with it the handle that is read here.
    while (!m_closed) {
        const CURLMsg* message = curl_multi_info_read(m_multi, &left);
        if (!message)
            return;
        if (message->msg == CURLMSG_DONE)
            transferDone(CurlRequest::of(message->easy_handle), message->data.result);
    }
}

void HttpSessionCore::transferDone(CurlRequest& request, CURLcode code) {
    HttpAnswer answer;
    Error error = request.takeAnswer(code, &answer);
    if (!error && isRedirect(answer)) {
        follow(request, answer);
        return;
    }
    if (!error)
        error = judgeAnswer(answer, m_settings.acceptableContentTypes);
    finish(request, error, answer);
}

void HttpSessionCore::follow(CurlRequest& request, const HttpAnswer& answer) {
    const QString location = QString::fromUtf8(answer.location);
    HttpUrl next;
    const Error error = parseHttpUrl(location, &next);
    if (error) {
        finish(request, error);
    } else if (request.url().isSecure() && !next.isSecure()) {
        // What was asked in secret is not asked again in the open: the redirect itself is the answer.
        finish(request, judgeAnswer(answer, {}));
    } else if (request.countRedirect(answer.status) > MostRedirects) {
        finish(request, httpError(Error::TooManyRedirects, u"more than five redirects"_s));
    } else {
        releaseHandle(request);
        route(request, location);
    }
}

int HttpSessionCore::onSocket(CURL*, curl_socket_t descriptor, int what, void* self, void*) {
    const auto& core = *static_cast<HttpSessionCore*>(self);
    if (what == CURL_POLL_REMOVE)
        HttpThread::shared().unwatch(descriptor);
    else
        HttpThread::shared().watch(descriptor, epollEvents(what), core.m_number);
    return 0;
}

int HttpSessionCore::onTimer(CURLM*, long milliseconds, void* self) {
    auto& core = *static_cast<HttpSessionCore*>(self);
    core.m_curlDue =
        milliseconds < 0 ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(milliseconds);
    return 0;
}

} // namespace Platform
