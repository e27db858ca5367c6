#include "AppDelegate.h"
#include "BusConnection.h"
#include "Client.h"
#include "Deployment.h"
#include "MavExportLogController.h"
#include "MavMianViewCtrl.h"
#include "MavModifyPasswordCtrl.h"
#include "MavResources.h"
#include "QenMainWindow.h"
#include "Reachability.h"
#include "RunningApplications.h"
#include "StringTable.h"
#include "SystemLog.h"
#include "TrayHost.h"
#include "UnixSignals.h"
#include "WindowContents.h"

#include <QApplication>
#include <QPointer>

#include <cstdlib>
#include <cstring>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int SecondCopy = 1;

/// Ends the process with its log written. No destructor runs: worker threads still use the services, and nothing that a
/// destructor does matters to a process that ends.
[[noreturn]] void endProcess(QenLogHelper& log, int status) {
    log.drain();
    std::_Exit(status);
}

/// The pieces behind the launch sequence and the menu.
ApplicationParts runningParts(Client& client, AppDelegate*& delegate) {
    ApplicationParts parts;
    parts.startUIResourcesFileListen = [&client] { client.fileListener.startUIResourcesFileListen(); };
    parts.configParlo = [&client] { client.parlo.config(); };
    parts.startProcessListener = [&client] { client.processListener.startListening(); };
    parts.checkCaVersion = [&client] { return client.nac.checkCaVersion(); };
    parts.installStaticMobileconfig = [&client] { client.nac.installStaticMobileconfig(); };
    parts.beginExportLogSheet = [&client, exportLogCtrl = QPointer<MavExportLogController>()](
                                    QWidget* window, const std::function<void(bool)>& exporting) mutable {
        if (!exportLogCtrl) {
            exportLogCtrl = new MavExportLogController(client.log, window);
            QObject::connect(exportLogCtrl, &MavExportLogController::exportingChanged, exportLogCtrl, exporting);
        }
        exportLogCtrl->beginSheet();
    };
    parts.beginModifyPasswordSheet = [&client, &delegate, modifypasswordWinCtrl = QPointer<MavModifyPasswordCtrl>()](
                                         QWidget* window) mutable {
        if (!modifypasswordWinCtrl)
            modifypasswordWinCtrl = new MavModifyPasswordCtrl(
                {.application = *delegate, .login = client.login, .log = client.log, .work = client.work}, window);
        modifypasswordWinCtrl->beginSheet();
    };
    return parts;
}

int runApplication(Client& client, Platform::RunningApplications& running, Platform::BusConnection& bus) {
    initMavResources();
    installStringTable();
    QApplication::setDesktopFileName(Deployment::BundleIdentifier);
    QApplication::setQuitOnLastWindowClosed(false);

    Platform::TrayHost trayHost(bus);
    // What the end of the process takes back; there once the window is.
    WindowContents* contents = nullptr;
    const auto quit = [&contents, &client](int status) {
        if (contents)
            contents->withdraw();
        endProcess(client.log, status);
    };
    AppDelegate* itself = nullptr;
    AppDelegate delegate({.login = client.login,
        .device = client.device,
        .log = client.log,
        .center = client.center,
        .trayHost = trayHost,
        .applicationSupport = client.places.applicationSupport,
        .vpn = client.vpn,
        .work = client.work,
        .parts = runningParts(client, itself),
        .exitProcess = quit});
    itself = &delegate;
    Platform::Reachability reachability;
    QenMainWindow window(client.defaults);
    delegate.setMainWindow(&window);

    const UnixSignals signals([&delegate, quit] {
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
    WindowContents windowContents(client, delegate, window, reachability, bus);
    contents = &windowContents;
    window.setContentView(new MavMianViewCtrl(windowContents.world()));
    windowContents.start();
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
    auto& client = *new Client(ClientPlaces::standard());
    if (isForeignLaunch) {
        client.log.writeLog(u" run app argv %1"_s.arg(QString::fromLocal8Bit(argv[1])));
        endProcess(client.log, EXIT_SUCCESS);
    }
    endProcess(client.log, runApplication(client, running, bus));
}
