#include "Verb.h"

#include <cstdio>

std::span<const Verb> verbs() {
    static constexpr Verb all[] = {
        {"archive",
         "archive show FILE    print a state file or property list as JSON\n"
         "archive write FILE   make a state file of the JSON on standard input\n",
         runArchive},
        {"device",
         "device [--json] [--root DIR]    print what is known of this computer, or of the system in a folder\n",
         runDevice},
    };
    return all;
}

Exit fail(const QString& reason) {
    QString line = reason;
    line.replace(u'\n', u' ');
    std::fprintf(stderr, "mavctl: %s\n", qPrintable(line));
    return Exit::Failure;
}
