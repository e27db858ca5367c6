#include "FileFollower.h"
#include "StateWriter.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <sys/signalfd.h>

using namespace Qt::StringLiterals;
using namespace ReferenceAgent;

namespace {

/// SIGTERM and SIGINT as a descriptor. Called before any thread exists, so that all inherit the mask.
int signalDescriptor() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

int main(int argc, char** argv) {
    const int signalsFd = signalDescriptor();
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Stands for the privileged agent: makes its state files from one JSON file."_s);
    const QCommandLineOption root(u"root"_s, u"Stands before the agent's fixed folder. Default: $MAV_ROOT."_s, u"dir"_s,
                                  qEnvironmentVariable("MAV_ROOT"));
    const QCommandLineOption home(u"home"_s, u"Home of the user that is served. Default: $HOME."_s, u"dir"_s,
                                  QDir::homePath());
    const QCommandLineOption file(u"file"_s, u"The JSON file. Default: agent.json here."_s, u"file"_s, u"agent.json"_s);
    const QCommandLineOption mavctl(u"mavctl"_s, u"The support tool. Default: beside this program."_s, u"file"_s,
                                    QCoreApplication::applicationDirPath() + u"/mavctl"_s);
    parser.addOptions({root, home, file, mavctl});
    parser.addHelpOption();
    parser.process(application);

    QSocketNotifier onSignal(signalsFd, QSocketNotifier::Read);
    QObject::connect(&onSignal, &QSocketNotifier::activated, &application, &QCoreApplication::quit);

    StateWriter writer({parser.value(root), parser.value(home), QFileInfo(parser.value(file)).absoluteFilePath()},
                       ArchiveTool(parser.value(mavctl)));
    FileFollower ownFile(QFileInfo(parser.value(file)).absoluteFilePath());
    FileFollower typedServer(writer.typedServerFile());
    QObject::connect(&ownFile, &FileFollower::changed, &application, [&writer] { writer.applyFile(); });
    QObject::connect(&typedServer, &FileFollower::changed, &application, [&writer] { writer.applyTypedServer(); });
    writer.applyAll();
    std::printf("ready\n");
    std::fflush(stdout);
    return QCoreApplication::exec();
}
