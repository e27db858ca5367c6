"""The windows of one process, read and used through the accessibility bus as assistive software does.

Import it only after the environment names the session bus: the library connects when it is loaded.
"""

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

from processes import Failure, wait_for  # noqa: E402

LARGEST_TREE = 4000


class Windows:
    def __init__(self, pid, limit=30):
        Atspi.init()
        Atspi.set_timeout(3000, 5000)
        self.pid = pid
        self.focused = None
        self.listener = Atspi.EventListener.new(self._on_event)
        self.listener.register("object:state-changed:focused")
        self.application = wait_for("the client is on the accessibility bus", self._find_application, limit, 0.1)

    def _find_application(self):
        desktop = Atspi.get_desktop(0)
        for index in range(desktop.get_child_count()):
            try:
                child = desktop.get_child_at_index(index)
                if child and child.get_process_id() == self.pid:
                    # Nothing dispatches events here, so a cache would never hear of a change.
                    child.set_cache_mask(Atspi.Cache.NONE)
                    return child
            except GLib.Error:
                pass
        return None

    def let_go(self):
        """Asks for no more events."""
        self.listener.deregister("object:state-changed:focused")

    def _on_event(self, event):
        if event.detail1:
            self.focused = event.source

    def _open_menu(self):
        """An open menu is nobody's child; one gets to it by the item that has the focus."""
        while GLib.MainContext.default().iteration(False):
            pass
        try:
            if self.focused and self.focused.get_role() == Atspi.Role.MENU_ITEM:
                return [self.focused.get_parent()]
        except GLib.Error:
            self.focused = None
        return []

    def elements(self):
        """Everything that shows, parents first."""
        waiting, found = [self.application] + self._open_menu(), []
        while waiting and len(found) < LARGEST_TREE:
            node = waiting.pop(0)
            try:
                if node is not self.application:
                    if not node.get_state_set().contains(Atspi.StateType.SHOWING):
                        continue
                    found.append(node)
                waiting += [child for child in map(node.get_child_at_index, range(node.get_child_count())) if child]
            except GLib.Error:
                continue  # gone while it was looked at
        return found

    def _first(self, role, name):
        for node in self.elements():
            try:
                if role_of(node) == role and (name is None or name_of(node) == name):
                    return node
            except GLib.Error:
                continue
        return None

    def find(self, role, name=None, limit=10):
        return wait_for(f"{role} \"{name or ''}\" shows", lambda: self._first(role, name), limit)

    def shows(self, role, name=None):
        return self._first(role, name) is not None

    def texts(self):
        """What one can read now, in the order of the windows."""
        lines = []
        for node in self.elements():
            try:
                line = text_of(node)
            except GLib.Error:
                continue
            if line and line not in lines:
                lines.append(line)
        return lines

    def wait_for_text(self, text, limit=10):
        """Waits for an element that reads exactly so."""
        wait_for(f"one reads \"{text}\"", lambda: text in self.texts(), limit)

    def wait_until_gone(self, role, name=None, limit=10):
        wait_for(f"{role} \"{name or ''}\" is gone", lambda: not self.shows(role, name), limit)

    def _in_front(self, role, name):
        """The element of the window opened last: an older one may have an element of the same name."""
        frames = [window for window in map(self.application.get_child_at_index, range(self.application.get_child_count()))
                  if window and window.get_state_set().contains(Atspi.StateType.SHOWING)]
        waiting = frames[-1:]
        while waiting:
            node = waiting.pop(0)
            try:
                if not node.get_state_set().contains(Atspi.StateType.SHOWING):
                    continue
                if role_of(node) == role and name_of(node) == name:
                    return node
                waiting += [child for child in map(node.get_child_at_index, range(node.get_child_count())) if child]
            except GLib.Error:
                continue
        return None

    def fill_in_front(self, role, name, text):
        node = wait_for(f"{role} \"{name}\" shows in front", lambda: self._in_front(role, name), 10)
        self._fill(node, role, name, text)

    def press_in_front(self, role, name):
        self._press(wait_for(f"{role} \"{name}\" shows in front", lambda: self._in_front(role, name), 10), role, name)

    def fill(self, role, name, text):
        self._fill(self.find(role, name), role, name, text)

    def _fill(self, node, role, name, text):
        if not node.get_editable_text_iface().set_text_contents(text):
            raise Failure(f"{role} \"{name}\" takes no text")

    def press(self, role, name=None, limit=10):
        """Presses an element once it is enabled."""
        def enabled():
            node = self._first(role, name)
            return node if node and node.get_state_set().contains(Atspi.StateType.SENSITIVE) else None
        self._press(wait_for(f"{role} \"{name or ''}\" can be pressed", enabled, limit), role, name)

    def _press(self, node, role, name):
        actions = node.get_action_iface()
        for index in range(actions.get_n_actions()):
            if actions.get_action_name(index).lower() in ("press", "click", "toggle", "trigger", "showmenu"):
                try:
                    actions.do_action(index)
                except GLib.Error:
                    pass  # what it opened keeps the answer waiting; the next wait tells whether it opened
                return
        raise Failure(f"{role} \"{name}\" cannot be pressed")


def role_of(node):
    """The name of the role as of Debian 12; later ones call a push button a button."""
    role = node.get_role_name()
    return "push button" if role == "button" else role


def name_of(node):
    return node.get_name() or ""


def text_of(node):
    if node.get_role() == Atspi.Role.PASSWORD_TEXT:
        return ""
    if "Text" in node.get_interfaces():
        text = node.get_text_iface()
        return Atspi.Text.get_text(text, 0, text.get_character_count()) if text else name_of(node)
    return name_of(node)


def outline(windows):
    """One line an element, for a failure's log."""
    lines = []
    for node in windows.elements():
        try:
            lines.append(f"{role_of(node)} \"{name_of(node)}\" id={node.get_accessible_id()} text={text_of(node)!r}")
        except GLib.Error:
            continue
    return "\n".join(lines)
