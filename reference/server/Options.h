#pragma once

#include "AccountStore.h"

#include <QHostAddress>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

namespace Reference {

struct Options {
    QString folder;
    QHostAddress address{QHostAddress::LocalHost};
    quint16 port = 0;
    quint16 httpsPort = 0;
    bool untilStdinCloses = false;
    QList<QPair<Account, QString>> accounts; ///< with their passwords
    bool help = false;
    QString text; ///< help, or what is wrong with the command line; empty when all is well
};

/// @param arguments  with the program's name first
Options parseOptions(const QStringList& arguments);

} // namespace Reference
