#include "AutoReleaseWindowController.h"

#include <QCloseEvent>

#include <algorithm>
#include <mutex>

namespace {

struct LivingWindows {
    std::recursive_mutex mutex;
    std::vector<AutoReleaseWindowController*> windows;
};

LivingWindows& living() {
    // Never destroyed: a window may outlast the static objects of the program.
    static auto* const windows = new LivingWindows;
    return *windows;
}

} // namespace

AutoReleaseWindowController::AutoReleaseWindowController(QWidget* parent, Qt::WindowFlags flags)
    : BaseWindowController(parent, flags) {
    const std::lock_guard lock(living().mutex);
    living().windows.push_back(this);
}

AutoReleaseWindowController::~AutoReleaseWindowController() {
    forget();
}

std::vector<AutoReleaseWindowController*> AutoReleaseWindowController::autoReleaseWCs() {
    const std::lock_guard lock(living().mutex);
    return living().windows;
}

void AutoReleaseWindowController::closeEvent(QCloseEvent* event) {
    BaseWindowController::closeEvent(event);
    if (!event->isAccepted())
        return;
    forget();
    deleteLater();
}

void AutoReleaseWindowController::forget() {
    const std::lock_guard lock(living().mutex);
    std::erase(living().windows, this);
}
