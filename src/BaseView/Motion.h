#pragma once

/// How much may move by itself.
namespace Motion {

/// Whether the person wants things to stand still. MAV_REDUCED_MOTION decides when it is 1 or 0; else the desktop's
/// setting, which is asked for in the background: until it answers, and without an answer, things move. Main thread.
bool isReduced();

} // namespace Motion
