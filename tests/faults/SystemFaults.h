#pragma once

/// Lets system calls of this process fail: those that make, read, write and name files, and those that start threads'
/// and children's channels. Stands between the program and the C library, so whatever library calls is met.
namespace SystemFaults {

/// A write or read moves only half of what it was asked to.
constexpr int Short = -1;

/// From now on the call with number @p first, counted from 1, ends with @p error (or is Short), and so do all that
/// follow when @p isLasting.
void arm(int first, int error, bool isLasting);
/// Nothing fails any more. @returns whether anything has
bool disarm();

} // namespace SystemFaults
