"""What the kernel tells of a process from outside."""

import os


def thread_switches(pid):
    """Times that each thread of the process was put on a processor so far."""
    switches = {}
    for thread in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{thread}/status", encoding="ascii") as status:
                switches[thread] = sum(int(line.split()[1]) for line in status if "ctxt_switches" in line)
        except (FileNotFoundError, ProcessLookupError):
            pass
    return switches


def _rolled_up(pid, name):
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as rollup:
        return next(int(line.split()[1]) for line in rollup if line.startswith(name + ":"))


def proportional_memory(pid):
    """Kilobytes, each shared page divided by those who share it."""
    return _rolled_up(pid, "Pss")


def anonymous_memory(pid):
    """Kilobytes that belong to no file: what a leak makes grow, whoever else shares the rest."""
    return _rolled_up(pid, "Anonymous")


def unshared_memory(pid):
    """Kilobytes of the proportional memory without the pages of files: who else uses a library changes nothing here."""
    return sum(_rolled_up(pid, name) for name in ("Pss_Anon", "Pss_Shmem", "SwapPss"))


def descriptors(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


def open_files(pid):
    """Descriptors but for sockets, which come and go with the connections that are kept for a while."""
    count = 0
    for name in os.listdir(f"/proc/{pid}/fd"):
        try:
            count += not os.readlink(f"/proc/{pid}/fd/{name}").startswith("socket:")
        except FileNotFoundError:
            pass
    return count


def children(pid):
    """Child processes, those that nobody has asked about their end included."""
    count = 0
    for entry in os.listdir("/proc"):
        try:
            with open(f"/proc/{int(entry)}/stat", "rb") as stat:
                # Behind the name, which may hold anything.
                count += int(stat.read().rpartition(b")")[2].split()[1]) == pid
        except (ValueError, FileNotFoundError, ProcessLookupError):
            pass
    return count
