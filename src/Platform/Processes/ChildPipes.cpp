#include "ChildPipes.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Platform {

bool ChildPipes::open() {
    for (Stream& stream : m_streams) {
        int ends[2] = {-1, -1};
        const bool made = pipe2(ends, O_CLOEXEC) == 0;
        stream.readEnd = UniqueFd(ends[0]);
        stream.writeEnd = UniqueFd(ends[1]);
        if (!made || fcntl(stream.readEnd.get(), F_SETFL, O_NONBLOCK) != 0) {
            const int reason = errno;
            m_streams = {};
            errno = reason;
            return false;
        }
    }
    return true;
}

void ChildPipes::closeWriteEnds() {
    for (Stream& stream : m_streams)
        stream.writeEnd.close();
}

void ChildPipes::closeReadEnds() {
    for (Stream& stream : m_streams)
        stream.readEnd.close();
}

void ChildPipes::take(Stream& stream) {
    char bytes[65536];
    const ssize_t count = read(stream.readEnd.get(), bytes, sizeof bytes);
    if (count > 0) {
        const qsizetype room = StreamLimit - stream.data.size();
        stream.data.append(bytes, std::min<qsizetype>(count, room));
    } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
        // Cut off, it is no answer: told where the command's own complaints stand.
        if (count < 0)
            m_streams[1].data.append(std::strerror(errno));
        stream.readEnd.close();
    }
}

ChildPipes::Step ChildPipes::step(int timeoutMilliseconds, int exitDescriptor) {
    if (!m_streams[0].readEnd.isOpen() && !m_streams[1].readEnd.isOpen())
        return Step::Closed;
    // poll() passes over negative descriptors.
    pollfd polled[3] = {
        {m_streams[0].readEnd.get(), POLLIN, 0}, {m_streams[1].readEnd.get(), POLLIN, 0}, {exitDescriptor, POLLIN, 0}};
    const int ready = poll(polled, 3, timeoutMilliseconds);
    if (ready < 0)
        return errno == EINTR ? Step::Data : Step::Closed;
    if (ready == 0)
        return Step::Nothing;
    bool hasData = false;
    for (size_t i = 0; i < m_streams.size(); ++i) {
        if (polled[i].revents) {
            take(m_streams[i]);
            hasData = true;
        }
    }
    return hasData ? Step::Data : Step::Nothing;
}

void ChildPipes::readToEnd() {
    while (step(-1) != Step::Closed)
        ;
}

void ChildPipes::readWhatIsThere() {
    const auto deadline = Clock::now() + DrainLimit;
    while (Clock::now() < deadline && step(static_cast<int>(Quiet.count())) == Step::Data)
        ;
}

} // namespace Platform
