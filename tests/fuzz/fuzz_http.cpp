// A server's bytes as they come over the wire: each request ends once, in time, with an answer or an error.

#include "Fuzzing.h"
#include "HttpSession.h"
#include "UniqueFd.h"

#include <future>
#include <mutex>

#include <arpa/inet.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace {

std::mutex mutex;
QByteArray answer;

/// Gives each connection the answer. @returns the server's address
QString serve() {
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t length = sizeof address;
    auto* const place = reinterpret_cast<sockaddr*>(&address);
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(::bind(listener, place, length) == 0 && ::listen(listener, 8) == 0, "no server");
    ::getsockname(listener, place, &length);
    std::thread([listener] {
        for (;;) {
            const Platform::UniqueFd peer(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
            char request[4096];
            ::recv(peer.get(), request, sizeof request, 0);
            const std::lock_guard lock(mutex);
            ::send(peer.get(), answer.constData(), static_cast<size_t>(answer.size()), MSG_NOSIGNAL);
        }
    }).detach();
    return u"http://127.0.0.1:%1/"_s.arg(ntohs(address.sin_port));
}

} // namespace

void fuzz(const QByteArray& input) {
    constexpr qint64 Limit = 64 * 1024;
    static const QString url = serve();
    static Platform::HttpSession session({.requestTimeout = 5.0, .responseLimit = Limit});
    // Nobody but this server is ever asked.
    if (input.toLower().contains("location"))
        return;
    std::unique_lock lock(mutex);
    answer = input;
    lock.unlock();
    const auto end = std::make_shared<std::promise<void>>(); // set twice, it ends the program
    session.sendForData({.url = url}, [end](const QByteArray& body, const Platform::Error& error) {
        require(body.size() <= Limit && (!error || body.isEmpty()), "an answer that is too long or beside an error");
        end->set_value();
    });
    require(end->get_future().wait_for(std::chrono::seconds(9)) == std::future_status::ready, "no end");
}
