#include "HttpThread.h"

#include "CurlCalls.h"
#include "ProxyLookup.h"

#include <QHostAddress>
#include <QNetworkProxy>
#include <QUrl>

#include <openssl/crypto.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <thread>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

using Clock = CurlRequest::Clock;

/// How long an exiting process waits for the network thread to stop; a completion may be stuck.
constexpr std::chrono::milliseconds ParkWait{500};
/// The same while it loads the transfer library, which on a busy disk takes longer and must not be left half done.
constexpr std::chrono::seconds LoadWait{5};
constexpr int MostRedirects = 5;
/// Towards one host at once; further requests wait for their turn, which counts into their time. As many are kept when
/// idle: with fewer, a connection that comes free would be closed while a waiting request makes a new one. The transfer
/// library's own limit does without: its versions forget waiting transfers, or the limit.
constexpr long MostConnections = 6;

thread_local bool isNetworkThread = false;

Error cancelled() {
    return httpError(Error::Cancelled, u"cancelled"_s);
}

/// What may stand in a URL; a space or a letter outside ASCII was typed by somebody and names no host.
bool isUrlCharacter(QChar character) {
    const char16_t unit = character.unicode();
    return unit > 0x20 && unit < 0x7f && !QStringView(u"\"<>\\^`{|}").contains(character);
}

/// What keeps a request from going to @p url, which is @p text.
Error urlError(const QString& text, const QUrl& url) {
    if (text.isEmpty() || !std::all_of(text.begin(), text.end(), isUrlCharacter))
        return httpError(Error::BadUrl, u"characters that no URL has"_s);
    if (!url.isValid() || !url.userInfo().isEmpty())
        return httpError(Error::BadUrl, url.isValid() ? u"a user name"_s : url.errorString());
    if (url.scheme() != u"http" && url.scheme() != u"https")
        return httpError(Error::UnsupportedUrl, u"neither http nor https"_s);
    return url.host().isEmpty() ? httpError(Error::BadUrl, u"no host"_s) : Error();
}

bool isLoopback(const QString& host) {
    QHostAddress address;
    return host == u"localhost" || host.endsWith(u".localhost"_s) || (address.setAddress(host) && address.isLoopback());
}

} // namespace

HttpThread& HttpThread::shared() {
    static auto* thread = new HttpThread;
    return *thread;
}

HttpThread::HttpThread() {
    parkAtExit();
    std::thread([this] { run(); }).detach();
}

void HttpThread::parkAtExit() {
    std::atexit([] { shared().park(); });
}

void HttpThread::wake() {
    // The network thread looks at what was posted before it sleeps.
    if (isNetworkThread)
        return;
    if (m_multi)
        curl_multi_wakeup(m_multi);
    m_changed.notify_all();
}

void HttpThread::post(Block block, const HttpSessionState* session) {
    const std::lock_guard lock(m_mutex);
    m_posted.push_back({std::move(block), session});
    wake();
}

void HttpThread::send(std::shared_ptr<CurlRequest> request) {
    const HttpSessionState* session = &request->session();
    post([this, request = std::move(request)] { start(request); }, session);
}

void HttpThread::close(const std::shared_ptr<HttpSessionState>& session) {
    if (isNetworkThread) {
        closeHere(*session);
        return;
    }
    const auto isFinished = std::make_shared<bool>(false);
    post([this, session, isFinished] {
        closeHere(*session);
        const std::lock_guard done(m_mutex);
        *isFinished = true;
        m_changed.notify_all();
    });
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return *isFinished || m_isParked; });
}

template <typename Which>
void HttpThread::finishAll(Which which, const Error& error) {
    // From the beginning each time: a completion may change the list.
    const auto find = [&] { return std::ranges::find_if(m_requests, which); };
    for (auto found = find(); found != m_requests.end(); found = find())
        finish(**found, error);
}

void HttpThread::closeHere(HttpSessionState& session) {
    session.isClosed = true;
    finishAll([&session](const auto& request) { return &request->session() == &session; }, cancelled());
    // What others sent before, and what completions sent meanwhile.
    for (;;) {
        Block block;
        {
            const std::lock_guard lock(m_mutex);
            const auto found = std::ranges::find(m_posted, &session, &Posted::session);
            if (found == m_posted.end())
                break;
            block = std::move(found->block);
            m_posted.erase(found);
        }
        block();
    }
    if (session.connections)
        curl_share_cleanup(std::exchange(session.connections, nullptr));
}

void HttpThread::run() {
    isNetworkThread = true;
    pthread_setname_np(pthread_self(), "http");
    // Signals are for the other threads; a broken pipe is an error code here.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    // Not taken down at exit: the process may end while this thread is still setting it up.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    open();
    for (;;) {
        takePosted();
        collect();
        fireDue();
        sleep();
    }
}

void HttpThread::open() {
    if (!curlLibrary)
        curlLibrary = dlopen("libcurl.so.4", RTLD_NOW);
    CURLM* multi = curlLibrary && curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK ? curl_multi_init() : nullptr;
    // Made while no descriptor was left, it could not be woken any more.
    if (multi && curl_multi_wakeup(multi) != CURLM_OK)
        curl_multi_cleanup(std::exchange(multi, nullptr));
    if (multi) {
        // Again, after the other libraries' exit handlers are registered: the last one runs first.
        parkAtExit();
        curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, MostConnections);
    }
    const std::lock_guard lock(m_mutex);
    m_multi = multi;
    m_isLoaded = true;
    m_changed.notify_all();
}

