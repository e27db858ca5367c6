#pragma once

#include "QenToolModel.h"

#include <QObject>

class QWidget;

namespace Platform {
class Workspace;
}

/// Opens a tool that was pressed: its link, its application, or a sheet that says what to do without it. Main thread;
/// the application is looked for in the background.
class ToolOpener final : public QObject {
    Q_OBJECT
public:
    /// @param workspace  must outlive this object
    explicit ToolOpener(Platform::Workspace& workspace) : m_workspace(workspace) {}

    /// @param window  the sheets attach to it
    void open(const QenToolModel& tool, QWidget* window);

private:
    void carryOut(const struct ToolOpening& opening, QWidget* window);
    /// Launches through the workspace.
    void openApplication(const QString& path);

    Platform::Workspace& m_workspace;
};
