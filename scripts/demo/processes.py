"""Child processes of the demo: each is started with a log file and ended by its own process id."""

import ctypes
import os
import re
import signal
import subprocess
import time

PR_SET_PDEATHSIG = 1
libc = ctypes.CDLL(None)


class Failure(Exception):
    """Something that was expected did not happen; its text says what."""


def wait_for(what, predicate, limit, interval=0.05):
    """Polls until the predicate gives something true and returns that; a Failure after limit seconds."""
    end = time.monotonic() + limit
    while True:
        value = predicate()
        if value:
            return value
        if time.monotonic() > end:
            raise Failure(f"not within {limit} s: {what}")
        time.sleep(interval)


def _end_with_parent():
    libc.prctl(PR_SET_PDEATHSIG, signal.SIGTERM)


class Child:
    def __init__(self, name, arguments, environment, log, pass_fds=()):
        self.name = name
        self.log = log
        with open(log, "ab") as output:
            self.offset = output.tell()
            self.process = subprocess.Popen(
                arguments, env=environment, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                start_new_session=True, preexec_fn=_end_with_parent, pass_fds=pass_fds)

    @property
    def pid(self):
        return self.process.pid

    def is_running(self):
        return self.process.poll() is None

    def output(self):
        with open(self.log, "rb") as log:
            log.seek(self.offset)
            return log.read().decode(errors="replace")

    def wait_for_line(self, pattern, limit):
        """Waits for a line that matches; returns the match."""
        def look():
            match = re.search(pattern, self.output(), re.MULTILINE)
            if not match and not self.is_running():
                raise Failure(f"{self.name} ended with status {self.process.returncode}, see {self.log}")
            return match
        return wait_for(f"{self.name} says {pattern}", look, limit)

    def wait(self, limit):
        try:
            return self.process.wait(limit)
        except subprocess.TimeoutExpired:
            raise Failure(f"{self.name} did not end within {limit} s") from None

    def kill(self):
        self.process.kill()
        self.process.wait(5)

    def stop(self):
        """Ends the process and what it started in its own session."""
        if self.is_running():
            self.process.terminate()
            try:
                self.process.wait(3)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait(5)
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


class Children:
    def __init__(self, log_folder):
        self.log_folder = log_folder
        self.children = []

    def start(self, name, arguments, environment, pass_fds=()):
        child = Child(name, arguments, environment, os.path.join(self.log_folder, name + ".log"), pass_fds)
        self.children.append(child)
        return child

    def stop_all(self):
        while self.children:
            self.children.pop().stop()
