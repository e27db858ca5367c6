#!/usr/bin/python3
"""The signed-in client left alone beside its server and agent: does anything grow, and what does a poll cost?

Signs in through the real window on a virtual display, waits until the watchdog ticks, then takes a sample every few seconds. The
server's policy has 300 rules and never changes. One JSON line a case. Ends with status 1 when descriptors, threads or memory grew
or a poll costs more than its goal.
usage: bench/idle/measure.py [--programs build/release/bin] [--minutes 60]
"""

import argparse
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
from collections import Counter
from statistics import mean, median_low

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
POLL = 3  # seconds: the ticket poll asks the server whether the session still holds, and fetches the policy
POLLS_TRACED = 12
RULES = 300
# What one poll may cost the whole process when its answer changes nothing. The middle poll is judged: every fifth meets a tick of
# the watchdog, which starts processes and is no part of it.
GOALS = {"switches": 10, "files_opened": 1, "log_bytes": 1500, "policy_writes": 0}


def policy_of_many_rules():
    return {"rules": [{"id": number, "name": f"rule {number}", "address": f"10.1.{number // 250}.{number % 250}", "port": 443}
                      for number in range(RULES)]}


class Poll:
    """What the client has spent so far, to be compared from one poll's length to the next."""

    def __init__(self, world, pid):
        self.pid = pid
        self.log_folder = world.path("home", "Library", "Logs", "QenCloud", "Logs")
        self.policy = world.user_state("NGNPolicy.archive")
        self.costs = {"switches": [], "log_bytes": [], "policy_writes": []}
        self.switches, self.before = 0, thread_switches(pid)
        self.last = self._state()

    def look(self):
        """Every second, since the threads of a tick end soon after it."""
        after = thread_switches(self.pid)
        self.switches += sum(count - self.before.get(thread, 0) for thread, count in after.items())
        self.before = after

    def _state(self):
        size = sum(os.path.getsize(os.path.join(self.log_folder, name)) for name in os.listdir(self.log_folder))
        facts = os.stat(self.policy)
        return size, (facts.st_ino, facts.st_mtime_ns)

    def ends(self):
        size, policy = self._state()
        self.costs["switches"].append(self.switches)
        self.costs["log_bytes"].append(size - self.last[0])
        self.costs["policy_writes"].append(int(policy != self.last[1]))
        self.switches, self.last = 0, (size, policy)


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


def watch(world, pid, seconds):
    samples, poll = Samples(pid), Poll(world, pid)
    start = time.monotonic()
    next_sample, next_poll = start, start + POLL
    while time.monotonic() - start < seconds:
        time.sleep(1)
        poll.look()
        now = time.monotonic()
        if now >= next_poll:
            poll.ends()
            next_poll += POLL
        if now >= next_sample:
            samples.take()
            next_sample += SAMPLE
    return samples, poll.costs


def opened_files(world, pid):
    """How many files each poll opens, and which. Watched by itself, since the watching costs switches."""
    trace = world.path("logs", "opened.strace")
    # The watcher ends by itself, so that it never stays behind.
    subprocess.run(["timeout", "--signal=INT", str(POLL * POLLS_TRACED), "strace", "-f", "-qq", "-ttt", "-e", "trace=open,openat",
                    "-e", "signal=none", "-o", trace, "-p", str(pid)], timeout=POLL * POLLS_TRACED + 20, check=False,
                   stdout=subprocess.DEVNULL)
    opened, names, start = Counter(), Counter(), None
    with open(trace, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            found = re.match(r"\d+ +([\d.]+) open(?:at)?\((?:[^,\"]*, )?\"([^\"]*)", line)
            if found:
                start = start or float(found[1])
                opened[int((float(found[1]) - start) / POLL + 0.5)] += 1  # the first one stands in the middle of its poll
                names[found[2]] += 1
    return [opened[number] for number in range(POLLS_TRACED)], names


def judge(costs):
    """Prints what a poll costs; returns the goals that were missed."""
    missed = []
    for name, values in costs.items():
        # A policy that is written once is written for nothing.
        cost = max(values) if GOALS[name] == 0 else median_low(values)
        print(json.dumps({"case": f"idle_poll_{name}", "per_poll": cost, "mean": round(mean(values), 1), "most": max(values),
                          "goal": GOALS[name], "polls": len(values)}), flush=True)
        if cost > GOALS[name]:
            missed.append(name)
    return missed


def measure(world, children, minutes):
    desktop = Desktop(children, world.environment, world.runtime)
    world.environment = desktop.environment
    os.environ.clear()
    os.environ.update(desktop.environment)
    from story import Story  # connects to the bus that the environment names
    story = Story(world, children, desktop)
    story.open()
    world.desk.action("set_policy", data=policy_of_many_rules(), office_data={})
    story.sign_in()
    story.windows.let_go()
    time.sleep(SETTLE)
    samples, costs = watch(world, story.client.pid, minutes * 60)
    costs["files_opened"], names = opened_files(world, story.client.pid)
    grown = []
    for name, values in samples.growth().items():
        print(json.dumps({"case": f"idle_{name}", **values}), flush=True)
        if values["last"] > values["first"] + values["allowed"]:
            grown.append(name)
    missed = judge(costs)
    if "files_opened" in missed:
        print(json.dumps({"case": "idle_files", "opened": dict(names.most_common(10))}, ensure_ascii=False), flush=True)
    if grown or missed:
        raise Failure("; ".join(f"{what}: {', '.join(names)}" for what, names in
                                (("grew", grown), ("a poll costs too much", missed)) if names))


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
