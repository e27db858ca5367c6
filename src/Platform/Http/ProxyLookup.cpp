#include "ProxyLookup.h"

#include "HttpThread.h"

#include <QNetworkProxy>
#include <QNetworkProxyFactory>
#include <QNetworkProxyQuery>

#include <map>

namespace Platform {

namespace {

using Clock = std::chrono::steady_clock;
using Found = std::function<void(const QNetworkProxy& proxy)>;

constexpr std::chrono::seconds KeptFor{30};

/// What is known of a server, and who waits to know it.
struct Known {
    QNetworkProxy proxy;
    Clock::time_point until;
    std::vector<Found> waiting;
};

/// Never destroyed.
Known& knownOf(const QUrl& server) {
    static auto* known = new std::map<QUrl, Known>;
    return (*known)[server];
}

QNetworkProxy askSystem(const QUrl& server) {
    for (const QNetworkProxy& proxy : QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(server))) {
        switch (proxy.type()) {
        case QNetworkProxy::HttpProxy:
        case QNetworkProxy::HttpCachingProxy:
        case QNetworkProxy::Socks5Proxy:
        case QNetworkProxy::NoProxy:
            return proxy;
        default:
            break;
        }
    }
    return QNetworkProxy::NoProxy;
}

void answer(const QUrl& server, const QNetworkProxy& proxy) {
    Known& known = knownOf(server);
    known.proxy = proxy;
    known.until = Clock::now() + KeptFor;
    for (const Found& found : std::exchange(known.waiting, {}))
        found(proxy);
}

} // namespace

void findProxy(const QUrl& url, Found found) {
    const QUrl server = url.adjusted(QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment);
    Known& known = knownOf(server);
    if (Clock::now() < known.until) {
        found(known.proxy);
        return;
    }
    known.waiting.push_back(std::move(found));
    if (known.waiting.size() > 1)
        return;
    globalQueue().async(
        [server] { HttpThread::shared().post([server, proxy = askSystem(server)] { answer(server, proxy); }); });
}

} // namespace Platform
