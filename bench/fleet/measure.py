#!/usr/bin/python3
"""What signed-in clients cost their server: requests, bytes and processor time, idle and after an outage.

Starts the reference server and a process with many clients, whose services and polls are the client's own at their real intervals.
One JSON line a figure on standard output, a table on standard error. Bytes are those that the clients hand to the kernel and get
from it, so with HTTP's headers and without TCP's. Ends with status 1 when a request outside the outage failed, or a client was not
confirmed again within a minute of the server's return.
usage: bench/fleet/measure.py [--programs build/dev/bin] [--clients 1000] [--launch 120] [--minutes 10] [--outage 60] [--rules 0]
"""

import argparse
import hashlib
import json
import os
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import time
import urllib.request

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(HERE, "..", "..", "scripts", "demo")]
from processes import Children, Failure  # noqa: E402
from world import end_on_signals  # noqa: E402

PASSWORD = "Fleet-1-pass"
SETTLE = 45  # seconds after the last launch: the watchdog's delay and one of its intervals
AFTER = 60  # seconds that are watched once the server is back
TICK = os.sysconf("SC_CLK_TCK")


def processor_time(pid):
    with open(f"/proc/{pid}/stat", encoding="utf-8") as stat:
        fields = stat.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / TICK


def processor_name():
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        found = re.search(r"^model name\s*: (.*)$", info.read(), re.MULTILINE)
    return found[1] if found else os.uname().machine


def placed(values, part):
    return round(sorted(values)[int(part * (len(values) - 1))], 2) if values else None


