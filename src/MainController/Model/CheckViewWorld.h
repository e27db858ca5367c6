#pragma once

#include "JoinDomainAction.h"
#include "QenCheckRound.h"

#include <QString>

#include <functional>

class QenCloudLoginHelper;
class QenLogHelper;
class QWidget;

namespace Platform {
class NotificationCenter;
class Workspace;
} // namespace Platform

/// What the view of checks and tools stands on; all of it outlives the view.
struct CheckViewWorld {
    QenCloudLoginHelper& login;
    QenLogHelper& log;
    Platform::NotificationCenter& center;
    Platform::Workspace& workspace;
    /// The agent's data folder.
    QString agentState;
    QenCheckRound::World round;
    JoinDomainAction::World joinDomain;
    /// Shows a topic of the help beside the given window.
    std::function<void(const QString& tag, const QWidget* over)> openHelp;
};
