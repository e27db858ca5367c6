#pragma once

#include "Error.h"

using namespace Qt::StringLiterals;

/// The same domain and code with a description that is never empty, "Fail:code=" and the code where there was none; no
/// error stays none.
inline Platform::Error normalisedError(const Platform::Error& error) {
    if (!error || !error.localizedDescription().isEmpty())
        return error;
    return Platform::Error(error.domain(), error.code(), u"Fail:code=%1"_s.arg(error.code()));
}
