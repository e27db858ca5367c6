#include "AppDelegate.h"
#include "BusConnection.h"
#include "Client.h"
#include "Deployment.h"
#include "MavMianViewCtrl.h"
#include "MavResources.h"
#include "QenMainWindow.h"
#include "Reachability.h"
#include "RunningApplications.h"
#include "StringTable.h"
#include "SystemLog.h"
#include "TrayHost.h"
#include "WindowContents.h"

#include <QApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include <sys/eventfd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int SecondCopy = 1;

/// Ends the process with its log written. No destructor runs: worker threads still use the services, and nothing that a
/// destructor does matters to a process that ends.
[[noreturn]] void endProcess(QenLogHelper& log, int status) {
    log.endExports();
    log.drain();
    std::_Exit(status);
}

/// What a signal is passed on through.
volatile sig_atomic_t endAsked = -1;

extern "C" void passOn(int) {
    // Only what is safe in a handler: the event loop does the rest.
    const int saved = errno;
    const eventfd_t one = 1;
    [[maybe_unused]] const ssize_t written = write(endAsked, &one, sizeof one);
    errno = saved;
}

/// Makes SIGTERM and SIGINT a call on the main thread.
void followSignals(const std::function<void()>& end) {
    endAsked = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    auto* notifier = new QSocketNotifier(endAsked, QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, qApp, [end] {
        eventfd_t count = 0;
        eventfd_read(endAsked, &count);
        end();
    });
    struct sigaction action {};
    action.sa_handler = passOn;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGTERM, SIGINT})
        sigaction(signal, &action, nullptr);
}

int runApplication(Client& client, Platform::RunningApplications& running, Platform::BusConnection& bus) {
    initMavResources();
    installStringTable();
    QApplication::setDesktopFileName(Deployment::BundleIdentifier);
    QApplication::setQuitOnLastWindowClosed(false);

    Platform::TrayHost trayHost(bus);
    // What the end of the process takes back; there once the window is.
    std::optional<WindowContents> contents;
    const auto quit = [&contents, &client](int status) {
        if (contents)
            contents->withdraw();
        endProcess(client.log, status);
    };
    QenMainWindow window(client.defaults);
    AppDelegate delegate({client, window, trayHost, quit});
    Platform::Reachability reachability;

    followSignals([&delegate, quit] {
        // The gate may refuse a person once, not the end of the session.
        if (!delegate.applicationShouldTerminate())
            quit(EXIT_SUCCESS);
    });
    running.setActivationHandler([&delegate, &window] {
        delegate.applicationShouldHandleReopen(window.isVisible());
        delegate.applicationWillBecomeActive();
    });
    QObject::connect(
        qApp, &QGuiApplication::applicationStateChanged, &delegate, [&delegate](Qt::ApplicationState state) {
            if (state == Qt::ApplicationActive)
                delegate.applicationWillBecomeActive();
        });
    delegate.applicationDidFinishLaunching();
    // After the launch sequence, which only posts the window's showing: what the pages log comes behind its first line.
    contents.emplace(client, delegate, window, reachability, bus);
    window.setContentView(new MavMianViewCtrl(contents->world()));
    contents->start();
    return QApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    Platform::installConsoleHandler();
    // Never destroyed: lock and name are given back when the process ends. Before the toolkit, which gives up at once
    // where there is no screen: a second copy needs none.
    auto& bus = *new Platform::BusConnection;
    auto& running =
        *new Platform::RunningApplications({Deployment::BundleIdentifier, Platform::Paths::userState()}, bus);
    if (running.claim() == Platform::RunningApplications::Claim::Second)
        std::_Exit(SecondCopy);
    // The toolkit would wait for a bus that hangs, on this thread.
    if (bus.isSilent())
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");

    const bool isForeignLaunch = argc >= 2 && std::strcmp(argv[1], "-agent") != 0;
    // The toolkit would take arguments of its own out of the list; none of them is offered.
    int toolkitArguments = 1;
    // A launch that ends at once needs no screen.
    const std::unique_ptr<QCoreApplication> application(
        isForeignLaunch ? new QCoreApplication(toolkitArguments, argv) : new QApplication(toolkitArguments, argv));
    QCoreApplication::setApplicationName(u"Mav"_s);
    // Never destroyed either: other threads use it until the process ends.
    auto& client = *new Client;
    if (isForeignLaunch) {
        client.log.writeLog(u" run app argv %1"_s.arg(QString::fromLocal8Bit(argv[1])));
        endProcess(client.log, EXIT_SUCCESS);
    }
    endProcess(client.log, runApplication(client, running, bus));
}
