#include "Report.h"

#include <cstdio>

namespace ReferenceAgent {

void tell(const char* what, const QString& name) {
    std::printf("%s %s\n", what, qUtf8Printable(name));
    std::fflush(stdout);
}

void complain(const QString& about, const QString& why) {
    std::fprintf(stderr, "mav-reference-agent: %s: %s\n", qUtf8Printable(about), qUtf8Printable(why.simplified()));
}

} // namespace ReferenceAgent
