#!/usr/bin/env python3
"""Loads each rule set with the real tools in a network namespace of its own, notes what the tools print of it, and finds
out from a second namespace whether an unasked connection gets in. Writes rulesets.json. As root; needs nftables, iptables,
ufw, firewalld, iproute2 and dbus-daemon.
usage: capture.py [NAME...]    only the rule sets of these names; the others keep what the file holds
"""
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
FILE = os.path.join(HERE, "rulesets.json")
INSIDE, OUTSIDE, PORT = "mavcapin", "mavcapout", 4711
LISTENER = """
import socket, threading
def tcp(family, address):
    s = socket.socket(family, socket.SOCK_STREAM); s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    if family == socket.AF_INET6: s.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
    s.bind((address, 4711)); s.listen(8)
    while True: s.accept()[0].close()
def udp(family, address):
    s = socket.socket(family, socket.SOCK_DGRAM)
    if family == socket.AF_INET6: s.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
    s.bind((address, 4711))
    while True:
        data, peer = s.recvfrom(100); s.sendto(data, peer)
for family, address in ((socket.AF_INET, "0.0.0.0"), (socket.AF_INET6, "::")):
    for kind in (tcp, udp): threading.Thread(target=kind, args=(family, address)).start()
print("ready", flush=True)
"""
PROBE = """
import socket, sys
family = socket.AF_INET6 if ":" in sys.argv[1] else socket.AF_INET
for kind in (socket.SOCK_STREAM, socket.SOCK_DGRAM):
    s = socket.socket(family, kind); s.settimeout(0.6)
    try:
        s.connect((sys.argv[1], 4711))
        if kind == socket.SOCK_DGRAM:
            s.send(b"x"); s.recv(10)
        print("open"); break
    except OSError: pass
else: print("refused")
"""
BUS = """<busconfig><type>system</type><listen>unix:path=%s</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/><allow receive_sender="*"/>
<allow send_type="method_call"/></policy></busconfig>"""


def run(arguments, **more):
    return subprocess.run(arguments, capture_output=True, text=True, timeout=60, **more)


def inside(*arguments, **more):
    return run(["ip", "netns", "exec", INSIDE, *arguments], **more)


def make_namespaces():
    for name in (INSIDE, OUTSIDE):
        run(["ip", "netns", "del", name])
        run(["ip", "netns", "add", name], check=True)
    for command in (
            f"ip link add eth0 netns {INSIDE} type veth peer name out0 netns {OUTSIDE}",
            f"ip -n {INSIDE} link set lo up", f"ip -n {INSIDE} link set eth0 up", f"ip -n {OUTSIDE} link set out0 up",
            f"ip -n {INSIDE} addr add 10.77.0.1/24 dev eth0", f"ip -n {OUTSIDE} addr add 10.77.0.2/24 dev out0",
            f"ip -n {INSIDE} addr add fd77::1/64 dev eth0 nodad", f"ip -n {OUTSIDE} addr add fd77::2/64 dev out0 nodad"):
        run(command.split(), check=True)