void HttpThread::takePosted() {
    std::unique_lock lock(m_mutex);
    if (m_isParkWanted)
        stayParked();
    // Only what is there now: what completions add waits for the next round, after the sockets had theirs.
    for (size_t left = m_posted.size(); left > 0 && !m_posted.empty(); --left) {
        {
            const Posted posted = std::move(m_posted.front());
            m_posted.pop_front();
            lock.unlock();
            posted.block();
        }
        lock.lock();
    }
}

void HttpThread::collect() {
    if (m_requests.empty())
        return;
    int left = 0;
    curl_multi_perform(m_multi, &left);
    while (const CURLMsg* message = curl_multi_info_read(m_multi, &left)) {
        if (message->msg == CURLMSG_DONE)
            transferDone(CurlRequest::of(message->easy_handle), message->data.result);
    }
}

void HttpThread::fireDue() {
    finishAll([now = Clock::now()](const auto& request) { return request->deadline() <= now; },
        httpError(Error::TimedOut, u"timed out"_s));
}

void HttpThread::sleep() {
    std::unique_lock lock(m_mutex);
    if (!m_posted.empty() || m_isParkWanted)
        return;
    if (!m_multi) {
        m_changed.wait(lock);
        return;
    }
    lock.unlock();
    long long timeout = INT_MAX;
    for (const auto& request : m_requests)
        timeout = std::min<long long>(
            timeout, std::chrono::ceil<std::chrono::milliseconds>(request->deadline() - Clock::now()).count());
    curl_multi_poll(m_multi, nullptr, 0, static_cast<int>(std::max(timeout, 0LL)), nullptr);
}

void HttpThread::park() {
    if (isNetworkThread)
        return;
    std::unique_lock lock(m_mutex);
    m_isParkWanted = true;
    wake();
    m_changed.wait_for(lock, LoadWait, [this] { return m_isLoaded; });
    m_changed.wait_for(lock, ParkWait, [this] { return m_isParked; });
}

/// Called with the lock held; never returns, and lets the lock go.
void HttpThread::stayParked() {
    m_isParked = true;
    m_changed.notify_all();
    m_mutex.unlock();
    for (;;)
        pause();
}

void HttpThread::start(const std::shared_ptr<CurlRequest>& request) {
    if (!m_multi)
        open();
    if (request->session().isClosed || !m_multi) {
        request->finish(m_multi ? cancelled() : httpError(Error::Unknown, u"no transfer library"_s));
        return;
    }
    m_requests.push_back(request);
    route(*request, request->request().url);
}

/// Sends @p request to @p text: its own address, or where the answer @p redirect points to.
void HttpThread::route(CurlRequest& request, const QString& text, const HttpAnswer* redirect) {
    const QUrl url(text, QUrl::StrictMode);
    Error error = urlError(text, url);
    if (!error && redirect && request.url().scheme() == u"https" && url.scheme() != u"https") {
        // What was asked in secret is not asked again in the open: the redirect itself is the answer.
        error = judgeAnswer(*redirect, {});
    } else if (!error && redirect && request.countRedirect(redirect->status) > MostRedirects) {
        error = httpError(Error::TooManyRedirects, u"more than five redirects"_s);
    }
    if (error) {
        finish(request, error);
        return;
    }
    request.setUrl(url);
    const auto begin = [this, weak = request.weak_from_this()](const QNetworkProxy& proxy) {
        // Its time may be over by now.
        if (const auto found = weak.lock()) {
            found->waitWith(proxy);
            beginNext(*found);
        }
    };
    if (isLoopback(url.host()))
        begin(QNetworkProxy::NoProxy);
    else
        findProxy(url, begin);
}

/// Begins the request that has waited longest for a connection like @p last's, if one is free.
void HttpThread::beginNext(const CurlRequest& last) {
    const auto isLike = [&last](const auto& request) { return request->sharesConnections(last); };
    const auto isRunning = [&](const auto& request) { return request->isAttached() && isLike(request); };
    const auto next =
        std::ranges::find_if(m_requests, [&](const auto& request) { return request->isWaiting() && isLike(request); });
    if (last.session().isClosed || next == m_requests.end() ||
        std::ranges::count_if(m_requests, isRunning) >= MostConnections)
        return;
    CURL* easy = (*next)->attach();
    if (!easy || curl_multi_add_handle(m_multi, easy) != CURLM_OK)
        finish(**next, httpError(Error::Unknown, u"no transfer"_s));
}

void HttpThread::finish(const CurlRequest& request, const Error& error, const HttpAnswer& answer) {
    const auto found = std::ranges::find(m_requests, &request, &std::shared_ptr<CurlRequest>::get);
    const auto finished = std::move(*found);
    m_requests.erase(found);
    finished->detach(m_multi);
    beginNext(*finished);
    // Last: the completion may send again and may close its session.
    finished->finish(error, answer);
}

void HttpThread::transferDone(CurlRequest& request, CURLcode code) {
    HttpAnswer answer;
    Error error = request.takeAnswer(code, &answer);
    if (!error && isRedirect(answer)) {
        request.detach(m_multi);
        beginNext(request);
        route(request, QString::fromUtf8(answer.location), &answer);
        return;
    }
    if (!error)
        error = judgeAnswer(answer, request.session().settings.acceptableContentTypes);
    finish(request, error, answer);
}

} // namespace Platform
