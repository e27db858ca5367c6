#include "CurlCalls.h"

#include <QLibrary>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

QLibrary& library() {
    static QLibrary library(u"curl"_s, 4);
    return library;
}

} // namespace

bool isCurlThere() {
    static const bool isThere = library().load() && curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return isThere;
}

QFunctionPointer curlAddress(const char* name) {
    return library().resolve(name);
}

} // namespace Platform
