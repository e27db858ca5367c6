#pragma once

#include <QStringList>

/// The pack of host tools that the client brings, and how commands find it.
namespace Platform::HostTools {

/// Folders that are searched for tools before the system's, first one first; those that do not exist are passed over.
/// By default Contents/Tools in the application bundle, then "hosttools" beside the running executable.
QStringList folders();
/// Replaces the list of folders() for every command started from now on. Any thread.
void setFolders(const QStringList& folders);

/// The tool of the same name in the pack for a path in the system's folders, whatever exists there, and for one at
/// which nothing exists; else @p path unchanged.
QString resolved(const QString& path);
/// The arguments with which @p program is started. A shell finds the commands of its line by itself, those given by a
/// path only where it says: in the line after "-c" each command's path is replaced by what resolved() gives.
QStringList resolvedArguments(const QString& program, const QStringList& arguments);
/// The PATH of a child process: the existing folders of the pack in front of @p searchPath (the system's usual one when
/// empty).
QString searchPath(const QString& searchPath);

} // namespace Platform::HostTools
