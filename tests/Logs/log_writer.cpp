// Writes log lines without end until it is killed: log_writer RINGDIRECTORY SIZERECORD LIMIT

#include "QenLogHelper.h"

#include <cstdio>

using namespace Qt::StringLiterals;

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    LogWorld world = LogWorld::system();
    world.ringDirectory = QString::fromLocal8Bit(argv[1]);
    world.sizeRecord = QString::fromLocal8Bit(argv[2]);
    world.limit = QByteArray(argv[3]).toLongLong();
    world.echo = {};
    QenLogHelper log(world);
    for (int i = 0;; ++i) {
        for (int line = 0; line < 50; ++line)
            log.writeLog(u"number %1"_s.arg(i * 50 + line));
        log.drain();
        if (i == 0) {
            std::puts("ready");
            std::fflush(stdout);
        }
    }
}
