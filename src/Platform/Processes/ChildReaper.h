#pragma once

#include "UniqueFd.h"

#include <sys/types.h>

/// Collects the exit statuses of children that outlive the object that started them, so that none stays as a zombie.
namespace Platform::ChildReaper {

/// Takes over the running child @p pid and its @p exitDescriptor (a pidfd, or none). The child is not disturbed. Any
/// thread. A thread is borrowed only while there is such a child.
void adopt(pid_t pid, UniqueFd exitDescriptor);

} // namespace Platform::ChildReaper
