#pragma once

#include <QString>
#include <QTemporaryDir>

#include <atomic>
#include <thread>

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

/// The socket of a bus that hangs: everybody may connect, and nobody gets an answer, or none after the sign-in.
class SilentBus {
public:
    enum class Until { Ever, Hello };

    /// @param path  where every user may come; empty: a place of its own
    explicit SilentBus(Until until = Until::Ever, const QString& path = {})
        : m_path(path.isEmpty() ? m_folder.filePath(u"bus"_s) : path),
          m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, m_path.toLocal8Bit().constData(), sizeof address.sun_path);
        m_isThere = bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
            listen(m_socket, 64) == 0 && chmod(address.sun_path, 0777) == 0;
        m_serving = std::thread([this, until] { serve(until); });
    }
    ~SilentBus() {
        m_isOver = true;
        m_serving.join();
        close(m_socket);
    }
    SilentBus(const SilentBus&) = delete;
    SilentBus& operator=(const SilentBus&) = delete;

    /// Empty when there is none.
    QString address() const { return m_isThere ? u"unix:path="_s + m_path : QString(); }
    int peers() const { return m_peers; }

private:
    void serve(Until until) {
        QList<int> open;
        while (!m_isOver) {
            pollfd polled{m_socket, POLLIN, 0};
            if (poll(&polled, 1, 20) != 1)
                continue;
            open << accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC);
            ++m_peers;
            char words[256];
            if (until == Until::Hello && recv(open.last(), words, sizeof words, 0) > 0)
                send(open.last(), "OK 0123456789abcdef0123456789abcdef\r\n", 37, MSG_NOSIGNAL);
        }
        for (const int peer : open)
            close(peer);
    }

    QTemporaryDir m_folder;
    const QString m_path;
    const int m_socket;
    bool m_isThere = false;
    std::atomic<bool> m_isOver{false};
    std::atomic<int> m_peers{0};
    std::thread m_serving;
};
