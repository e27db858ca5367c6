#pragma once

#include <cstddef>

/// Lets system calls of this process fail: those that make, read, write and name files, those of sockets, those that
/// start children, and those that make the channels of threads and children. Stands between the program and the C
/// library, so whatever library calls is met.
namespace SystemFaults {

/// A call that would move more moves ShortLength bytes.
constexpr int Short = -1;
constexpr size_t ShortLength = 8;

/// From now on the call with number @p first, counted from 1, ends with @p error (or is Short), and so do all that
/// follow when @p isLasting.
void arm(int first, int error, bool isLasting);
/// @returns whether anything has failed
bool hasStruck();
/// Nothing fails any more. @returns whether anything has
bool disarm();
/// Calls of this thread do not count: it is that of a peer.
void spareThisThread();

} // namespace SystemFaults
