"""A network of the run's own, with one cable that can be pulled."""

import ctypes
import os
import subprocess

NEW_NETWORK = 0x40000000
CABLE, OTHER_END = "soak0", "soak1"
# Set aside for documentation.
ADDRESS, SECOND_ADDRESS, GATEWAY = "192.0.2.2/24", "192.0.2.3/24", "192.0.2.1"


def _ip(*words):
    subprocess.run(["ip", *words], check=True, timeout=10, stdin=subprocess.DEVNULL)


def enter():
    """Before anything is started: what this process starts from now on sees nothing but the cable and loopback."""
    if ctypes.CDLL(None, use_errno=True).unshare(NEW_NETWORK) != 0:
        raise SystemExit("a network namespace wants root: " + os.strerror(ctypes.get_errno()))
    _ip("link", "set", "lo", "up")
    _ip("link", "add", CABLE, "type", "veth", "peer", "name", OTHER_END)
    _ip("link", "set", OTHER_END, "up")
    _ip("address", "add", ADDRESS, "dev", CABLE)
    plug_in()


def plug_in():
    _ip("link", "set", CABLE, "up")
    _ip("route", "replace", "default", "via", GATEWAY)


def pull():
    _ip("link", "set", CABLE, "down")


def add_address():
    _ip("address", "add", SECOND_ADDRESS, "dev", CABLE)


def remove_address():
    _ip("address", "del", SECOND_ADDRESS, "dev", CABLE)
