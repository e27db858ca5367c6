"""Folder, environment and programs of one demo."""

import json
import os
import shlex
import shutil
import signal
import socket
import subprocess
import tempfile

from operator_desk import OperatorDesk
from processes import Failure

USER, PASSWORD, NEW_PASSWORD = "lin", "Demo-2468", "Demo-8642"
LONGEST_SOCKET_FOLDER = 80
PARTS = ("root", "home", "server", "agent", "shots", "logs")
MARK = ".mav-demo"


def free_port(wanted):
    """The wanted port when nobody listens there, else any free one."""
    for port in (wanted, 0):
        with socket.socket() as probe:
            probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            try:
                probe.bind(("127.0.0.1", port))
                return probe.getsockname()[1]
            except OSError:
                continue
    raise Failure("no free port")


def make_folder(folder, afresh):
    """Makes the demo's folder; afresh empties one that an earlier demo made, and no other."""
    mark = os.path.join(folder, MARK)
    if os.path.isdir(folder) and os.listdir(folder) and not os.path.exists(mark):
        raise Failure(f"{folder} is no folder of the demo")
    os.makedirs(folder, exist_ok=True)
    with open(mark, "a", encoding="utf-8"):
        pass
    for part in PARTS:
        path = os.path.join(folder, part)
        if afresh and os.path.isdir(path):
            shutil.rmtree(path)
        os.makedirs(path, mode=0o700, exist_ok=True)