class Firewalld:
    """The daemon over a configuration and a bus of its own."""

    def __init__(self, changes):
        self.folder = tempfile.mkdtemp()
        address = os.path.join(self.folder, "bus")
        with open(self.folder + "/bus.conf", "w", encoding="utf-8") as file:
            file.write(BUS % address)
        self.bus = subprocess.Popen(["dbus-daemon", "--nofork", "--config-file=" + self.folder + "/bus.conf"],
                                    stderr=subprocess.DEVNULL)
        config = self.folder + "/etc"
        shutil.copytree("/etc/firewalld", config)
        environment = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS="unix:path=" + address)
        for change in changes:
            run(["firewall-offline-cmd", "--system-config", config, *change], check=True)
        time.sleep(0.5)
        self.daemon = subprocess.Popen(
            ["ip", "netns", "exec", INSIDE, "firewalld", "--nofork", "--nopid", "--system-config", config],
            env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for _ in range(100):
            if "firewalld" in inside("nft", "list", "tables").stdout:
                break
            time.sleep(0.1)
        time.sleep(1.5)

    def end(self):
        # Killed: a daemon that ends well takes its rules along.
        for process in (self.daemon, self.bus):
            process.send_signal(signal.SIGKILL)
            process.wait()
        shutil.rmtree(self.folder)


def ufw(commands, settings):
    """ufw keeps its settings in /etc: a copy of it is put there for this namespace alone."""
    script = "set -e; mount -t tmpfs tmpfs /mnt; cp -a /etc/ufw /mnt/ufw; cp -a /etc/default /mnt/default\n"
    script += "mount --bind /mnt/ufw /etc/ufw; mount --bind /mnt/default /etc/default\n"
    for line in settings:
        script += f"sed -i '{line}' /etc/default/ufw\n"
    for line in commands:
        script += f"ufw {line} >/dev/null\n"
    script += "sed -i s/ENABLED=no/ENABLED=yes/ /etc/ufw/ufw.conf; /lib/ufw/ufw-init start\n"
    result = inside("unshare", "-m", "bash", "-c", script)
    if result.returncode:
        raise RuntimeError(result.stdout + result.stderr)


def load(ruleset):
    daemon = None
    for step in ruleset["load"]:
        if "nft" in step:
            result = inside("nft", "-f", "-", input=step["nft"])
        elif "sh" in step:
            result = inside("bash", "-ec", step["sh"])
        elif "ufw" in step:
            ufw(step["ufw"], step.get("settings", []))
            continue
        else:
            daemon = Firewalld(step["firewalld"])
            continue
        if result.returncode:
            raise RuntimeError(result.stderr)
    return daemon


def probe(address):
    return run(["ip", "netns", "exec", OUTSIDE, "python3", "-c", PROBE, address]).stdout.strip()


def without_changing(value):
    """Handles and counts differ each time and mean nothing."""
    if isinstance(value, dict):
        return {key: without_changing(entry) for key, entry in value.items() if key not in ("handle", "packets", "bytes")}
    return [without_changing(entry) for entry in value] if isinstance(value, list) else value


def reachable(listing):
    """Without the chains, and the rules in them, that nothing coming in ever passes."""
    entries = [next(iter(entry.items())) for entry in listing["nftables"]]
    key = lambda thing, name: (thing["family"], thing["table"], thing[name])
    kept = {key(thing, "name") for kind, thing in entries
            if kind == "chain" and thing.get("hook") in ("ingress", "prerouting", "input")}
    while True:
        targets = set()
        for kind, thing in entries:
            if kind == "rule" and key(thing, "chain") in kept:
                text = json.dumps(thing["expr"]).split('"target": "')[1:]
                targets |= {(thing["family"], thing["table"], part.split('"')[0]) for part in text}
        if targets <= kept:
            break
        kept |= targets
    return [{kind: thing} for kind, thing in entries
            if kind not in ("chain", "rule") or key(thing, "name" if kind == "chain" else "chain") in kept]


def capture(ruleset):
    make_namespaces()
    daemon = load(ruleset)
    listener = subprocess.Popen(["ip", "netns", "exec", INSIDE, "python3", "-c", LISTENER], stdout=subprocess.PIPE)
    listener.stdout.readline()
    found = {"name": ruleset["name"], "truth": {"ip": probe("10.77.0.1"), "ip6": probe("fd77::1")}}
    listener.kill()
    listener.wait()
    listing = json.loads(inside("nft", "--json", "list", "ruleset").stdout)
    found["nft"] = {"nftables": without_changing(reachable(listing))}
    if "answer" in ruleset:
        found["answer"] = ruleset["answer"]
    for family in ("ip", "ip6"):
        text = inside(family + "tables-nft-save").stdout
        if '"xt"' in json.dumps(found["nft"]) and f'"family": "{family}"' in json.dumps(found["nft"]):
            found[family + "tables-nft-save"] = [line for line in text.splitlines() if not line.startswith("#")]
        with open(f"/proc/{os.getpid()}/net/{family}_tables_names", encoding="utf-8"):
            names = inside("cat", f"/proc/net/{family}_tables_names").stdout
        if "filter" in names.split():
            found[family + "tables-legacy-save"] = inside(family + "tables-legacy-save", "-t", "filter").stdout.splitlines()
    if daemon:
        daemon.end()
    return found


def main(names):
    with open(os.path.join(HERE, "rulesets.in.json"), encoding="utf-8") as file:
        wanted = json.load(file)
    known = {}
    if os.path.exists(FILE):
        with open(FILE, encoding="utf-8") as file:
            known = {entry["name"]: entry for entry in json.load(file)}
    for ruleset in wanted:
        name = ruleset["name"]
        if name in known and names and name not in names:
            continue
        try:
            known[name] = capture(ruleset)
            print(name, known[name]["truth"])
        except (RuntimeError, subprocess.SubprocessError, OSError) as error:
            print(f"{name}: cannot be loaded here: {error}", file=sys.stderr)
    for name in (INSIDE, OUTSIDE):
        run(["ip", "netns", "del", name])
    with open(FILE, "w", encoding="utf-8") as file:
        lines = [json.dumps(known[entry["name"]], separators=(",", ":"), ensure_ascii=False)
                 for entry in wanted if entry["name"] in known]
        file.write("[\n" + ",\n".join(lines) + "\n]\n")


if __name__ == "__main__":
    main(sys.argv[1:])
