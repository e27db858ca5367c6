#pragma once

#include "ChildPipes.h"
#include "Error.h"

#include <QStringList>

#include <csignal>
#include <mutex>

#include <sys/types.h>

namespace Platform {

/// One run of an external command: where it is, its arguments, its output, its end.
///
/// The command starts with default signal settings, standard input from /dev/null, no descriptor of ours beyond the
/// standard streams, the pack of host tools first on its PATH, and in a process group of its own; where its output is
/// read, without a language and without the variables that change what ps prints. Signals go to that group, so that
/// the members of a shell pipeline end with their shell. The exit status is always collected; a task
/// destroyed while its command runs leaves the command alone. Reading is for one thread at a time, everything else may
/// be called from any thread.
class QenTask final {
public:
    enum class Output { Pipes, Inherited };

    QenTask(QString launchPath, QStringList arguments, Output output = Output::Pipes);
    ~QenTask();
    QenTask(const QenTask&) = delete;
    QenTask& operator=(const QenTask&) = delete;

    /// Starts the command; at most once. The error has the domain "NSPOSIXErrorDomain" and the system's number.
    Error launch();

    bool isLaunched() const;
    bool isRunning() const;
    /// The process and group number, 0 before launch(). Not to be signalled once the command has ended.
    pid_t processIdentifier() const;
    /// The exit status, the signal's number for a command that a signal ended (see wasSignalled()), -1 before the end.
    int terminationStatus() const;
    bool wasSignalled() const;

    /// Sends SIGTERM to the command's group; nothing when it does not run.
    void terminate() { sendSignal(SIGTERM); }
    /// Waits for the end without a limit; returns at once when not launched.
    void waitUntilExit();
    /// Waits @p seconds for the end, then 2 s more after SIGTERM and 2 s more after SIGKILL, each as wished. With both,
    /// members of the group that ignore SIGTERM are killed as soon as the command itself has obeyed it.
    /// @returns whether the command has ended
    bool waitUntilExitWithTimeout(double seconds, bool sendTerm, bool sendKill);
    /// Reads both pipes while the command runs, for at most @p seconds, so that no amount of output holds it up.
    /// @returns whether the command has ended
    bool readUntilExit(double seconds);

    /// Everything on standard output. Waits until the pipe is closed by all who hold it, unless one of the waits above
    /// has seen the command's end or has given it up: then a background descendant may hold the pipe for ever, and
    /// reading stops 0.1 s after the last bytes and after 1 s in all. Standard error is read alongside, so the order of
    /// the two calls does not matter.
    QByteArray readStandardOutputToEnd();
    QByteArray readStandardErrorToEnd();
    void closeReadingHandles();

private:
    void readPipes();
    void sendSignal(int number);
    bool waitFor(double seconds);
    void killGroupOfTheDead() const;
    bool collectStatus() const;

    const QString m_launchPath;
    const QStringList m_arguments;
    const Output m_output;

    mutable std::mutex m_mutex;
    pid_t m_pid = 0;
    UniqueFd m_exitDescriptor;
    /// Its end is one that was asked for, and is that of its group.
    bool m_endsWithGroup = false;
    mutable bool m_hasEnded = false;
    mutable bool m_wasSignalled = false;
    mutable int m_status = -1;

    ChildPipes m_pipes;
    bool m_isReadBounded = false;
    bool m_isDrained = false;
};

} // namespace Platform
