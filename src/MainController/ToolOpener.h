#pragma once

#include "QenToolModel.h"

#include <QObject>
#include <QSet>

#include <chrono>

class QWidget;

namespace Platform {
class Workspace;
}

/// What pressing a tool does.
struct ToolOpening {
    enum class Action { OpenLink, Launch, OfferDownload, TellMissing };

    Action action = Action::TellMissing;
    /// The address to open, now or when the download is wanted.
    QString url;
    /// The application to launch.
    QString application;
    /// For the person.
    QString message;
};

bool isHyperlink(const QenToolModel& tool);
/// Pure function.
/// @param isInstalled  looked at for applications only
ToolOpening toolOpening(const QenToolModel& tool, bool isInstalled);

/// Opens a tool that was pressed: its link, its application, or a sheet that says what to do without it. A tool that is
/// pressed again while it still starts is not started twice. Main thread; the application is looked for in the
/// background.
class ToolOpener final : public QObject {
    Q_OBJECT
public:
    /// @param workspace  must outlive this object
    /// @param startTime  for how long something that was started counts as starting
    explicit ToolOpener(
        Platform::Workspace& workspace, std::chrono::milliseconds startTime = std::chrono::milliseconds(2000));

    /// @param window  the sheets attach to it
    void open(const QenToolModel& tool, QWidget* window);

private:
    void carryOut(const ToolOpening& opening, QWidget* window);
    void showSheet(const ToolOpening& opening, QWidget* window);
    /// Launches through the workspace.
    void openApplication(const QString& path);

    Platform::Workspace& m_workspace;
    const std::chrono::milliseconds m_startTime;
    /// Programs and addresses.
    QSet<QString> m_starting;
};
