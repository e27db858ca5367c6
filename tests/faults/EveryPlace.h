#pragma once

#include "SystemFaults.h"

#include <QDir>
#include <QRandomGenerator>
#include <QTest>

#include <cerrno>
#include <cstring>
#include <functional>

using namespace Qt::StringLiterals;

/// Something that the client does. What it keeps goes with it.
struct Flow {
    std::function<void()> prepare;
    std::function<void()> run;
    /// What stands wrong afterwards; nothing may fail in the check.
    std::function<QString()> wrong;
};

inline int openDescriptors() {
    return static_cast<int>(QDir(u"/proc/self/fd"_s).entryList(QDir::AllEntries | QDir::System).size());
}

/// A row of a table with the columns "flow", "error" and "isLasting".
inline void addFault(const char* flow, int error, bool isLasting) {
    QTest::addRow("%s, %s%s", flow, error > 0 ? strerrorname_np(error) : "short", isLasting ? "..." : "")
        << QString::fromLatin1(flow) << error << isLasting;
}

/// Runs a flow with its first call failing, then with its second, until one comes to its end; beyond the first @p all
/// calls only for some, fewer and fewer, chosen by MAV_FAULT_SEED or by chance.
/// @param make  a flow that has met nothing yet
inline void everyPlace(const std::function<Flow()>& make, int error, bool isLasting, int all = 2000) {
    const quint32 seed = qEnvironmentVariableIsSet("MAV_FAULT_SEED") ? qEnvironmentVariable("MAV_FAULT_SEED").toUInt()
                                                                     : QRandomGenerator::system()->generate();
    QRandomGenerator random(seed);
    constexpr int MostCalls = 4000;
    int call = 1;
    int runs = 0;
    for (;; call += call < all ? 1 : 1 + random.bounded(call), ++runs) {
        QVERIFY(call < MostCalls);
        const QString place = u"call %1, MAV_FAULT_SEED=%2: "_s.arg(call).arg(seed);
        const int descriptors = openDescriptors();
        bool hasFailed = false;
        {
            const Flow made = make();
            made.prepare();
            SystemFaults::arm(call, error, isLasting);
            made.run();
            hasFailed = SystemFaults::disarm();
            const QString wrong = made.wrong();
            QVERIFY2(wrong.isEmpty(), qPrintable(place + wrong));
        }
        QTRY_VERIFY2(openDescriptors() <= descriptors, qPrintable(place + u"a descriptor is left"_s));
        if (!hasFailed)
            break;
    }
    qInfo("%d runs, %d calls or fewer, seed %u", runs, call - 1, seed);
    // Nothing failed in the last round: the flow was met.
    QVERIFY(call > 1);
}
