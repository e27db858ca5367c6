#pragma once

#include "Error.h"

/// An error of the network with the text that a person reads, "Fail:code=" and the code where there is none. One that
/// has a text, and no error, stay as they are.
Platform::Error describedError(const Platform::Error& error);

/// @p complete, a function of answer and error, hears errors that are described.
template <typename Completion>
auto describing(Completion complete) {
    return [complete = std::move(complete)](
               const auto& answer, const Platform::Error& error) mutable { complete(answer, describedError(error)); };
}
