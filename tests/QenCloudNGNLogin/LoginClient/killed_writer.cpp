// Writes state files and log lines without end, until it is killed.

#include "AccountModel.h"
#include "ArchiveStore.h"
#include "QenLogHelper.h"

#include <QCoreApplication>
#include <QDir>

#include <cstdio>

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QString root = application.arguments().value(1);
    QDir().mkpath(root + QStringLiteral("/QenCloudL"));
    QenLogHelper log(root + QStringLiteral("/logs"), root + QStringLiteral("/logs.data"), 4096);
    std::puts("ready");
    std::fflush(stdout);
    for (int i = 0;; ++i) {
        AccountModel record;
        record.setUserid(QStringLiteral("user"));
        record.setUsername(QString(i % 700, u'名'));
        record.setTicket(QString::number(i));
        record.save(root);
        archiveRootObject(QString::number(i % 2), root + QStringLiteral("/QenCloudL/netType.archive"));
        for (int line = 0; line < 20; ++line)
            log.writeLog(QStringLiteral("line %1").arg(line));
        log.drain();
    }
}
