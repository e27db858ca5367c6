#pragma once

#include "QenCheckModel.h"

#include <vector>

/// One category of the check tree. Its checks are fixed once it is made; the result of the round may be read and
/// written on any thread.
class QenRootModel final {
public:
    QenRootModel(QString name, std::vector<QenCheckModelPointer> leafArr)
        : m_name(std::move(name)), m_leafArr(std::move(leafArr)) {}
    QenRootModel(const QenRootModel&) = delete;
    QenRootModel& operator=(const QenRootModel&) = delete;

    const QString& name() const { return m_name; }
    const std::vector<QenCheckModelPointer>& leafArr() const { return m_leafArr; }
    /// Part of the record that no check sets. Not for several threads.
    const QString& detailStr() const { return m_detailStr; }
    void setDetailStr(const QString& text) { m_detailStr = text; }

    /// At least one of its checks failed in this round.
    bool isWarn() const { return m_isWarn; }
    void setIsWarn(bool isWarn) { m_isWarn = isWarn; }
    bool isEnd() const { return m_isEnd; }
    void setIsEnd(bool isEnd) { m_isEnd = isEnd; }
    /// Checks that failed in this round.
    qint64 repairNum() const { return m_repairNum; }
    void setRepairNum(qint64 count) { m_repairNum = count; }

private:
    const QString m_name;
    const std::vector<QenCheckModelPointer> m_leafArr;
    QString m_detailStr;
    std::atomic<bool> m_isWarn{false};
    std::atomic<bool> m_isEnd{false};
    std::atomic<qint64> m_repairNum{0};
};

using QenRootModelPointer = std::shared_ptr<QenRootModel>;
