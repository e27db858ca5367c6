#pragma once

#include <QString>

using namespace Qt::StringLiterals;

/// What the compliance page shows, as values. Pure functions.
namespace CheckLook {

/// Both state labels while a round runs.
inline const QString Checking = u"正在检测"_s;

/// 0 to 3.
int levelFor(qint64 warnCount);
/// "电脑安全" to "重度危险".
QString stateText(int level);

/// Names of the pictures and animations of a level.
struct Pictures {
    QString background;
    QString statusAnimation;
    QString smallAnimation;
    QString pointAnimation;
    QString recheckButton;
    QString recheckButtonHover;
    QString status;
    QString stateCircle;
};
Pictures picturesFor(int level);
QString repairTitle(qint64 warnCount);

/// How a round ends.
struct Closing {
    QString countText;
    /// Null leaves the small state label as it is.
    QString smallStateText;
    QString stateText;
    /// When the detail tab is selected, the left bar goes to its second button, too.
    bool hidesDetailButton = false;
    QString picture;
    QString smallPicture;
};
/// @param currentLevel  the level that applies after the round
Closing closing(qint64 needCheckCount, qint64 warnCount, int currentLevel);

struct CategoryRow {
    QString icon;
    /// Null for none.
    QString repairText;
};
CategoryRow categoryRow(bool isWarn, qint64 repairNum);

struct CheckRow {
    QString stateText;
    /// Shown in the place of the state text.
    bool hasRepairButton = false;
};
CheckRow checkRow(bool isWarn, const QString& keyword);

} // namespace CheckLook
