#include "AppDelegate.h"
#include "Bundle.h"
#include "Deployment.h"
#include "ITDevice.h"
#include "MavExportLogController.h"
#include "MavMianViewCtrl.h"
#include "MavModifyPasswordCtrl.h"
#include "MavResources.h"
#include "NotificationCenter.h"
#include "Paths.h"
#include "QenCloudClientProcessListener.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "QenMainWindow.h"
#include "QenUIFileListener.h"
#include "QenUIParloManager.h"
#include "Reachability.h"
#include "RunningApplications.h"
#include "SystemLog.h"
#include "TrayHost.h"
#include "UnixSignals.h"
#include "UserDefaults.h"
#include "VindorClient.h"
#include "WindowContents.h"
#include "iNacManager.h"

#include <QApplication>
#include <QPointer>

#include <cstdlib>
#include <cstring>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int SecondCopy = 1;

/// Ends the process with its log written. No destructor runs: worker threads still use the shared services, and nothing
/// that a destructor does matters to a process that ends.
[[noreturn]] void endProcess(int status) {
    QenLogHelper::sharedInstance().drain();
    std::_Exit(status);
}

/// The pieces behind the launch sequence and the quit.
ApplicationParts runningParts() {
    ApplicationParts parts;
    parts.startUIResourcesFileListen = [] { QenUIFileListener::sharedInstance().startUIResourcesFileListen(); };
    parts.configParlo = [] { QenUIParloManager::sharedInstance().config(); };
    parts.startProcessListener = [] { QenCloudClientProcessListener::sharedInstance().startListening(); };
    parts.agent = &VindorClient::sharedInstance();
    parts.checkCaVersion = [] { return iNacManager::sharedInstance().checkCaVersion(); };
    parts.installStaticMobileconfig = [] { iNacManager::sharedInstance().installStaticMobileconfig(); };
    parts.beginExportLogSheet = [sheet = QPointer<MavExportLogController>()](
                                    QWidget* window, const std::function<void(bool)>& exporting) mutable {
        if (!sheet) {
            sheet = new MavExportLogController(QenLogHelper::sharedInstance(), window);
            QObject::connect(sheet, &MavExportLogController::exportingChanged, sheet, exporting);
        }
        sheet->beginSheet();
    };
    parts.beginModifyPasswordSheet = [sheet = QPointer<MavModifyPasswordCtrl>()](QWidget* window) mutable {
        if (!sheet)
            sheet = new MavModifyPasswordCtrl({QenCloudLoginHelper::sharedInstance(), QenLogHelper::sharedInstance(),
                                                  Platform::Paths::applicationSupport()},
                window);
        sheet->beginSheet();
    };
    return parts;
}

int runApplication(Platform::RunningApplications& running) {
    initMavResources();
    Platform::installStringTable();
    QApplication::setDesktopFileName(Platform::Deployment::BundleIdentifier);
    QApplication::setQuitOnLastWindowClosed(false);

    Platform::TrayHost trayHost;
    // What the end of the process takes back; there once the window is.
    WindowContents* contents = nullptr;
    const auto quit = [&contents](int status) {
        if (contents)
            contents->withdraw();
        endProcess(status);
    };
    AppDelegate delegate({QenCloudLoginHelper::sharedInstance(), ITDevice::currentDevice(),
        QenLogHelper::sharedInstance(), Platform::NotificationCenter::defaultCenter(), trayHost,
        Platform::Paths::applicationSupport(), Platform::Paths::vpnExecutable(), runningParts(), quit});
    Platform::Reachability reachability;
    QenMainWindow window(Platform::UserDefaults::standard());
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
    WindowContents windowContents(delegate, window, reachability);
    contents = &windowContents;
    window.setContentView(new MavMianViewCtrl(windowContents.world()));
    windowContents.start();
    return QApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    Platform::installConsoleHandler();
    const bool isForeignLaunch = argc >= 2 && std::strcmp(argv[1], "-agent") != 0;
    // The toolkit would take arguments of its own out of the list; none of them is offered.
    int toolkitArguments = 1;
    // A launch that ends at once needs no screen.
    const std::unique_ptr<QCoreApplication> application(
        isForeignLaunch ? new QCoreApplication(toolkitArguments, argv) : new QApplication(toolkitArguments, argv));
    QCoreApplication::setApplicationName(u"Mav"_s);

    // Never destroyed: the name is given back when the process ends.
    auto& running = *new Platform::RunningApplications;
    if (running.claim() == Platform::RunningApplications::Claim::Second)
        return SecondCopy;
    if (isForeignLaunch) {
        QenLogHelper::sharedInstance().writeLog(u" run app argv %1"_s.arg(QString::fromLocal8Bit(argv[1])));
        endProcess(EXIT_SUCCESS);
    }
    endProcess(runApplication(running));
}
