#pragma once

#include "Error.h"

/// The same domain and code with a description that is never empty, "Fail:code=" and the code where there was none; no
/// error stays none.
inline Platform::Error normalisedError(const Platform::Error& error) {
    if (!error || !error.localizedDescription().isEmpty())
        return error;
    return Platform::Error(error.domain(), error.code(), QStringLiteral("Fail:code=%1").arg(error.code()));
}
