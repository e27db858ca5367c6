#!/usr/bin/python3
"""The signed-in client left alone beside its server and agent: does anything grow, and how often does it wake?

Signs in through the real window on a virtual display, waits until the watchdog ticks, then takes a sample every few seconds. One
JSON line a case. Ends with status 1 when descriptors, threads or memory grew; wake-ups are reported, never judged.
usage: bench/idle/measure.py [--programs build/release/bin] [--minutes 60]
"""

import argparse
import json
import os
import shutil
import sys
import tempfile
import time
from statistics import median_low

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(HERE, "..", "..", "scripts", "demo"), os.path.join(HERE, "..")]
from process_facts import descriptors, anonymous_memory, thread_switches  # noqa: E402

from desktop import Desktop  # noqa: E402
from processes import Children, Failure  # noqa: E402
from world import World, end_on_signals  # noqa: E402

SETTLE = 75  # seconds: the watchdog's delay, some of its ticks, and what the sign-in made is given back
SAMPLE = 5  # seconds
# What comes and goes with a tick is not growth: the middle of the first samples is compared with that of the last.
GROUP = 8
ALLOWED_GROWTH = {"descriptors": 0, "threads": 0, "anonymous_kb": 512}
# The watchdog asks which network is in use and for the ticket service, and runs one process check; the ticket poll asks the
# server whether the session still holds.
STATED_TICKS_PER_S = 1 / 15 + 1 / 3


class Samples:
    def __init__(self, pid):
        self.pid = pid
        self.values = {name: [] for name in ALLOWED_GROWTH}

    def take(self):
        self.values["descriptors"].append(descriptors(self.pid))
        self.values["threads"].append(len(os.listdir(f"/proc/{self.pid}/task")))
        self.values["anonymous_kb"].append(anonymous_memory(self.pid))

    def growth(self):
        result = {}
        for name, values in self.values.items():
            first, last = median_low(values[:GROUP]), median_low(values[-GROUP:])
            result[name] = {"first": first, "last": last, "most": max(values), "allowed": ALLOWED_GROWTH[name]}
        return result


def watch(pid, seconds):
    samples = Samples(pid)
    before, wakeups, start = thread_switches(pid), 0, time.monotonic()
    next_sample = start
    while time.monotonic() - start < seconds:
        time.sleep(1)
        # Every second, since the threads of a tick end soon after it.
        after = thread_switches(pid)
        wakeups += sum(count - before.get(thread, 0) for thread, count in after.items())
        before = after
        if time.monotonic() >= next_sample:
            samples.take()
            next_sample += SAMPLE
    return samples, wakeups / (time.monotonic() - start)


def measure(world, children, minutes):
    desktop = Desktop(children, world.environment, world.runtime)
    world.environment = desktop.environment
    os.environ.clear()
    os.environ.update(desktop.environment)
    from story import Story  # connects to the bus that the environment names
    story = Story(world, children, desktop)
    story.open()
    story.sign_in()
    story.windows.let_go()
    time.sleep(SETTLE)
    samples, wakeups = watch(story.client.pid, minutes * 60)
    grown = []
    for name, values in samples.growth().items():
        print(json.dumps({"case": f"idle_{name}", **values}), flush=True)
        if values["last"] > values["first"] + values["allowed"]:
            grown.append(name)
    print(json.dumps({"case": "idle_wakeups", "per_s": round(wakeups, 2), "stated_ticks_per_s": round(STATED_TICKS_PER_S, 3),
                      "per_tick": round(wakeups / STATED_TICKS_PER_S, 1), "minutes": minutes}), flush=True)
    if grown:
        raise Failure("grew: " + ", ".join(grown))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", default="build/release/bin")
    parser.add_argument("--minutes", type=float, default=60)
    options = parser.parse_args()
    end_on_signals()
    folder = tempfile.mkdtemp(prefix="mav-idle-")
    children = world = None
    try:
        world = World(os.path.join(folder, "demo"), os.path.abspath(options.programs), afresh=True)
        children = Children(world.path("logs"))
        measure(world, children, options.minutes)
        return 0
    except Failure as failure:
        print(f"FAILED: {failure}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 1
    finally:
        if children:
            children.stop_all()
        if world:
            world.remove_runtime()
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
