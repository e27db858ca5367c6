#include "CheckLook.h"

namespace CheckLook {

int levelFor(qint64 warnCount) {
    if (warnCount <= 0)
        return 0;
    if (warnCount <= 2)
        return 1;
    return warnCount <= 4 ? 2 : 3;
}

QString stateText(int level) {
    switch (level) {
    case 0:
        return QStringLiteral("电脑安全");
    case 1:
        return QStringLiteral("轻度危险");
    case 2:
        return QStringLiteral("中度危险");
    default:
        return QStringLiteral("重度危险");
    }
}

Pictures picturesFor(int level) {
    if (level == 0)
        return {QStringLiteral("main_bg_safe"),     QStringLiteral("2倍安全状态栏gif.gif"),
                QStringLiteral("tinyGif_safe.gif"), QStringLiteral("pointView_safe.gif"),
                QStringLiteral("reCheck_safe"),     QStringLiteral("reCheck_safe_hover"),
                QStringLiteral("Testing1"),         QStringLiteral("statecycle100_safe")};
    return {QStringLiteral("main_bg_unsafe"),
            QStringLiteral("2倍危险状态栏gif.gif"),
            QStringLiteral("tinyGif_unsafe.gif"),
            QStringLiteral("pointView_unsafe.gif"),
            QStringLiteral("reCheck"),
            QStringLiteral("reCheck_hover"),
            QStringLiteral("Testing2"),
            QStringLiteral("statecycle100_unsafe")};
}

QString repairTitle(qint64 warnCount) {
    return QStringLiteral("%1个问题待修复").arg(warnCount);
}

Closing closing(qint64 needCheckCount, qint64 warnCount, int currentLevel) {
    Closing closing;
    if (warnCount != 0) {
        closing.countText = QStringLiteral("%1项实时合规检测").arg(needCheckCount);
        closing.smallStateText = QStringLiteral("发现%1个问题").arg(warnCount);
    } else {
        closing.countText = QStringLiteral("合规检测项全部正常");
        closing.hidesDetailButton = true;
        closing.leavesDetailTab = true;
    }
    const bool isSafe = warnCount < 1;
    closing.picture = isSafe ? QStringLiteral("completeImg_safe") : QStringLiteral("completeImg_unsafe");
    closing.smallPicture = isSafe ? QStringLiteral("gifCompleteTiny_safe") : QStringLiteral("gifCompleteTiny_unsafe");
    closing.stateText = stateText(currentLevel);
    return closing;
}

CategoryRow categoryRow(bool isWarn, qint64 repairNum) {
    if (!isWarn)
        return {QStringLiteral("sectionIcon_safe"), {}};
    return {QStringLiteral("sectionIcon_unsafe"),
            repairNum > 0 ? QStringLiteral("%1项待修复").arg(repairNum) : QString()};
}

CheckRow checkRow(bool isWarn, const QString& keyword) {
    if (!isWarn)
        return {QStringLiteral("正常"), false};
    return {QStringLiteral("异常"), !keyword.isEmpty()};
}

} // namespace CheckLook
