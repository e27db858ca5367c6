#!/usr/bin/python3
"""Start, memory and idle wake-ups of the signed-out client beside an empty Qt window, on a virtual display of its own.

Everything is measured from outside. One JSON line a case, then the ratios with their goals. Status 1 when memory
is over its goal; timings never fail the run.
usage: bench/startup/measure.py [--programs build/release/bin] [--rounds 15] [--idle 20]
BENCH_ONLY (a substring, or =NAME) picks cases: start, memory, idle.
"""

import argparse
import ctypes
import json
import os
import shutil
import statistics
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(HERE, "..", "..", "scripts", "demo"), os.path.join(HERE, "..")]
from desktop import Desktop  # noqa: E402
from process_facts import proportional_memory, thread_switches  # noqa: E402
from processes import Children, Failure, wait_for  # noqa: E402

GOALS = {"start": 1.6, "memory": 1.3}
SETTLE = 5  # seconds until a started program counts as idle
ALL_PLANES, Z_PIXMAP = ctypes.c_ulong(-1 & (2**64 - 1)), 2


class Screen:
    """Watches one point of the display for the first paint."""

    def __init__(self, display):
        self.x11 = ctypes.CDLL("libX11.so.6")
        for name, result in (("XOpenDisplay", ctypes.c_void_p), ("XDefaultRootWindow", ctypes.c_ulong),
                             ("XGetImage", ctypes.c_void_p), ("XGetPixel", ctypes.c_ulong)):
            getattr(self.x11, name).restype = result
        self.display = ctypes.c_void_p(self.x11.XOpenDisplay(display.encode()))
        if not self.display:
            raise Failure("no display")
        self.root = ctypes.c_ulong(self.x11.XDefaultRootWindow(self.display))

    def take_focus_away(self):
        self.x11.XSetInputFocus(self.display, ctypes.c_ulong(0), 0, ctypes.c_ulong(0))
        self.x11.XSync(self.display, 0)

    def point(self, x, y):
        image = ctypes.c_void_p(self.x11.XGetImage(self.display, self.root, x, y, 1, 1, ALL_PLANES, Z_PIXMAP))
        pixel = self.x11.XGetPixel(image, 0, 0)
        self.x11.XDestroyImage(image)
        return pixel


def first_paint(screen, children, name, arguments, environment, points):
    """Starts the program; returns it with the seconds until any of the points changed its colour."""
    before = [screen.point(*point) for point in points]
    start = time.perf_counter()
    program = children.start(name, arguments, environment)
    wait_for(f"{name} paints", lambda: [screen.point(*point) for point in points] != before, 30, 0.0002)
    return program, time.perf_counter() - start


def wakeups(pid, seconds):
    """Wake-ups of all threads in so many seconds; a thread that ends counts up to its last full second."""
    count = 0
    before = thread_switches(pid)
    for _ in range(seconds):
        time.sleep(1)
        after = thread_switches(pid)
        count += sum(switches - before.get(thread, 0) for thread, switches in after.items())
        before = after
    return count


def summary(values):
    median = statistics.median(values)
    return median, round((max(values) - min(values)) / median, 3) if median else 0


def is_wanted(case):
    only = os.environ.get("BENCH_ONLY", "")
    return case == only[1:] if only.startswith("=") else only in case


class Bench:
    def __init__(self, folder, programs, rounds, idle):
        self.folder = folder
        self.rounds = rounds
        self.idle = idle
        self.children = Children(folder)
        environment = {name: value for name, value in os.environ.items() if not name.startswith(("XDG_", "QT_"))}
        environment.update(HOME=os.path.join(folder, "home"), MAV_ROOT=os.path.join(folder, "root"), XDG_RUNTIME_DIR=folder,
                           LC_ALL="C.UTF-8")
        os.makedirs(environment["HOME"])
        # A window manager would paint its frame first, and give a field the focus and with it a blinking cursor.
        self.desktop = Desktop(self.children, environment, folder, has_window_manager=False)
        self.environment = self.desktop.environment
        self.screen = Screen(self.environment["DISPLAY"])
        self.programs = {"client": [os.path.join(programs, "Mav")], "empty_window": [os.path.join(programs, "bench_empty_window")]}
        # Spread over the place where a window of 960 x 640 opens; no program draws all of them black.
        self.points = [(x, y) for x in (340, 640, 940) for y in (300, 450, 600)]

    def run(self, name):
        return first_paint(self.screen, self.children, name, self.programs[name], self.environment, self.points)

    def end(self, program):
        program.stop()
        self.children.children.remove(program)
        # The display shows its bare ground again before the next round.
        wait_for("the window is gone", lambda: all(self.screen.point(*point) == 0 for point in self.points), 10)

    def start(self):
        times = {name: [] for name in self.programs}
        for name in self.programs:
            self.end(self.run(name)[0])  # warms the caches, not counted
        for _ in range(self.rounds):
            for name in self.programs:
                program, seconds = self.run(name)
                times[name].append(seconds * 1e6)
                self.end(program)
        return {name: dict(zip(("median_us", "spread"), map(round_off, summary(values)))) for name, values in times.items()}

    def settled(self, measure):
        result = {}
        for name in self.programs:
            program, _ = self.run(name)
            time.sleep(SETTLE)
            result[name] = measure(program.pid)
            self.end(program)
        return result

    def memory(self):
        return self.settled(lambda pid: {"pss_kb": proportional_memory(pid)})

    def idle_wakeups(self, pid):
        # A field with the focus blinks its cursor twice a second; what is looked for are the program's own timers.
        self.screen.take_focus_away()
        time.sleep(1)
        return {"wakeups_per_s": round(wakeups(pid, self.idle) / self.idle, 2), "seconds": self.idle}


def round_off(value):
    return round(value, 3) if value < 100 else round(value)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", default="build/release/bin")
    parser.add_argument("--rounds", type=int, default=15)
    parser.add_argument("--idle", type=int, default=20, help="seconds of the idle measurement")
    options = parser.parse_args()
    folder = tempfile.mkdtemp(prefix="mav-bench-")
    bench = None
    try:
        missed = []
        bench = Bench(folder, options.programs, options.rounds, options.idle)
        for case, measure in (("start", bench.start), ("memory", bench.memory),
                              ("idle", lambda: bench.settled(bench.idle_wakeups))):
            if not is_wanted(case):
                continue
            result = measure()
            for name, values in result.items():
                print(json.dumps({"case": f"{case}_{name}", **values}), flush=True)
            if case in GOALS:
                client, empty = (next(iter(result[name].values())) for name in ("client", "empty_window"))
                ratio = round(client / empty, 2)
                print(json.dumps({"case": f"{case}_ratio", "ratio": ratio, "goal": GOALS[case]}), flush=True)
                if ratio > GOALS[case] and case != "start":
                    missed.append(f"{case}: {ratio} of the empty window, the goal is {GOALS[case]}")
        print("\n".join(f"MISSED: {line}" for line in missed), file=sys.stderr, end="\n" if missed else "")
        return 1 if missed else 0
    except Failure as failure:
        print(f"FAILED: {failure}", file=sys.stderr)
        return 1
    finally:
        if bench:
            bench.children.stop_all()
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
