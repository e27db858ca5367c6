#include "ProxyLookup.h"

#include "HttpThread.h"

#include <QNetworkProxy>
#include <QNetworkProxyFactory>
#include <QNetworkProxyQuery>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

constexpr std::chrono::seconds KeptFor{30};
constexpr size_t MostKept = 64;

ProxyChoice choiceOf(const QNetworkProxy& proxy) {
    const char* scheme = "http";
    if (proxy.type() == QNetworkProxy::Socks5Proxy)
        scheme = proxy.capabilities().testFlag(QNetworkProxy::HostNameLookupCapability) ? "socks5h" : "socks5";
    return {u"%1://%2:%3"_s.arg(QLatin1String(scheme), proxy.hostName()).arg(proxy.port()).toUtf8(),
        proxy.user().toUtf8(), proxy.password().toUtf8()};
}

ProxyChoice askSystem(const QByteArray& url) {
    const QNetworkProxyQuery query(QUrl::fromEncoded(url));
    const QList<QNetworkProxy> proxies = QNetworkProxyFactory::systemProxyForQuery(query);
    for (const QNetworkProxy& proxy : proxies) {
        switch (proxy.type()) {
        case QNetworkProxy::HttpProxy:
        case QNetworkProxy::HttpCachingProxy:
        case QNetworkProxy::Socks5Proxy:
            return choiceOf(proxy);
        case QNetworkProxy::NoProxy:
            return {};
        default:
            break;
        }
    }
    return {};
}

} // namespace

ProxyLookup& ProxyLookup::shared() {
    static auto* lookup = new ProxyLookup;
    return *lookup;
}

void ProxyLookup::find(const HttpUrl& url, Found found) {
    const QByteArray server = url.scheme + "://" + url.host + ':' + url.port;
    const auto known = m_known.find(server);
    if (known != m_known.end() && Clock::now() < known->second.until) {
        found(known->second.proxy);
        return;
    }
    auto& waiting = m_waiting[server];
    waiting.push_back(std::move(found));
    if (waiting.size() > 1)
        return;
    globalQueue().async([this, server, text = url.text] {
        HttpThread::shared().post([this, server, proxy = askSystem(text)] { answer(server, proxy); });
    });
}

void ProxyLookup::answer(const QByteArray& server, const ProxyChoice& proxy) {
    if (m_known.size() >= MostKept)
        m_known.clear();
    m_known[server] = {proxy, Clock::now() + KeptFor};
    const auto waiting = m_waiting.extract(server);
    for (const Found& found : waiting.mapped())
        found(proxy);
}

} // namespace Platform
