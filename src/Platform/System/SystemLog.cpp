#include "SystemLog.h"

#include <QLoggingCategory>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace Platform {

namespace {

/// A pipe that is ready for writing takes PIPE_BUF bytes without waiting; so nothing longer is handed over at once.
void writeWithoutWaiting(int descriptor, QByteArrayView bytes) {
    while (!bytes.empty()) {
        pollfd polled{descriptor, POLLOUT, 0};
        if (poll(&polled, 1, 0) != 1 || !(polled.revents & POLLOUT))
            return;
        const ssize_t count = write(descriptor, bytes.data(), std::min<size_t>(bytes.size(), PIPE_BUF));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return;
        bytes = bytes.sliced(count);
    }
}

/// In the toolkit's own default form, without the cost of its general way.
void handleMessage(QtMsgType, const QMessageLogContext& context, const QString& message) {
    QByteArray line = message.toUtf8() + '\n';
    if (context.category && qstrcmp(context.category, "default") != 0)
        line.prepend(": ").prepend(context.category);
    writeWithoutWaiting(STDERR_FILENO, line);
}

} // namespace

void systemLog(const QString& text) {
    static const QLoggingCategory category("mav.console");
    if (!category.isInfoEnabled())
        return;
    const QMessageLogContext context(nullptr, 0, nullptr, category.categoryName());
    // Without its last line end, and without a copy.
    qt_message_output(
        QtInfoMsg, context, QString::fromRawData(text.constData(), text.size() - (text.endsWith(u'\n') ? 1 : 0)));
}

void installConsoleHandler() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        // The lowest free number is the closed stream's.
        if (fcntl(stream, F_GETFD) == -1 && open("/dev/null", O_RDWR) < 0)
            break;
    }
    std::signal(SIGPIPE, SIG_IGN);
    qInstallMessageHandler(handleMessage);
}

} // namespace Platform
