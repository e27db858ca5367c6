#include "CheckLook.h"

using namespace Qt::StringLiterals;

namespace CheckLook {

int levelFor(qint64 warnCount) {
    if (warnCount <= 0)
        return 0;
    if (warnCount <= 2)
        return 1;
    return warnCount <= 4 ? 2 : 3;
}

QString stateText(int level) {
    const QString words[] = {u"电脑安全"_s, u"轻度危险"_s, u"中度危险"_s, u"重度危险"_s};
    return words[level >= 0 && level < 3 ? level : 3];
}

Pictures picturesFor(int level) {
    if (level == 0)
        return {u"main_bg_safe"_s, u"2倍安全状态栏gif.gif"_s, u"tinyGif_safe.gif"_s, u"pointView_safe.gif"_s,
            u"reCheck_safe"_s, u"reCheck_safe_hover"_s, u"Testing1"_s, u"statecycle100_safe"_s};
    return {u"main_bg_unsafe"_s, u"2倍危险状态栏gif.gif"_s, u"tinyGif_unsafe.gif"_s, u"pointView_unsafe.gif"_s,
        u"reCheck"_s, u"reCheck_hover"_s, u"Testing2"_s, u"statecycle100_unsafe"_s};
}

QString repairTitle(qint64 warnCount) {
    return u"%1个问题待修复"_s.arg(warnCount);
}

Closing closing(qint64 needCheckCount, qint64 warnCount, int currentLevel) {
    Closing closing;
    if (warnCount != 0) {
        closing.countText = u"%1项实时合规检测"_s.arg(needCheckCount);
        closing.smallStateText = u"发现%1个问题"_s.arg(warnCount);
    } else {
        closing.countText = u"合规检测项全部正常"_s;
        closing.hidesDetailButton = true;
    }
    const bool isSafe = warnCount < 1;
    closing.picture = isSafe ? u"completeImg_safe"_s : u"completeImg_unsafe"_s;
    closing.smallPicture = isSafe ? u"gifCompleteTiny_safe"_s : u"gifCompleteTiny_unsafe"_s;
    closing.stateText = stateText(currentLevel);
    return closing;
}

CategoryRow categoryRow(bool isWarn, qint64 repairNum) {
    if (!isWarn)
        return {u"sectionIcon_safe"_s, {}};
    return {u"sectionIcon_unsafe"_s, repairNum > 0 ? u"%1项待修复"_s.arg(repairNum) : QString()};
}

CheckRow checkRow(bool isWarn, const QString& keyword) {
    if (!isWarn)
        return {u"正常"_s, false};
    return {u"异常"_s, !keyword.isEmpty()};
}

} // namespace CheckLook
