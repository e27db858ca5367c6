#include "AccountRoutes.h"
#include "Authority.h"
#include "Certificate.h"
#include "HttpFront.h"
#include "NacRoutes.h"
#include "OperatorPage.h"
#include "OperatorRoutes.h"
#include "Options.h"
#include "PolicyRoutes.h"
#include "ScanRoutes.h"
#include "Stores.h"

#include <QCoreApplication>
#include <QDir>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

int failWith(const QString& why) {
    std::fprintf(stderr, "mav-reference-server: %s\n", qUtf8Printable(why));
    return 1;
}

/// Turns SIGTERM and SIGINT into the end of the event loop. Called before any thread exists, so that all inherit the
/// mask.
int signalDescriptor() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

void quitWhenClosed(QSocketNotifier& input) {
    QObject::connect(&input, &QSocketNotifier::activated, &input, [&input] {
        char ignored[256];
        const auto length = read(STDIN_FILENO, ignored, sizeof ignored);
        if (length > 0 || (length < 0 && (errno == EINTR || errno == EAGAIN)))
            return;
        input.setEnabled(false);
        QCoreApplication::quit();
    });
}

int serve(const Reference::Options& options) {
    using namespace Reference;
    QString why;
    if (!QDir().mkpath(options.folder))
        return failWith(u"cannot make the folder "_s + options.folder);
    const auto identity = serverIdentity(options.folder, &why);
    if (!identity)
        return failWith(why);
    const auto authority = Authority::open(options.folder, &why);
    if (!authority)
        return failWith(why);
    Stores stores(QDir(options.folder).filePath(u"server.sqlite"_s));
    if (!stores.database.isOpen())
        return failWith(u"cannot open the database: "_s + stores.database.errorText());
    for (const auto& [account, password] : options.accounts)
        stores.accounts.add(account, password);

    Faults faults;
    RequestLog log;
    Router services;
    addAccountRoutes(services, stores);
    addScanRoutes(services, stores);
    addPolicyRoutes(services, stores);
    addNacRoutes(services, stores, *authority);
    Router operators;
    const OperatorDesk desk{stores, faults, log};
    addOperatorRoutes(operators, desk);
    addOperatorPage(operators, desk);

    HttpFront front(services, operators, faults, log);
    const quint16 http = front.listenPlain(options.address, options.port);
    const quint16 https = front.listenEncrypted(options.address, options.httpsPort, *identity);
    if (http == 0 || https == 0)
        return failWith(u"cannot listen on port %1"_s.arg(http == 0 ? options.port : options.httpsPort));
    std::printf("ready http=%d https=%d\n", http, https);
    std::fflush(stdout);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    const int signalsFd = signalDescriptor();
    umask(0077);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"mav-reference-server"_s);
    const Reference::Options options = Reference::parseOptions(QCoreApplication::arguments());
    if (options.help) {
        std::printf("%s", qUtf8Printable(options.text));
        return 0;
    }
    if (!options.text.isEmpty())
        return failWith(options.text);

    QSocketNotifier onSignal(signalsFd, QSocketNotifier::Read);
    QObject::connect(&onSignal, &QSocketNotifier::activated, &application, &QCoreApplication::quit);
    QSocketNotifier onInput(STDIN_FILENO, QSocketNotifier::Read);
    onInput.setEnabled(options.untilStdinCloses);
    quitWhenClosed(onInput);
    return serve(options);
}