class World:
    def __init__(self, folder, programs, afresh):
        self.folder = folder
        self.programs = programs
        make_folder(folder, afresh)
        self.runtime = os.path.join(folder, "run")
        if len(self.runtime) > LONGEST_SOCKET_FOLDER:
            self.runtime = tempfile.mkdtemp(prefix="mav-demo-")
        else:
            shutil.rmtree(self.runtime, ignore_errors=True)
            os.makedirs(self.runtime, mode=0o700)
        # Where a session bus of the demo's own finds the ticket service; the bus watches a folder that was there first.
        self.services = os.path.join(self.runtime, "dbus-1", "services")
        os.makedirs(self.services, mode=0o700)
        self.environment = self._environment()
        self.server = None
        self.agent = None
        self.port = 0
        self.https_port = 0
        self.desk = None

    def path(self, *parts):
        return os.path.join(self.folder, *parts)

    def program(self, name):
        path = os.path.join(self.programs, name)
        if not os.access(path, os.X_OK):
            raise Failure(f"{path} is not built")
        return path

    def user_state(self, name):
        return self.path("home", "Library", "Application Support", "QenCloudL", name)

    def agent_state(self, name):
        return self.path("root", "Library", "Application Support", "QenCloud", name)

    def use_stand_in_browser(self):
        """Links and folders that the client opens are noted in the file "opened" and go nowhere."""
        path = self.path("browser.sh")
        with open(path, "w", encoding="utf-8") as script:
            script.write("#!/bin/sh\nprintf '%s\\n' \"$1\" >>" + shlex.quote(self.path("opened")) + "\n")
        os.chmod(path, 0o700)
        self.environment["BROWSER"] = path

    def _environment(self):
        environment = dict(os.environ)
        for name in list(environment):
            # What would lead out of the folder, or off loopback.
            if name.startswith(("XDG_", "QT_")) or name.lower().endswith("_proxy"):
                del environment[name]
        environment.update(HOME=self.path("home"), MAV_ROOT=self.path("root"), XDG_RUNTIME_DIR=self.runtime,
                           LC_ALL="C.UTF-8", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        return environment

    def use_own_display(self):
        """Makes the user's display and session bus reachable from the moved home and runtime folder."""
        home = os.environ.get("HOME", "")
        runtime = os.environ.get("XDG_RUNTIME_DIR", f"/run/user/{os.getuid()}")
        self.environment.setdefault("XAUTHORITY", os.path.join(home, ".Xauthority"))
        wayland = self.environment.get("WAYLAND_DISPLAY")
        if wayland:
            self.environment["WAYLAND_DISPLAY"] = os.path.join(runtime, wayland)
        # The user's own bus finds it here; the agent takes its file away when it ends.
        self.services = os.path.join(runtime, "dbus-1", "services")
        if os.path.exists(os.path.join(runtime, "bus")):
            self.environment.setdefault("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + os.path.join(runtime, "bus"))

    def start_server(self, children):
        self.port = self.port or free_port(18080)
        self.https_port = self.https_port or free_port(18443)
        self.server = children.start("server", [
            self.program("mav-reference-server"), "--folder", self.path("server"), "--port", str(self.port),
            "--https-port", str(self.https_port), "--account", f"{USER}:{PASSWORD}::lin@example.org"], self.environment)
        ready = self.server.wait_for_line(r"^ready http=(\d+) https=(\d+)$", 30)
        self.port, self.https_port = int(ready[1]), int(ready[2])
        self.desk = OperatorDesk(self.port)

    def start_agent(self, children):
        settings = self.path("agent", "agent.json")
        if not os.path.exists(settings):
            example = os.path.join(os.path.dirname(__file__), "..", "..", "reference", "agent", "example.json")
            with open(example, encoding="utf-8") as template, open(settings, "w", encoding="utf-8") as file:
                file.write(template.read().replace("127.0.0.1:18443", f"127.0.0.1:{self.https_port}")
                           .replace("127.0.0.1:18080", f"127.0.0.1:{self.port}"))
        services = ["--services", self.services] if os.path.isdir(self.services) else []
        self.agent = children.start("agent", [
            self.program("mav-reference-agent"), "--root", self.path("root"), "--home", self.path("home"),
            "--file", settings, "--mavctl", self.program("mavctl")] + services, self.environment)
        self.agent.wait_for_line(r"^ready$", 30)

    def edit_agent(self, **changes):
        """Edits the agent's JSON file as a person would."""
        path = self.path("agent", "agent.json")
        with open(path, encoding="utf-8") as file:
            settings = json.load(file)
        with open(path, "w", encoding="utf-8") as file:
            json.dump({**settings, **changes}, file, ensure_ascii=False, indent=4)

    def ticket_service(self):
        """Process id of the ticket service; 0 while it does not run."""
        name = "string:com.qencloud.mav.TicketService"
        asked = subprocess.run(
            ["dbus-send", "--session", "--print-reply=literal", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
             "org.freedesktop.DBus.GetConnectionUnixProcessID", name],
            env=self.environment, capture_output=True, timeout=10, check=False)
        return int(asked.stdout.split()[-1]) if asked.returncode == 0 else 0

    def end_ticket_service(self):
        """Ends what the bus started for the agent, which would stay on a bus that goes on."""
        try:
            pid = self.ticket_service() if self.agent else 0
            if pid:
                os.kill(pid, signal.SIGTERM)
        except (OSError, subprocess.SubprocessError):
            pass  # whatever else was started is to be ended all the same

    def log(self):
        """Everything that the client's log files hold, the oldest file first."""
        folder = self.path("home", "Library", "Logs", "QenCloud", "Logs")
        files = [os.path.join(folder, name) for name in os.listdir(folder)] if os.path.isdir(folder) else []
        text = b""
        for path in sorted(files, key=os.path.getmtime):
            with open(path, "rb") as file:
                text += file.read()
        return text.decode(errors="replace")

    def start_client(self, children):
        return children.start("client", [self.program("Mav")], self.environment)

    def write_launcher(self):
        """A script that starts the client once more in this demo's surroundings; returns its path."""
        path = self.path("mav.sh")
        names = ("HOME", "MAV_ROOT", "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY",
                 "LC_ALL", "QT_LINUX_ACCESSIBILITY_ALWAYS_ON")
        settings = [f"{name}={shlex.quote(self.environment[name])}" for name in names if name in self.environment]
        with open(path, "w", encoding="utf-8") as script:
            script.write("#!/bin/sh\nexec env " + " ".join(settings) + f" {shlex.quote(self.program('Mav'))} \"$@\"\n")
        os.chmod(path, 0o700)
        return path

    def show_archive(self, path):
        """The support tool's print of an archive; empty when there is none."""
        done = subprocess.run([self.program("mavctl"), "archive", "show", path], env=self.environment,
                              capture_output=True, timeout=10, check=False)
        return done.stdout.decode() if done.returncode == 0 else ""

    def archive(self, path):
        printed = self.show_archive(path)
        if not printed:
            raise Failure(f"mavctl cannot show {path}")
        return json.loads(printed)

    def remove_runtime(self):
        shutil.rmtree(self.runtime, ignore_errors=True)


def end_on_signals():
    """Lets SIGTERM and SIGHUP unwind like Ctrl+C, so that everything started is ended."""
    def unwind(_number, _frame):
        raise KeyboardInterrupt
    signal.signal(signal.SIGTERM, unwind)
    signal.signal(signal.SIGHUP, unwind)


def limit_whole_run(seconds):
    def over(_number, _frame):
        raise Failure(f"the whole run took more than {seconds} s")
    signal.signal(signal.SIGALRM, over)
    signal.alarm(seconds)