class Server:
    """Keeps port and folder over an outage."""

    def __init__(self, children, programs, folder):
        self.children, self.program, self.folder = children, programs + "/mav-reference-server", folder
        self.port, self.child = 0, None

    def start(self, accounts=()):
        arguments = [self.program, "--folder", self.folder, "--port", str(self.port)]
        for account in accounts:
            arguments += ["--account", f"{account}:{PASSWORD}"]
        self.child = self.children.start("server", arguments, dict(os.environ))
        self.port = int(self.child.wait_for_line(r"^ready http=(\d+)", 300)[1])

    def set_rules(self, count):
        rules = [{"id": number, "name": f"rule {number}", "address": f"10.1.{number // 250}.{number % 250}", "port": 443}
                 for number in range(count)]
        action = {"action": "set_policy", "data": {"rules": rules}, "office_data": {}}
        request = urllib.request.Request(f"http://127.0.0.1:{self.port}/operator/action", json.dumps(action).encode(),
                                         {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=20):
            pass


def make_computer(root, number):
    """The files that its facts are read from."""
    identifier = hashlib.md5(f"desktop {number}".encode()).hexdigest()
    for name, content in (("etc/hostname", f"desktop-{number:06}"), ("etc/machine-id", identifier),
                          ("etc/os-release", "NAME=\"Debian GNU/Linux\"\nVERSION_ID=12\n"),
                          ("sys/class/net/eth0/address", f"02:fc:00:{number >> 16:02x}:{number >> 8 & 255:02x}:{number & 255:02x}"),
                          ("sys/class/net/eth0/device/vendor", "")):
        path = os.path.join(root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(content)


class Fleet:
    """The process with the clients."""

    def __init__(self, programs, folder, port, clients, log):
        for number in range(clients):
            make_computer(os.path.join(folder, f"desktop{number}"), number)
        environment = dict(os.environ, QT_QPA_PLATFORM="offscreen", QT_LOGGING_RULES="*=false")
        self.process = subprocess.Popen([programs + "/bench_fleet", folder, str(port), str(clients)], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=log, text=True, env=environment)
        self.answer()

    def answer(self):
        line = self.process.stdout.readline()
        if not line:
            raise Failure("the clients have ended")
        answer = json.loads(line)
        if "error" in answer:
            raise Failure(answer["error"])
        return answer

    def tell(self, command):
        print(command, file=self.process.stdin, flush=True)

    def take(self):
        self.tell("take")
        return self.answer()

    def launch(self, count, seconds):
        start = time.monotonic()
        for number in range(count):
            time.sleep(max(0, start + seconds * number / count - time.monotonic()))
            self.tell("launch")
        refused = sum(not self.answer()["signed_in"] for _ in range(count))
        if refused:
            raise Failure(f"{refused} clients could not sign in")

    def end(self):
        self.process.stdin.close()
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait(5)


class Phase:
    def __init__(self, fleet, server):
        self.fleet, self.server = fleet, server
        fleet.take()
        self.start, self.used, self.own = time.monotonic(), self.server_time(), processor_time(fleet.process.pid)

    def server_time(self):
        return processor_time(self.server.child.pid)

    def report(self, name, unit, divisor):
        """Figures for each path and for all of them; returns how often each path was asked for, and what failed."""
        counts = self.fleet.take()
        seconds = time.monotonic() - self.start
        used, own = self.server_time() - self.used, processor_time(self.fleet.process.pid) - self.own
        asked = {path: counted for path, counted in sorted(counts["paths"].items()) if counted["requests"]}
        print(f"\n{name + ', ' + unit:42} requests  B out   B in     ms ms 99% failed", file=sys.stderr)
        total = failed = 0
        for path, counted in asked.items():
            requests = counted["requests"]
            bad = counted["failed"]
            figures = {"requests": round(requests / divisor, 3), "bytes_out": round(counted["bytes_out"] / requests),
                       "bytes_in": round(counted["bytes_in"] / requests), "ms": placed(counted["ms"], 0.5),
                       "ms_99": placed(counted["ms"], 0.99), "failed": bad}
            print(json.dumps({"case": name, "unit": unit, "path": path, **figures}), flush=True)
            print(f"{path:42} {figures['requests']:8} {figures['bytes_out']:6} {figures['bytes_in']:6} {figures['ms']:6} "
                  f"{figures['ms_99']:5} {bad:6}", file=sys.stderr)
            total, failed = total + requests, failed + bad
        by_second = {}
        for tenth, requests in counts["tenths"]:
            by_second[tenth // 10] = by_second.get(tenth // 10, 0) + requests
        print(json.dumps({
            "case": name, "seconds": round(seconds, 1), "requests_a_second": round(total / seconds, 1),
            "most_in_a_second": max(by_second.values(), default=0), "server_ms_a_request": round(used * 1000 / max(total, 1), 3),
            "clients_ms_a_request": round(own * 1000 / max(total, 1), 3), "connections": counts["open"],
            "connections_made": counts["connects"], "packets_out_a_request": round(counts["packets_out"] / max(total, 1), 2),
            "packets_in_a_request": round(counts["packets_in"] / max(total, 1), 2), "failed": failed}), flush=True)
        return {path: counted["requests"] for path, counted in asked.items()}, failed


def outage(fleet, server, clients, seconds):
    """Ends the server, starts it again and tells how the clients come back; returns how many do not."""
    server.child.stop()
    time.sleep(seconds)
    fleet.take()
    server.start()
    back = time.monotonic()
    time.sleep(AFTER)
    counts = fleet.take()
    confirmed = sorted(moment - back for moment in counts["confirmed"])
    within = {f"in_{limit}_s": sum(requests for tenth, requests in counts["tenths"] if tenth / 10 < back + limit)
              for limit in (1, 10, 60)}
    total = max(1, sum(requests for _, requests in counts["tenths"]))
    used = processor_time(server.child.pid)
    figures = {"outage_s": seconds, **within, "connections_made": counts["connects"], "connections": counts["open"],
               "confirmed": len(confirmed), "middle_confirmed_s": round(confirmed[len(confirmed) // 2], 2) if confirmed else None,
               "last_confirmed_s": round(confirmed[-1], 2) if confirmed else None,
               "server_ms_a_request": round(used * 1000 / total, 3)}
    print(json.dumps({"case": "outage", **figures}), flush=True)
    print("\noutage: " + ", ".join(f"{name} {value}" for name, value in figures.items()), file=sys.stderr)
    return clients - len(confirmed)


def measure(fleet, server, options):
    # From the launch to the first confirmation, before the poll asks again.
    one = Phase(fleet, server)
    fleet.launch(1, 0)
    time.sleep(2)
    failed = one.report("sign-in", "one client", 1)[1]
    if options.clients > 1:
        launch = Phase(fleet, server)
        fleet.launch(options.clients - 1, options.launch)
        failed += launch.report("launch", "a client", options.clients - 1)[1]
    time.sleep(SETTLE)
    idle = Phase(fleet, server)
    time.sleep(options.minutes * 60)
    failed += idle.report("idle", "a client and minute", options.clients * options.minutes)[1]
    lost = outage(fleet, server, options.clients, options.outage) if options.outage else 0
    if failed or lost:
        raise Failure(f"{failed} requests failed, {lost} clients not confirmed again")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", default="build/dev/bin")
    parser.add_argument("--clients", type=int, default=1000)
    parser.add_argument("--launch", type=float, default=120, help="seconds over which the clients are launched")
    parser.add_argument("--minutes", type=float, default=10)
    parser.add_argument("--outage", type=float, default=60, help="seconds; 0 for none")
    parser.add_argument("--rules", type=int, default=0, help="rules in the gateway policy; 0 for the server's own policy")
    options = parser.parse_args()
    end_on_signals()
    # A connection is an open file at both ends.
    most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    programs, folder = os.path.abspath(options.programs), tempfile.mkdtemp(prefix="mav-fleet-")
    children, fleet = Children(folder), None
    try:
        server = Server(children, programs, os.path.join(folder, "server"))
        server.start(f"person{100000 + number}" for number in range(options.clients))
        if options.rules:
            server.set_rules(options.rules)
        print(json.dumps({"case": "what", "date": time.strftime("%Y-%m-%d"), "processor": processor_name(),
                          "cores": os.cpu_count(), "clients": options.clients, "minutes": options.minutes,
                          "rules": options.rules}), flush=True)
        with open(os.path.join(folder, "clients.log"), "wb") as log:
            fleet = Fleet(programs, os.path.join(folder, "clients"), server.port, options.clients, log)
        measure(fleet, server, options)
        return 0
    except Failure as failure:
        print(f"FAILED: {failure}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 1
    finally:
        if fleet:
            fleet.end()
        children.stop_all()
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
