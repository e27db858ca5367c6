#include "Verb.h"

#include <cstdio>

using namespace Qt::StringLiterals;

std::span<const Verb> verbs() {
    static constexpr Verb all[] = {
        {"archive",
            "archive show FILE    print a state file or property list as JSON\n"
            "archive write FILE   make a state file of the JSON on standard input\n",
            runArchive},
        {"check",
            "check [--json]    run the compliance checks that the policy asks for; exit status 1 when one is not met, "
            "4 without a policy\n",
            runCheck},
        {"device",
            "device [--json] [--root DIR]    print what is known of this computer, or of the system in a folder\n",
            runDevice},
        {"doctor",
            "doctor [--json]    look at what the client needs and say what to do about it; exit status 1 on a "
            "problem\n",
            runDoctor},
        {"report",
            "report [FILE.zip]    list what a report for support holds, without names and addresses; write it to "
            "FILE\n",
            runReport},
        {"server",
            "server show    print the server that the agent's configuration names\n"
            "server set [--check] ADDRESS[:PORT]    as administrator, make it this one; --check only tells whether it "
            "would "
            "change, by exit status 3\n",
            runServer},
        {"status", "status [--json]    print the session, its server and helpers, and the state files with their age\n",
            runStatus},
        {"watch", "watch [--json]    print each change of the agent's files as the client sees it, until interrupted\n",
            runWatch},
    };
    return all;
}

Exit print(const QByteArray& text) {
    const auto size = static_cast<size_t>(text.size());
    if (std::fwrite(text.constData(), 1, size, stdout) != size || std::fflush(stdout) != 0)
        return fail(u"standard output cannot be written"_s);
    return Exit::Ok;
}

Exit fail(const QString& reason, Exit status) {
    QString line = reason;
    line.replace(u'\n', u' ');
    std::fprintf(stderr, "mavctl: %s\n", qPrintable(line));
    return status;
}
