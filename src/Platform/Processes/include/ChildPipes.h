#pragma once

#include "UniqueFd.h"

#include <QByteArray>

#include <array>
#include <chrono>

namespace Platform {

/// The two pipes on which a child process writes, read side by side so that a full one never holds up the other.
///
/// Not for two threads at once. At most StreamLimit bytes of a stream are kept; what follows is read and dropped.
class ChildPipes final {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr qsizetype StreamLimit = 16 << 20;
    /// How long readWhatIsThere() waits for more after the last bytes, and in all.
    static constexpr std::chrono::milliseconds Quiet{100};
    static constexpr std::chrono::milliseconds DrainLimit{1000};

    /// False with errno when the system has no pipe to give; then nothing is open.
    bool open();
    int outputWriteEnd() const { return m_streams[0].writeEnd.get(); }
    int errorWriteEnd() const { return m_streams[1].writeEnd.get(); }
    void closeWriteEnds();
    void closeReadEnds();

    /// Waits until every process that holds the pipes has closed them.
    void readToEnd();
    /// For a command that is over: a descendant may still hold the pipes open, so this stops soon after the last bytes.
    void readWhatIsThere();
    enum class Step { Data, Nothing, Closed };
    /// Waits until there is something to take, @p exitDescriptor becomes readable or the time is over (-1: never).
    Step step(int timeoutMilliseconds, int exitDescriptor = -1);

    QByteArray takeOutput() { return std::exchange(m_streams[0].data, {}); }
    QByteArray takeError() { return std::exchange(m_streams[1].data, {}); }

private:
    struct Stream {
        UniqueFd readEnd;
        UniqueFd writeEnd;
        QByteArray data;
    };

    void take(Stream& stream);

    std::array<Stream, 2> m_streams;
};

} // namespace Platform
