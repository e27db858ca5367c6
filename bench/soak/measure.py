#!/usr/bin/python3
"""A working month of the client: sign-ins and sign-outs with all that happens in between. Does anything stay behind?

Plays rounds through the real windows on a virtual display, in a network namespace of its own: a sign-out, a sign-in, and one or
two of what bench/soak/rounds.py lists: outages and bad answers of the server, a killed agent, a client that stood still for longer
than its timers, cables and addresses, changed files of the agent, long policies, which make the log turn over. The seed that is
printed plays the same again. Before and behind them the signed-in client is measured at rest. One JSON line a quantity; status 1
when descriptors, threads, child processes, memory or files are not as they were, or when a round failed. As root, for the namespace.
usage: bench/soak/measure.py [--programs build/dev/bin] [--rounds 200 | --quick] [--seed N]
"""

import argparse
import json
import os
import random
import sys
import time
from collections import Counter
from statistics import median_low

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(HERE, "..", "..", "scripts", "demo"), os.path.join(HERE, "..")]
import wire  # noqa: E402
from process_facts import children, descriptors, open_files, unshared_memory  # noqa: E402

from processes import Failure  # noqa: E402
from stage import tell  # noqa: E402

QUICK, MONTH = 6, 200  # rounds
LONGEST_ROUND, LONGEST_REST = 300, 1800  # seconds; to end a run that hangs, not to judge it
SETTLE = 75  # seconds: as bench/idle, some ticks of the watchdog
# A look is eight samples over more than one tick of the watchdog, and its middle counts. What is not back by then gets more time:
# what has leaked never comes back.
SAMPLES, PAUSE, LOOKS = 8, 3, 5
# Of the pages that belong to no file; what 6 rounds grow by is below 1,000 kB.
MEMORY_PER_HUNDRED = 2048  # kB; as much for a shorter run
LOG_LIMIT = 0x500000 + 0x100000  # bytes: a file of the ring, and the line that filled it
LINE = b"2026-01-01 08:00:00 : -[QenLogHelper writeLog:type:]_block_invoke:[148] : what a month has left behind \n"


def fill_log(world):
    """The log of a client that has run for a while: the first file is nearly full."""
    folder = world.path("home", "Library", "Logs", "QenCloud", "Logs")
    os.makedirs(folder)
    with open(os.path.join(folder, "QenCloud-Info-1.log"), "wb") as file:
        file.write(LINE * (0x500000 // len(LINE) - 1000))


def files_of(world):
    """Everything that stands in the folders of the user, the computer and the session, and for a moment."""
    return {os.path.relpath(os.path.join(folder, name), world.folder) for part in ("home", "root", "tmp", "run")
            for folder, _, names in os.walk(world.path(part)) for name in names}


class Soak:
    def __init__(self, rounds, seed, stage):
        from rounds import Rounds  # connects to the bus that the environment names
        self.world, self.count = stage[0], rounds
        os.makedirs(self.world.path("tmp"))
        self.world.environment["TMPDIR"] = self.world.path("tmp")
        self.rounds = Rounds(*stage, seed)
        self.bounds = {"descriptors": 0, "open_files": 0, "threads": 0, "children": 0,
                       "pss_kb": round(MEMORY_PER_HUNDRED * max(1, rounds / 100))}

    def look(self):
        pid, values = self.rounds.client.pid, {name: [] for name in self.bounds}
        for _ in range(SAMPLES):
            values["descriptors"].append(descriptors(pid))
            values["open_files"].append(open_files(pid))
            values["threads"].append(len(os.listdir(f"/proc/{pid}/task")))
            values["children"].append(children(pid))
            values["pss_kb"].append(unshared_memory(pid))
            time.sleep(PAUSE)
        return {name: median_low(each) for name, each in values.items()}

    def grown(self, first, last):
        return [name for name, allowed in self.bounds.items() if last[name] > first[name] + allowed]

    def play(self):
        played, began = Counter(), time.monotonic()
        for number in range(1, self.count + 1):
            played.update(action.__name__ for action in self.rounds.round())
            if number % 10 == 0 or number == self.count:
                pid = self.rounds.client.pid
                print(f"[{(time.monotonic() - began) / 60:5.1f} min] {number} rounds: {descriptors(pid)} descriptors, "
                      f"{len(os.listdir(f'/proc/{pid}/task'))} threads, {unshared_memory(pid)} kB", flush=True)
        print(json.dumps({"case": "soak_rounds", "rounds": self.count, "minutes": round((time.monotonic() - began) / 60, 1),
                          "rotations": self.rounds.rotations, "played": dict(played.most_common())}), flush=True)

    def tell(self):
        fill_log(self.world)
        self.rounds.open()
        self.rounds.sign_in()
        self.rounds.warm_up()
        self.rounds.come_to_rest()
        time.sleep(SETTLE)
        first, files = self.look(), files_of(self.world)
        self.play()
        self.rounds.come_to_rest()
        time.sleep(SETTLE)
        for _ in range(LOOKS):
            last = self.look()
            if not self.grown(first, last):
                break
        self.judge(first, last, sorted(files_of(self.world) - files))

    def judge(self, first, last, left):
        for name, allowed in self.bounds.items():
            print(json.dumps({"case": f"soak_{name}", "first": first[name], "last": last[name], "allowed": allowed}), flush=True)
        print(json.dumps({"case": "soak_files", "left": left}, ensure_ascii=False), flush=True)
        folder = self.rounds.log_folder
        largest = max(os.path.getsize(os.path.join(folder, name)) for name in os.listdir(folder))
        print(json.dumps({"case": "soak_log", "largest_file": largest, "allowed": LOG_LIMIT, "rotations": self.rounds.rotations}),
              flush=True)
        wrong = self.grown(first, last) + ["files"] * bool(left) + ["log"] * (largest > LOG_LIMIT or not self.rounds.rotations)
        if wrong:
            raise Failure("not as it was: " + ", ".join(wrong))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", default="build/dev/bin")
    length = parser.add_mutually_exclusive_group()
    length.add_argument("--rounds", type=int, default=MONTH)
    length.add_argument("--quick", action="store_const", const=QUICK, dest="rounds")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(2 ** 32))
    options = parser.parse_args()
    wire.enter()
    print(f"seed {options.seed}", flush=True)
    status = 1
    try:
        status = tell(options.programs, LONGEST_REST + options.rounds * LONGEST_ROUND,
                      lambda _story, *stage: Soak(options.rounds, options.seed, stage))
    except KeyboardInterrupt:
        pass
    finally:
        print(f"seed {options.seed}: {'good' if status == 0 else 'failed'}", flush=True)
    return status


if __name__ == "__main__":
    sys.exit(main())
