"""The steps of the demo: everything a person does with the client from the first start to quitting."""

import json
import os
import socket
import sys
import time
from xml.etree import ElementTree

import tickets
from processes import Failure, wait_for
from windows import Windows, outline
from world import PASSWORD, USER

SERVER_PAGE, LOGIN_PAGE, SIGNED_IN = "连接管理服务器", "欢迎登录", "办公工具"
ADDRESS, PORT = "服务器地址", "端口"
ACCOUNT, SECRET = "账号", "密码"
MENU, SIGN_OUT, QUIT = "菜单", "退出登录", "退出 Mav"
STATUS_OF_SECOND_COPY = 1


def read_string_table():
    """The client's texts by their keys: what a person is to read."""
    table = os.path.join(os.path.dirname(__file__), "..", "..", "resources", "i18n", "mav_zh_CN.ts")
    messages = ElementTree.parse(table).iter("message")
    return {message.get("id"): message.findtext("translation") for message in messages}


def closed_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Story:
    def __init__(self, world, children, desktop):
        self.world = world
        self.children = children
        self.desktop = desktop
        self.texts = read_string_table()
        self.client = None
        self.windows = None
        self.started = time.monotonic()
        self.pictures = 0

    def say(self, text, picture=None):
        line = f"[{time.monotonic() - self.started:5.1f} s] {text}"
        if picture:
            self.pictures += 1
            name = f"{self.pictures:02d}-{picture}.png"
            # A fade lasts 120 ms; the picture shows the page at rest.
            time.sleep(0.3)
            self.desktop.take_picture(self.world.path("shots", name))
            line += f"  (shots/{name})"
        print(line, flush=True)

    def step(self, action):
        try:
            action()
        except Failure:
            self.desktop.take_picture(self.world.path("shots", "failure.png"))
            if self.windows:
                print(outline(self.windows), file=sys.stderr)
            raise

    def open(self):
        self.world.start_server(self.children)
        self.world.start_agent(self.children)
        self.say(f"server on port {self.world.port}, agent and virtual display are up")
        self.step(self._first_start)

    def sign_in(self):
        for action in (self._save_address, self._sign_in):
            self.step(action)

    def play_everything(self):
        for action in (self._refused_address, self._unreachable_server, self._save_address, self._wrong_password,
                       self._blocked_user, self._sign_in, self._look_at_record, self._edit_tips, self._kill_and_return,
                       self._look_at_sent_ticket, self._second_launch, self._sign_out, self._look_at_sole_id, self._quit):
            self.step(action)
        self.say("all steps passed")

    def _start_client(self):
        self.client = self.world.start_client(self.children)
        self.windows = Windows(self.client.pid)

    def _first_start(self):
        self._start_client()
        self.windows.wait_for_text(SERVER_PAGE, 20)
        self.say("first start: the server page", "server-page")

    def _submit_address(self, address, port):
        self.windows.fill("text", ADDRESS, address)
        self.windows.fill("text", PORT, str(port))
        self.windows.press("push button", self.texts["ConfigureServer"])

    def _read_box(self, key, what, picture):
        """Reads the client's message box and confirms it."""
        text = self.texts[key]
        self.windows.wait_for_text(text, 15)
        self.say(f"{what}: \"{text}\"", picture)
        self.windows.press("push button", self.texts["Confirm"])
        self.windows.wait_until_gone("push button", self.texts["Confirm"])

    def _refused_address(self):
        self._submit_address("server.example.org", self.world.port)
        self._read_box("IPOrDomainNameNonconformance", "a host name as address is refused", "address-refused")
        if os.path.exists(self.world.user_state("domianorip.archive")):
            raise Failure("a refused address was saved")

    def _unreachable_server(self):
        self._submit_address("127.0.0.1", closed_port())
        self._read_box("ConnectServerFailed", "a port where no server listens", "server-unreachable")

    def _save_address(self):
        self._submit_address("127.0.0.1", self.world.port)
        self.windows.wait_for_text(LOGIN_PAGE, 15)
        self.say("the server's address is saved and reached: the login page", "login-page")

    def _submit_account(self, password):
        self.windows.fill("text", ACCOUNT, USER)
        self.windows.fill("password text", SECRET, password)
        self.windows.press("push button", self.texts["Login"])

    def _wrong_password(self):
        self._submit_account("no such password")
        self._read_box("AccountOrPwdError", "a wrong password", "wrong-password")

    def _blocked_user(self):
        self.world.desk.action("block_user", userid=USER)
        self._submit_account(PASSWORD)
        self._read_box("Userblocked", "the operator blocked the account", "blocked")
        self.world.desk.action("unblock_user", userid=USER)

    def _sign_in(self):
        self._submit_account(PASSWORD)
        self.windows.wait_for_text(SIGNED_IN, 15)
        self.say("signed in", "signed-in")

    def _record(self):
        return self.world.user_state("login.archive")

    def _look_at_record(self):
        printed = self.world.show_archive(self._record())
        stored = tickets.find_key(self.world.archive(self._record()), "ticket")
        known = tickets.live_hashes(self.world.path("server", "server.sqlite"))
        if len(known) != 1 or not isinstance(stored, str) or len(stored) < 24:
            raise Failure(f"no ticket to look at: {printed}")
        if tickets.hash_of(stored) in known:
            raise Failure("login.archive holds the plain ticket")
        self.say("mavctl archive show login.archive (the ticket is enciphered):\n" + printed.rstrip())

    def _edit_tips(self):
        tips = "管理员通知：今晚 22:00 升级服务器"
        path = self.world.path("agent", "agent.json")
        with open(path, encoding="utf-8") as file:
            settings = json.load(file)
        with open(path, "w", encoding="utf-8") as file:
            json.dump({**settings, "tips": tips}, file, ensure_ascii=False, indent=4)
        self.windows.wait_for_text(tips, 15)
        self.say("agent.json edited: the tips line follows", "tips")

    def _kill_and_return(self):
        self.client.kill()
        self.world.desk.action("clear_requests")
        self._start_client()
        self.windows.wait_for_text(SIGNED_IN, 20)
        self.say("killed with SIGKILL and started again: still signed in", "back-after-kill")

    def _look_at_sent_ticket(self):
        request = wait_for("the server got the ticket", lambda: self.world.desk.requests(
            "/api/public/clientlogin/ticket_auth"), 5)[0]
        ticket = tickets.open_body(request)["ticket"]
        if tickets.hash_of(ticket) not in tickets.live_hashes(self.world.path("server", "server.sqlite")):
            raise Failure("the client proved itself with a ticket that the server does not know")
        with open(self._record(), "rb") as record:
            content = record.read()
        if ticket.encode() in content or ticket.encode("utf-16-be") in content:
            raise Failure("login.archive holds the plain ticket")
        self.say("the client proved itself with the ticket that was issued; login.archive does not hold it in plain")

    def _second_launch(self):
        self.desktop.press_keys("alt+F4")
        wait_for("the main window closes", lambda: not self.windows.texts(), 5)
        if not self.client.is_running():
            raise Failure("closing the window ended the client")
        second = self.world.start_client(self.children)
        status = second.wait(20)
        if status != STATUS_OF_SECOND_COPY:
            raise Failure(f"the second copy ended with status {status}")
        self.windows.wait_for_text(SIGNED_IN, 10)
        wait_for("the first copy is in front", lambda: self.desktop.is_in_front(self.client.pid), 10)
        self.say("window closed, client started again: the second copy exits with 1, the first one comes forward",
                 "brought-forward")

    def _choose(self, item):
        self.windows.press("push button", MENU)
        self.windows.press("menu item", item)
        if self.client.is_running() and self.windows.shows("menu item", item):
            self.desktop.press_keys("Escape")  # an item's action, unlike a click, leaves its menu open

    def _sign_out(self):
        self._choose(SIGN_OUT)
        self.windows.wait_for_text(SERVER_PAGE, 15)
        wait_for("the server ended the session",
                 lambda: [entry["state"] for entry in self.world.desk.sessions(USER)] == ["ended"], 5)
        wait_for("login.archive is gone", lambda: not os.path.exists(self._record()), 5)
        self.say("signed out in the application menu: the server page again", "signed-out")

    def _look_at_sole_id(self):
        path = self.world.user_state("soleid.archive")
        sole_id = wait_for("soleid.archive holds an identifier",
                           lambda: os.path.exists(path) and self.world.archive(path), 5)
        if len(sole_id) != 16 or set(sole_id) - set("0123456789abcdef"):
            raise Failure(f"soleid.archive holds {sole_id!r}")
        self.say(f"mavctl archive show soleid.archive: {sole_id}")

    def _quit(self):
        self._choose(QUIT)
        status = self.client.wait(15)
        if status != 0:
            raise Failure(f"the client quit with status {status}")
        self.say("quit in the application menu: status 0")
