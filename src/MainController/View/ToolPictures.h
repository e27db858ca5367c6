#pragma once

#include "QenToolModel.h"
#include "Queue.h"

#include <QCache>
#include <QImage>
#include <QPixmap>
#include <QSet>
#include <QStringList>

#include <optional>

namespace Platform {
class Workspace;
}

/// The pictures of tools: the one that the record names among those meant for tools, else the icon of the application
/// that it opens.
///
/// Icons are looked for and decoded in the background, each once; the rest is main thread.
class ToolPictures final : public QObject {
    Q_OBJECT
public:
    static constexpr int Side = 48;

    /// @param dataFolders  where programs install their icons
    explicit ToolPictures(QStringList dataFolders, QObject* parent = nullptr);
    /// Waits for a search that runs.
    ~ToolPictures() override;

    /// Whose applications the records name; without one none has an icon.
    /// @param workspace  must outlive this object
    void setWorkspace(const Platform::Workspace& workspace) { m_workspace = &workspace; }
    /// At most Side points wide and high, a null one when the tool has none, nothing while it is looked for.
    std::optional<QPixmap> picture(const QenToolModel& tool, qreal scale);

Q_SIGNALS:
    /// A search has ended.
    void found();

private:
    void search(const QString& application);
    void keep(const QString& application, const QImage& icon);

    const QStringList m_dataFolders;
    const Platform::Workspace* m_workspace = nullptr;
    /// By application; a null one for none.
    QCache<QString, QImage> m_icons;
    QSet<QString> m_searched;
    Platform::SerialQueue m_reader;
};

/// The file of a program's icon, as programs install theirs: in the common icon theme or the older picture folder.
/// Empty when there is none. Reads folders; any thread.
/// @param icon  a name or a whole path
/// @param dataFolders  in order, like /usr/share
QString iconFile(const QString& icon, const QStringList& dataFolders);

/// A mark for a tool without a picture: the first sign of its name on a tone of its own.
QPixmap initialPicture(const QString& name, qreal scale);
