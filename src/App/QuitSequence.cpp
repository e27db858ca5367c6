#include "QuitSequence.h"

#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "Queue.h"
#include "VpnComponent.h"

#include <atomic>

using namespace Qt::StringLiterals;

void runQuitSequence(QenCloudLoginHelper& login, QenLogHelper& log, VpnComponent& vpn, std::function<void()> terminate,
    std::chrono::milliseconds limit) {
    const auto finish = [terminate = std::move(terminate), isOver = std::make_shared<std::atomic<bool>>(false)] {
        if (!isOver->exchange(true))
            terminate();
    };
    Platform::globalQueue().async([&login, &log, &vpn, finish] {
        login.existZelVPN();
        if (vpn.processes().isEmpty()) {
            finish();
            return;
        }
        // Behind the stop that was begun above, as a unit of its own.
        vpn.stop([&log, finish](const AgentStop& stop) {
            // The error is not looked at, on purpose: the answer's code alone decides which line is logged.
            log.writeLog(u"[appdelegate] "_s + stop.outcome());
            finish();
        });
    });
    // Only for a look-up or a link that hangs: each of them has a limit of its own.
    Platform::after(Platform::mainQueue(), limit, finish);
}
