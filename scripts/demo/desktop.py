"""A desktop of the demo's own: virtual display, window manager, session bus and accessibility bus."""

import os
import subprocess

from processes import Failure, wait_for


def _text_of(arguments, environment):
    done = subprocess.run(arguments, env=environment, capture_output=True, timeout=5, check=False)
    return done.stdout.decode() if done.returncode == 0 else ""


class Desktop:
    """Started in the constructor; its processes belong to the given children. With a scale everything is drawn that many
    times as large; with a font, text is to be that many points large, as the desktop's settings say."""

    def __init__(self, children, environment, runtime, has_window_manager=True, scale=1, screen=(1280, 900), font=0):
        self.environment = dict(environment, QT_SCALE_FACTOR=str(scale))
        self.screen = "x".join(str(round(side * scale)) for side in screen) + "x24"
        if font:
            self._set_font(font)
        for name in ("WAYLAND_DISPLAY", "XAUTHORITY", "DBUS_SESSION_BUS_ADDRESS", "AT_SPI_BUS_ADDRESS"):
            self.environment.pop(name, None)
        self._start_display(children)
        self._start_bus(children, runtime)
        if has_window_manager:
            self._start_window_manager(children)

    def _set_font(self, points):
        """A desktop's own font comes to its programs in the desktop's settings; the display's density scales all of a window."""
        folder = os.path.join(self.environment["HOME"], ".config")
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, "kdeglobals"), "w", encoding="utf-8") as settings:
            settings.write(f"[General]\nfont=Sans Serif,{points},-1,5,50,0,0,0,0,0\n")
        self.environment.update(XDG_CURRENT_DESKTOP="KDE", KDE_SESSION_VERSION="5")

    def _start_display(self, children):
        read_end, write_end = os.pipe()
        try:
            display = children.start(
                "Xvfb", ["Xvfb", "-displayfd", str(write_end), "-screen", "0", self.screen, "-nolisten", "tcp", "-noreset"],
                self.environment, pass_fds=(write_end,))
            os.close(write_end)
            os.set_blocking(read_end, False)

            def number():
                if not display.is_running():
                    raise Failure(f"Xvfb ended, see {display.log}")
                try:
                    return os.read(read_end, 32).decode().strip()
                except BlockingIOError:
                    return ""
            self.environment["DISPLAY"] = ":" + wait_for("Xvfb tells its display", number, 20)
        finally:
            os.close(read_end)

    def _start_bus(self, children, runtime):
        address = "unix:path=" + os.path.join(runtime, "bus")
        bus = children.start("dbus", ["dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1",
                                      "--address=" + address], self.environment)
        bus.wait_for_line(r"^unix:", 10)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        children.start("at-spi", ["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"], self.environment)
        wait_for("the accessibility bus answers", lambda: "unix:" in _text_of(
            ["dbus-send", "--print-reply", "--dest=org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus.GetAddress"],
            self.environment), 10, 0.2)

    def _start_window_manager(self, children):
        children.start("openbox", ["openbox", "--sm-disable"], self.environment)
        wait_for("the window manager is there", lambda: "window id" in _text_of(
            ["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"], self.environment), 10, 0.1)

    def press_keys(self, keys):
        subprocess.run(["xdotool", "key", "--clearmodifiers", keys], env=self.environment, timeout=10, check=True)

    def is_in_front(self, pid):
        """Whether the active window is one of the process."""
        window = _text_of(["xdotool", "getactivewindow"], self.environment).strip()
        return bool(window) and _text_of(["xdotool", "getwindowpid", window], self.environment).strip() == str(pid)

    def take_picture(self, path):
        subprocess.run(["import", "-silent", "-window", "root", path], env=self.environment, timeout=20, check=True)
