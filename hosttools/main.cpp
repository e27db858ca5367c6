#include "Tool.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

constexpr Tool Tools[] = {
    {"defaults", "defaults read FILE [KEY]", runDefaults},
    {"dsconfigad", "dsconfigad -show", runDsconfigad},
    {"dscl", "dscl . -read /Users/NAME OriginalNodeName | dscl localhost -list .", runDscl},
    {"fdesetup", "fdesetup status", runFdesetup},
    {"networksetup", "networksetup -listallhardwareports | -listnetworkserviceorder | -getinfo SERVICE",
        runNetworksetup},
    {"open", "open FILE | open -a PROGRAM [ARGUMENT...]", runOpen},
    {"reason", "reason disk | firewall | domain", runReason},
    {"scutil", "scutil --get ComputerName", runScutil},
};
constexpr const char* OwnName = "mav-hosttools";

const Tool* toolNamed(const QString& name) {
    for (const Tool& tool : Tools) {
        if (name == QLatin1StringView(tool.name))
            return &tool;
    }
    return nullptr;
}

int printUsage() {
    std::fprintf(stderr, "usage: %s [--root FOLDER] COMMAND ...\n\n", OwnName);
    for (const Tool& tool : Tools)
        std::fprintf(stderr, "  %s\n", tool.usage);
    std::fputs("\nEach command but reason has a link of its name to this program. The facts of another system are read "
               "from the\n"
               "folder after --root or in MAV_FACTS_ROOT.\n",
        stderr);
    return Status::Usage;
}

/// What is printed goes to a program, which must not take half of it for the whole.
bool print(std::FILE* stream, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    return std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream) ==
        static_cast<size_t>(bytes.size()) &&
        std::fflush(stream) == 0;
}

int run(int argc, char** argv) {
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromUtf8(argv[i]));
    QString root = qEnvironmentVariable("MAV_FACTS_ROOT");
    QString name = arguments.isEmpty() ? QString() : arguments.takeFirst().section(u'/', -1);
    if (name == QLatin1StringView(OwnName)) {
        if (arguments.size() > 1 && arguments[0] == u"--root") {
            root = arguments[1];
            arguments = arguments.mid(2);
        }
        name = arguments.isEmpty() ? QString() : arguments.takeFirst();
    }
    const Tool* tool = toolNamed(name);
    if (!tool)
        return printUsage();
    const Outcome outcome = tool->run(Facts(root), arguments);
    const bool isPrinted = print(stdout, outcome.output);
    if (!outcome.error.isEmpty())
        print(stderr, name + u": "_s + outcome.error + u'\n');
    return isPrinted ? outcome.status : Status::Failed;
}

} // namespace

int main(int argc, char** argv) {
    // What a library has to say is no answer of ours.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const QCoreApplication application(argc, argv);
    const int status = run(argc, argv);
    // Not by way of exit: a thread may still wait for a bus that does not answer.
    std::_Exit(status);
}
