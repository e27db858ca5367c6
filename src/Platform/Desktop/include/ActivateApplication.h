#pragma once

#include <QString>

#include <chrono>

namespace Platform {

/// Brings the running application that owns @p identifier on the session bus forward. Never starts one.
///
/// Blocks for at most some @p limit, so not for the main thread.
/// @param busAddress  empty for the user's session bus
/// @returns false when none runs, it does not answer, or there is no bus
bool activateRunningApplication(const QString& identifier, const QString& busAddress = {},
    std::chrono::milliseconds limit = std::chrono::seconds(2));

} // namespace Platform
