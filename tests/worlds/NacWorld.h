#pragma once

#include "ClientWorld.h"

#include "LoopbackServer.h"
#include "iNacNetwork.h"

/// The network access client without windows, on a folder of its own.
class NacWorld {
public:
    QString state() const { return folder.support() + u"/QenCloudL"_s; }
    /// Everything that the log holds so far.
    QString logText() { return folder.logText(log); }

    ClientFolder folder;
    QByteArray clientFile;
    QenLogHelper log{folder.logs(), folder.file(u"logs.data"_s)};
    QenServerConfig config{folder.agent() + u"/.QenConfig"_s, state()};
    std::unique_ptr<iNacNetwork> network = std::make_unique<iNacNetwork>(config, log, [this] { return clientFile; });
};
