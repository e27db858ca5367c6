#include "IconFile.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

QString iconFile(const QString& icon, const QStringList& dataFolders) {
    if (QDir::isAbsolutePath(icon))
        return icon;
    if (icon.isEmpty() || icon.contains(u'/'))
        return {};
    // The sizes that are drawn sharp come first.
    constexpr QLatin1StringView Places[] = {"icons/hicolor/128x128/apps/%1.png"_L1,
        "icons/hicolor/96x96/apps/%1.png"_L1, "icons/hicolor/256x256/apps/%1.png"_L1,
        "icons/hicolor/512x512/apps/%1.png"_L1, "icons/hicolor/scalable/apps/%1.svg"_L1,
        "icons/hicolor/64x64/apps/%1.png"_L1, "icons/hicolor/48x48/apps/%1.png"_L1, "pixmaps/%1.png"_L1,
        "pixmaps/%1.svg"_L1, "pixmaps/%1"_L1};
    for (const QString& folder : dataFolders) {
        for (const QLatin1StringView place : Places) {
            const QString path = folder + u'/' + QString(place).arg(icon);
            if (QFileInfo(path).isFile())
                return path;
        }
    }
    return {};
}
