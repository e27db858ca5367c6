// Requests on a kept loopback connection: the session beside the bare library that it stands on and beside Qt's own
// client, and how often each of them wakes the process.
#include "BenchHarness.h"
#include "HttpSession.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>

#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <semaphore>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

/// Answers every request on every connection; each connection has a thread.
class Server final {
public:
    Server() : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(m_listener, 64) != 0)
            qFatal("no loopback port");
        getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
        m_url = u"http://127.0.0.1:%1/qen/ping"_s.arg(ntohs(address.sin_port));
        std::thread([this] {
            for (int client = accept(m_listener, nullptr, nullptr); client >= 0;
                 client = accept(m_listener, nullptr, nullptr))
                std::thread(serve, client).detach();
        }).detach();
    }
    const QString& url() const { return m_url; }

private:
    static void serve(int client) {
        static constexpr char Answer[] = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n"
                                         "Content-Length: 27\r\n\r\n{\"ret\":0,\"data\":{\"state\":0}}";
        const int on = 1;
        setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        std::array<char, 4096> request;
        // A request of this size comes in one piece on loopback.
        while (recv(client, request.data(), request.size(), 0) > 0) {
            if (send(client, Answer, sizeof Answer - 2, MSG_NOSIGNAL) < 0)
                break;
        }
        close(client);
    }

    int m_listener;
    QString m_url;
};

size_t ignoreBody(char*, size_t size, size_t count, void*) {
    return size * count;
}

CURL* bareHandle(const QByteArray& url) {
    CURL* easy = curl_easy_init();
    curl_easy_setopt(easy, CURLOPT_URL, url.constData());
    curl_easy_setopt(easy, CURLOPT_PROXY, "");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, ignoreBody);
    return easy;
}

/// Voluntary context switches of the threads whose name is @p name; of all threads when it is empty.
long long sleeps(const QByteArray& name = {}) {
    long long sum = 0;
    const auto tasks = QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& task : tasks) {
        QFile status(u"/proc/self/task/%1/status"_s.arg(task));
        if (!status.open(QIODevice::ReadOnly))
            continue;
        const QByteArray text = status.readAll();
        if (name.isEmpty() || text.startsWith("Name:\t" + name + '\n'))
            sum += text.mid(text.indexOf("\nvoluntary_ctxt_switches:") + 25).split('\n').first().trimmed().toLongLong();
    }
    return sum;
}

double benchSession(const QString& url) {
    Platform::HttpSession session;
    std::binary_semaphore answered(0);
    return Bench::rate("session_get_and_wait", [&] {
        session.getJson(url, {}, [&](const QJsonObject&, const Platform::Error&) { answered.release(); });
        answered.acquire();
    });
}

/// The next request is sent from the completion of the one before: no second thread takes part.
double benchSessionChain(const QString& url) {
    constexpr int Length = 200;
    Platform::HttpSession session;
    std::binary_semaphore ended(0);
    int left = 0;
    std::function<void()> next = [&] {
        session.sendForData({.url = url}, [&](const QByteArray&, const Platform::Error&) {
            if (--left == 0)
                ended.release();
            else
                next();
        });
    };
    const double rate = Bench::rate("session_chain_200", [&] {
        left = Length;
        next();
        ended.acquire();
    });
    return rate * Length;
}

double benchEasy(const QByteArray& url) {
    CURL* easy = bareHandle(url);
    const double rate = Bench::rate("curl_easy", [&] { curl_easy_perform(easy); });
    curl_easy_cleanup(easy);
    return rate;
}

double benchMulti(const QByteArray& url) {
    CURLM* multi = curl_multi_init();
    const double rate = Bench::rate("curl_multi_fresh_handle", [&] {
        CURL* easy = bareHandle(url);
        curl_multi_add_handle(multi, easy);
        for (int running = 1; running > 0;) {
            curl_multi_perform(multi, &running);
            if (running > 0)
                curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
        }
        curl_multi_remove_handle(multi, easy);
        curl_easy_cleanup(easy);
    });
    curl_multi_cleanup(multi);
    return rate;
}

void getWithQt(QNetworkAccessManager& manager, const QString& url) {
    QNetworkReply* reply = manager.get(QNetworkRequest(QUrl(url)));
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    Bench::keep(reply->readAll());
    delete reply;
}

double benchQt(const QString& url) {
    QNetworkAccessManager manager;
    manager.setProxy(QNetworkProxy::NoProxy);
    return Bench::rate("qnetworkaccessmanager", [&] { getWithQt(manager, url); });
}

void printCount(const char* name, double value) {
    std::printf("{\"case\": \"%s\", \"wakeups\": %.2f}\n", name, value);
    std::fflush(stdout);
}

void benchWakeups(const QString& url) {
    constexpr int Polls = 40;
    constexpr std::chrono::milliseconds Pause{25};
    Platform::HttpSession session;
    std::binary_semaphore answered(0);
    const auto poll = [&] {
        session.getJson(url, {}, [&](const QJsonObject&, const Platform::Error&) { answered.release(); });
        answered.acquire();
    };
    poll();
    if (Bench::isWanted("session_wakeups_per_poll")) {
        const long long before = sleeps("http");
        for (int i = 0; i < Polls; ++i) {
            std::this_thread::sleep_for(Pause);
            poll();
        }
        printCount("session_wakeups_per_poll", double(sleeps("http") - before) / Polls);
    }
    if (Bench::isWanted("session_idle_wakeups_in_3s")) {
        std::this_thread::sleep_for(Pause);
        const long long before = sleeps("http");
        std::this_thread::sleep_for(std::chrono::seconds(3));
        printCount("session_idle_wakeups_in_3s", double(sleeps("http") - before));
    }
    if (Bench::isWanted("qt_wakeups_per_poll")) {
        QNetworkAccessManager manager;
        manager.setProxy(QNetworkProxy::NoProxy);
        getWithQt(manager, url);
        const long long before = sleeps();
        for (int i = 0; i < Polls; ++i) {
            std::this_thread::sleep_for(Pause);
            getWithQt(manager, url);
        }
        // The server's thread sleeps once a request and this loop once a pause.
        printCount("qt_wakeups_per_poll", double(sleeps() - before) / Polls - 2);
    }
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    curl_global_init(CURL_GLOBAL_DEFAULT);
    const Server server;
    const double session = benchSession(server.url());
    const double chain = benchSessionChain(server.url());
    const double easy = benchEasy(server.url().toLatin1());
    const double multi = benchMulti(server.url().toLatin1());
    const double qt = benchQt(server.url());
    Bench::ratio("session_beside_curl_easy", session, easy);
    Bench::ratio("session_chain_beside_curl_multi", chain, multi);
    Bench::ratio("session_beside_qt", session, qt);
    benchWakeups(server.url());
    return 0;
}
