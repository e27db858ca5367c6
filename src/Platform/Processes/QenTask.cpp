#include "QenTask.h"

#include "Files.h"
#include "HostTools.h"
#include "Queue.h"

#include <QFile>
#include <QProcessEnvironment>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double AfterTermSeconds = 2.0;
constexpr double AfterKillSeconds = 2.0;
constexpr std::chrono::milliseconds PollInterval{100};

/// The form in which the system takes arguments and environment; points into @p texts.
std::vector<char*> pointersTo(QList<QByteArray>& texts) {
    std::vector<char*> pointers;
    for (QByteArray& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

QList<QByteArray> childEnvironment(QenTask::Output output) {
    // Not the bare environment array: another thread may be setting a variable through Qt.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // What we read is in no language; and a shell whose locale is not installed would complain on each run.
    if (output == QenTask::Output::Pipes) {
        environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
        // Each changes what ps and others print: a terminal's width cuts the lines that are searched.
        for (const auto& name : {u"LANGUAGE"_s, u"COLUMNS"_s, u"PS_FORMAT"_s, u"PS_PERSONALITY"_s})
            environment.remove(name);
    }
    environment.insert(u"PATH"_s, HostTools::searchPath(environment.value(u"PATH"_s)));
    QList<QByteArray> texts;
    for (const QString& entry : environment.toStringList())
        texts << entry.toLocal8Bit();
    return texts;
}

/// Whoever started this program may have had SIGCHLD ignored; then the system would throw each exit status away.
void keepExitStatuses() {
    struct sigaction action {};
    const bool isLost =
        sigaction(SIGCHLD, nullptr, &action) == 0 && (action.sa_handler == SIG_IGN || (action.sa_flags & SA_NOCLDWAIT));
    if (isLost)
        std::signal(SIGCHLD, SIG_DFL);
}

/// Starts the command in a group of its own; a descriptor below 0 leaves that stream as ours. The system's number of an
/// error, else 0.
int spawn(pid_t* pid, QList<QByteArray> arguments, QList<QByteArray> environment, int output, int error) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (output >= 0)
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    if (error >= 0)
        posix_spawn_file_actions_adddup2(&actions, error, STDERR_FILENO);
    // Libraries open descriptors without close-on-exec, too.
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setpgroup(&attributes, 0);
    sigset_t signalSet;
    sigemptyset(&signalSet);
    posix_spawnattr_setsigmask(&attributes, &signalSet);
    sigfillset(&signalSet);
    posix_spawnattr_setsigdefault(&attributes, &signalSet);

    const int failure = posix_spawn(pid, arguments[0].constData(), &actions, &attributes, pointersTo(arguments).data(),
        pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return failure;
}

} // namespace

QenTask::QenTask(QString launchPath, QStringList arguments, Output output)
    : m_launchPath(std::move(launchPath)), m_arguments(std::move(arguments)), m_output(output) {}

QenTask::~QenTask() {
    // Else it would stay as a zombie after its end.
    if (isRunning())
        globalQueue().async([pid = m_pid] { uninterrupted([pid] { return waitpid(pid, nullptr, 0); }); });
}

Error QenTask::launch() {
    const std::lock_guard lock(m_mutex);
    if (m_pid)
        return systemError(EALREADY);
    if (m_output == Output::Pipes && !m_pipes.open())
        return systemError(errno);

    QList<QByteArray> arguments{QFile::encodeName(m_launchPath)};
    for (const QString& argument : HostTools::resolvedArguments(m_launchPath, m_arguments))
        arguments << argument.toLocal8Bit();
    keepExitStatuses();
    pid_t pid = 0;
    const int failure = spawn(
        &pid, std::move(arguments), childEnvironment(m_output), m_pipes.outputWriteEnd(), m_pipes.errorWriteEnd());
    m_pipes.closeWriteEnds();
    if (failure) {
        m_pipes.closeReadEnds();
        return systemError(failure);
    }
    m_pid = pid;
    // Without it (an old kernel, a filter) the waits fall back to plain polling.
    m_exitDescriptor = UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    return {};
}

bool QenTask::isLaunched() const {
    const std::lock_guard lock(m_mutex);
    return m_pid != 0;
}

bool QenTask::isRunning() const {
    const std::lock_guard lock(m_mutex);
    return m_pid && !collectStatus();
}

pid_t QenTask::processIdentifier() const {
    const std::lock_guard lock(m_mutex);
    return m_pid;
}

int QenTask::terminationStatus() const {
    const std::lock_guard lock(m_mutex);
    return m_pid && collectStatus() ? m_status : -1;
}

bool QenTask::wasSignalled() const {
    const std::lock_guard lock(m_mutex);
    return m_pid && collectStatus() && m_wasSignalled;
}

/// While the dead leader is not reaped its number is nobody else's.
void QenTask::killGroupOfTheDead() const {
    siginfo_t info{};
    if (waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == m_pid)
        kill(-m_pid, SIGKILL);
}

/// Reaps the child when it has ended; with the lock held, so that no signal goes to a number that is free again.
bool QenTask::collectStatus() const {
    if (m_hasEnded)
        return true;
    if (m_endsWithGroup)
        killGroupOfTheDead();
    int status = 0;
    const pid_t answer = waitpid(m_pid, &status, WNOHANG);
    if (answer == 0 || (answer < 0 && errno == EINTR))
        return false;
    m_hasEnded = true;
    if (answer == m_pid) {
        m_wasSignalled = WIFSIGNALED(status);
        m_status = m_wasSignalled ? WTERMSIG(status) : WEXITSTATUS(status);
    }
    // Otherwise somebody else collected the status: ended, status unknown.
    return true;
}

void QenTask::sendSignal(int number) {
    const std::lock_guard lock(m_mutex);
    if (m_pid && !collectStatus())
        kill(-m_pid, number);
}

/// Polls every 0.1 s; the end of the command ends the pause between two polls.
bool QenTask::waitFor(double seconds) {
    const auto start = Clock::now();
    while (isRunning()) {
        const Seconds left = Seconds(seconds) - (Clock::now() - start);
        if (left.count() <= 0)
            return false;
        const auto pause = std::min(std::chrono::ceil<std::chrono::milliseconds>(left), PollInterval);
        pollfd polled{m_exitDescriptor.get(), POLLIN, 0};
        poll(&polled, 1, static_cast<int>(pause.count()));
    }
    m_isReadBounded = isLaunched();
    return true;
}

void QenTask::waitUntilExit() {
    if (!isLaunched())
        return;
    while (!waitFor(3600)) {
    }
}

bool QenTask::waitUntilExitWithTimeout(double seconds, bool sendTerm, bool sendKill) {
    if (waitFor(seconds))
        return true;
    if (sendTerm) {
        {
            const std::lock_guard lock(m_mutex);
            m_endsWithGroup = sendKill;
        }
        terminate();
        if (waitFor(AfterTermSeconds))
            return true;
    }
    if (sendKill) {
        sendSignal(SIGKILL);
        const bool hasEnded = waitFor(AfterKillSeconds);
        // One that not even this ends may hold its pipes for as long as it likes.
        m_isReadBounded = true;
        return hasEnded;
    }
    return false;
}

bool QenTask::readUntilExit(double seconds) {
    constexpr qint64 LongestStep = 1000;
    const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(Seconds(seconds));
    qint64 left = 0;
    auto step = ChildPipes::Step::Data;
    do {
        left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        step = m_pipes.step(static_cast<int>(std::clamp<qint64>(left, 0, LongestStep)), m_exitDescriptor.get());
    } while (left > 0 && step != ChildPipes::Step::Closed && isRunning());
    if (!isRunning())
        m_pipes.readWhatIsThere();
    return waitFor(Seconds(deadline - Clock::now()).count());
}

void QenTask::readPipes() {
    if (m_isDrained)
        return;
    m_isDrained = true;
    if (m_isReadBounded)
        m_pipes.readWhatIsThere();
    else
        m_pipes.readToEnd();
}

QByteArray QenTask::readStandardOutputToEnd() {
    readPipes();
    return m_pipes.takeOutput();
}

QByteArray QenTask::readStandardErrorToEnd() {
    readPipes();
    return m_pipes.takeError();
}

void QenTask::closeReadingHandles() {
    m_pipes.closeReadEnds();
}

} // namespace Platform
