// Desktop entries from any bytes: only a program that is there makes an application installed. Nothing is started.

#include "Fuzzing.h"
#include "Workspace.h"

#include <QDir>

using namespace Qt::StringLiterals;

void fuzz(const QByteArray& input) {
    static InputFolder folder;
    static const bool isMade = QDir(folder.path()).mkdir(u"entries"_s) && QDir(folder.path()).mkdir(u"programs"_s);
    static const bool isLinked = QFile::link(u"/bin/true"_s, folder.path(u"programs/true"_s));
    require(isMade && isLinked, "no folders");
    const QList<QByteArray> parts = partsOf(input);
    folder.write(u"entries/first.desktop"_s, parts[0]);
    folder.write(u"entries/second.desktop"_s, parts.value(1));
    const Platform::Workspace empty({{}, {folder.path(u"entries"_s)}, {}});
    const Platform::Workspace full({{}, {folder.path(u"entries"_s)}, {folder.path(u"programs"_s)}});
    for (const QString& name : {u"first"_s, u"second.app"_s, u"Tool"_s, QString::fromUtf8(parts.last())}) {
        const QString icon = full.iconOf(name);
        require(icon.isNull() || !name.contains(u'/'), "an icon for what is no file name");
        full.isInstalled(name);
        const bool namesPath = parts[0].contains('/') || parts.value(1).contains('/');
        require(!empty.isInstalled(name) || namesPath, "installed without a program");
    }
}
