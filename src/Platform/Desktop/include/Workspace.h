#pragma once

#include <QString>
#include <QStringList>

namespace Platform {

/// The desktop's applications and its browser.
///
/// An application is known by a file name: in one of the application folders, as a desktop entry (by its id, its name
/// or its program), or as a program on the PATH; an ending ".app" or ".desktop" may be missing there. Nothing is ever
/// handed to a shell. Any thread; isInstalled() reads files and is not for the main thread.
class Workspace final {
public:
    struct Folders {
        /// Looked through in order for the very name.
        QStringList applications;
        /// Those of desktop entries.
        QStringList entries;
        /// Those of programs.
        QStringList programs;

        /// The fixed application folders, $XDG_DATA_HOME, $XDG_DATA_DIRS and $PATH.
        static Folders standard();
    };

    explicit Workspace(Folders folders = Folders::standard());

    /// Opens an address in the default browser. An empty one, or one that would be taken for an option, is not opened.
    void openUrl(const QString& url) const;
    /// Whether an application folder holds the name, or a desktop entry or program of it can be started. A name with a
    /// slash, an empty one, or one longer than a file name can be is never installed.
    bool isInstalled(const QString& name) const;
    /// Name or whole path of the icon of the desktop entry that the application is started by; without an entry the
    /// name of its program. Reads files like isInstalled().
    QString iconOf(const QString& name) const;
    /// Starts the application in the background; nothing happens when there is nothing to start.
    void launchApplication(const QString& name) const;

private:
    const Folders m_folders;
};

} // namespace Platform
