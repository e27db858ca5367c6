#pragma once

#include <QString>
#include <QStringList>

/// The file of a program's icon, as programs install theirs: in the common icon theme or the older picture folder.
/// Empty when there is none. Reads folders; any thread.
/// @param icon  a name or a whole path
/// @param dataFolders  in order, like /usr/share
QString iconFile(const QString& icon, const QStringList& dataFolders);
