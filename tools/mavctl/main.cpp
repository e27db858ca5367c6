#include "Verb.h"

#include <QCoreApplication>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

void printUsage(std::FILE* stream) {
    std::fputs("usage: mavctl VERB ...\n\n", stream);
    for (const Verb& verb : verbs()) {
        for (const QString& line : QString::fromUtf8(verb.usage).split(u'\n', Qt::SkipEmptyParts))
            std::fprintf(stream, "  mavctl %s\n", qPrintable(line));
    }
    std::fputs("\nExit status: 0 done, 1 failed (the reason is on standard error), 2 not understood, 3 would change.\n",
        stream);
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments().mid(1);
    if (arguments == QStringList{u"--help"_s} || arguments == QStringList{u"help"_s}) {
        printUsage(stdout);
        return static_cast<int>(Exit::Ok);
    }
    Exit status = Exit::Usage;
    for (const Verb& verb : verbs()) {
        if (!arguments.isEmpty() && arguments[0] == QLatin1StringView(verb.name))
            status = verb.run(arguments.mid(1));
    }
    if (status == Exit::Usage)
        printUsage(stderr);
    return static_cast<int>(status);
}
