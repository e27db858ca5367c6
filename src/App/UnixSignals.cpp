#include "UnixSignals.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>

#include <fcntl.h>

namespace {

volatile sig_atomic_t writeEnd = -1;

extern "C" void passOn(int) {
    // Only what is safe in a handler: the event loop does the rest.
    const int saved = errno;
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = write(writeEnd, &byte, 1);
    errno = saved;
}

void setHandler(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

} // namespace

UnixSignals::UnixSignals(std::function<void()> onEnd, QObject* parent) : QObject(parent) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    m_readEnd = Platform::UniqueFd(ends[0]);
    writeEnd = ends[1];
    auto* notifier = new QSocketNotifier(m_readEnd.get(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, onEnd = std::move(onEnd)] {
        char byte = 0;
        while (read(m_readEnd.get(), &byte, 1) > 0) {
        }
        onEnd();
    });
    setHandler(passOn);
}

UnixSignals::~UnixSignals() {
    if (!m_readEnd.isOpen())
        return;
    setHandler(SIG_DFL);
    const Platform::UniqueFd closing(writeEnd);
    writeEnd = -1;
}
