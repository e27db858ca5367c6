// Writes state files and log lines without end, until it is killed.

#include "AccountModel.h"
#include "ArchiveStore.h"
#include "QenLogHelper.h"

#include <QCoreApplication>
#include <QDir>

#include <cstdio>

using namespace Qt::StringLiterals;

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QString root = application.arguments().value(1);
    QDir().mkpath(root + u"/QenCloudL"_s);
    QenLogHelper log(root + u"/logs"_s, root + u"/logs.data"_s, 4096);
    std::puts("ready");
    std::fflush(stdout);
    for (int i = 0;; ++i) {
        AccountModel record;
        record.setUserid(u"user"_s);
        record.setUsername(QString(i % 700, u'名'));
        record.setTicket(QString::number(i));
        record.save(root);
        archiveRootObject(QString::number(i % 2), root + u"/QenCloudL/netType.archive"_s);
        for (int line = 0; line < 20; ++line)
            log.writeLog(u"line %1"_s.arg(line));
        log.drain();
    }
}
