"""The steps of the demo: everything a person does with the client from the first start to quitting."""

import os
import re
import signal
import socket
import sys
import time
from urllib.parse import quote
from xml.etree import ElementTree

import tickets
from office import SIGNED_IN, OfficeSteps
from processes import Failure, wait_for
from windows import Windows, outline
from world import PASSWORD, USER

SERVER_PAGE, LOGIN_PAGE = "连接管理服务器", "欢迎登录"
ADDRESS, PORT = "服务器地址", "端口"
ACCOUNT, SECRET = "账号", "密码"
ACCOUNT_TAB, CODE, ONE_TIME_CODE = "账号登录", "动态口令", "135790"
SCAN, ACCOUNT_AND_DEVICE, COPY_DEVICE_NAME = "扫码登录", "登录与设备信息", "复制设备名称"
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


class Story(OfficeSteps):
    def __init__(self, world, children, desktop):
        self.world = world
        self.children = children
        self.desktop = desktop
        self.texts = read_string_table()
        self.client = None
        self.windows = None
        self.started = time.monotonic()
        self.pictures = 0
        self.password = PASSWORD

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
        # The watchdog's first look comes 30 seconds after the second start; the steps up to it fill that time.
        for action in (self._refused_address, self._unreachable_server, self._save_address, self._wrong_password,
                       self._blocked_user, self._waiting_device, self._sign_in, self._look_at_record,
                       self._look_at_compliance, self._change_policy, self._open_tools,
                       self._look_at_trusted_applications, self._export_logs, self._change_password,
                       self._vpn_is_started, self._edit_tips, self._kill_and_return,
                       self._look_at_sent_ticket, self._second_launch, self._expire_ticket,
                       self._come_back_with_one_time_code,
                       self._revoke_ticket, self._sign_in_by_code,
                       self._fetch_certificate, self._kill_vpn, self._kill_ticket_service,
                       self._sign_out, self._look_at_sole_id, self._come_back, self._sign_out_without_network,
                       self._report_sign_out, self._quit):
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
        self._submit_account(self.password)
        self._read_box("Userblocked", "the operator blocked the account", "blocked")
        self.world.desk.action("unblock_user", userid=USER)

    def _sign_in(self):
        self._submit_account(self.password)
        self.windows.wait_for_text(SIGNED_IN, 15)
        self.say("signed in", "signed-in")

    def _waiting_device(self):
        self.world.desk.action("require_approval", userid=USER)
        self._submit_account(self.password)
        self._read_box("Devicereview", "the device waits for approval", "waiting")
        device = self.world.desk.devices()[0]["deviceid"]
        self.world.desk.action("approve_device", deviceid=device)
        self.say("the operator approves the device")

    def _come_back(self):
        """Signs in again after the session's end, from the server page."""
        self.windows.press("push button", self.texts["ConfigureServer"])
        self.windows.wait_for_text(LOGIN_PAGE, 15)
        self._submit_account(self.password)
        self.windows.wait_for_text(SIGNED_IN, 15)
        self.say("the address is there again, saved and reached; signed in again")

    def _come_back_with_one_time_code(self):
        """As _come_back, in the login window, for an account that needs a code besides its password."""
        self.world.desk.action("set_otp", userid=USER, otp=ONE_TIME_CODE)
        self.world.edit_agent(userlogin={"double_factor_auth": "1", "qrcode_login": 1, "pc_account_login": 1})
        state = self.world.agent_state("userlogin.archive")
        wait_for("the agent asks for one-time codes",
                 lambda: self.world.archive(state)["double_factor_auth"] == "1", 10)
        self.windows.press("push button", self.texts["ConfigureServer"])
        self.windows.wait_for_text(LOGIN_PAGE, 15)
        self.windows.press("push button", SCAN)
        self.windows.press("check box", ACCOUNT_TAB)
        for role, name, text in (("text", ACCOUNT, USER), ("password text", SECRET, self.password),
                                 ("text", CODE, ONE_TIME_CODE)):
            self.windows.fill_in_front(role, name, text)
        self.say("the account page of the login window, with a one-time code", "one-time-code")
        self.windows.press_in_front("push button", self.texts["Login"])
        self.windows.wait_for_text(SIGNED_IN, 15)
        self.world.desk.action("set_otp", userid=USER, otp="")
        self.say("signed in with account, password and code")

    def _session_state(self):
        """What the server holds of the session begun last."""
        return max(self.world.desk.sessions(USER), key=lambda session: session["session"])["state"]

    def _lose_session(self, action, picture):
        self.world.desk.action(action, userid=USER)
        self.windows.wait_for_text(SERVER_PAGE, 15)
        wait_for("login.archive is gone", lambda: not os.path.exists(self._record()), 5)
        self.say(f"{action} on the operator page: the session ends, the server page again", picture)

    def _expire_ticket(self):
        self._lose_session("expire_ticket", "ticket-expired")

    def _revoke_ticket(self):
        self._lose_session("revoke_ticket", "ticket-revoked")

    def _vpn(self):
        """Process id of the running VPN component, 0 without one."""
        lines = re.findall(r"^(started|stopped|gone) ZelVPN ?(\d*)$", self.world.agent.output(), re.MULTILINE)
        return int(lines[-1][1]) if lines and lines[-1][0] == "started" else 0

    def _vpn_is_started(self):
        pid = wait_for("the agent starts the VPN component", self._vpn, 10)
        self.say(f"the sign-in asked for the user's policy: the agent started the VPN component, process {pid}")

    def _sign_in_by_code(self):
        """As _come_back, with the code that a phone scans; the server asks for network access by certificate."""
        self.world.desk.action("set_start_config", config={
            "domain": {"auth_method": "3", "inac_addr": f"https://127.0.0.1:{self.world.https_port}"},
            "wifisettings": {"ssidlist": ["Mav-Guest"]}})
        self.windows.press("push button", self.texts["ConfigureServer"])
        self.windows.wait_for_text(LOGIN_PAGE, 15)
        self.world.desk.action("clear_requests")
        self.windows.press("push button", SCAN)
        asked = wait_for("the client asks whether its code was scanned", lambda: self.world.desk.requests(
            "/api/public/clientlogin/scan_status"), 10)[0]["fields"]
        self.say("the login window shows the code to be scanned", "code")
        # The phone: it opens the address in the code, and somebody confirms there.
        code = {"hostname": asked["hostname"], "ip": "127.0.0.1", "mac": asked["mac"], "device_type": "PC", "login_user": USER,
                "timestamp": str(int(time.time())), "deviceid": asked["deviceid"], "os": "Linux", "soleid": asked["soleid"]}
        self.world.desk.open_page("/api/public/clientlogin/scan_login?v=" + quote(tickets.seal(code), safe=""))
        self.windows.wait_for_text("已扫码,待确定...", 10)
        self.world.desk.action("confirm_scan", soleid=asked["soleid"], deviceid=asked["deviceid"], userid=USER)
        self.windows.wait_for_text(SIGNED_IN, 15)
        self.say("code scanned and confirmed: signed in", "signed-in-by-code")

    def _fetch_certificate(self):
        profile = self.world.user_state("RTMDMNetwork.mobileconfig")
        wait_for("the certificate's profile is there", lambda: os.path.exists(profile), 20)
        with open(profile, encoding="utf-8") as file:
            if "WiFi (Mav-Guest)" not in file.read():
                raise Failure("the profile lacks the network of agent.json")
        certificate = self.world.desk.certificates()[0]
        serial = certificate["serial"]
        if certificate["userid"] != USER or self.world.desk.certificate_state(serial) != 0:
            raise Failure(f"the server issued {certificate}")
        self.world.desk.action("revoke_certificate", serial=serial)
        if self.world.desk.certificate_state(serial) != -7:
            raise Failure("a revoked certificate is still good")
        self.say(f"network access by certificate: {serial} issued and its profile written; revoked on the operator page")

    def _wait_for_log(self, line, since, limit):
        wait_for(f"the log says \"{line}\"", lambda: self.world.log().count(line) > since, limit, 0.2)

    def _kill_vpn(self):
        line = "zelvpn exit reload zelvpn....."
        # Not before the watchdog took its first look and set everything up.
        self._wait_for_log("Qen ZelVPN existed....", 0, 60)
        before, since = wait_for("the VPN component runs", self._vpn, 5), self.world.log().count(line)
        os.kill(before, signal.SIGKILL)
        killed = time.monotonic()
        self._wait_for_log(line, since, 25)
        after = wait_for("the agent starts the VPN component again", lambda: self._vpn() not in (0, before) and self._vpn(), 5)
        self.say(f"VPN component killed: \"{line}\" after {time.monotonic() - killed:.1f} s, process {after} runs")

    def _kill_ticket_service(self):
        lines = ("NGN Server reload ........................", "[QenCloudTicketHelper] QenCloud Service run Success")
        before = self.world.ticket_service()
        if not before:
            raise Failure("the ticket service does not run")
        since = [self.world.log().count(line) for line in lines]
        os.kill(before, signal.SIGKILL)
        killed = time.monotonic()
        for line, count in zip(lines, since):
            self._wait_for_log(line, count, 25)
        after = self.world.ticket_service()
        if after in (0, before):
            raise Failure("the bus did not start the ticket service again")
        self.say(f"ticket service killed: set up again after {time.monotonic() - killed:.1f} s, process {after}; the log says "
                 + " and ".join(f'"{line}"' for line in lines))

    def _sign_out_without_network(self):
        line = "QenCloud logout fail because no network!!!"
        since = self.world.log().count(line)
        self.world.server.stop()
        self._press_item(SIGN_OUT)  # the box that follows closes the menu, and a key meant for the menu would close the box
        self._wait_for_log(line, since, 20)
        pending = wait_for("login.archive says that a sign-out is pending",
                           lambda: self.world.archive(self._record()).get("islogout") == 1, 5)
        self.say(f"server stopped, signed out: \"{line}\", islogout {int(pending)}", "sign-out-pending")
        self.windows.press("push button", self.texts["Confirm"])
        self.world.start_server(self.children)

    def _report_sign_out(self):
        self.world.desk.action("clear_requests")
        self.windows.press("push button", ACCOUNT_AND_DEVICE)
        wait_for("the next poll says that the user wants out", lambda: any(
            request["fields"].get("clientoper") == 1
            for request in self.world.desk.requests("/api/public/clientlogin/scan_status")), 10)
        self.windows.wait_for_text(SERVER_PAGE, 10)
        if self._session_state() != "ended" or os.path.exists(self._record()):
            raise Failure("the pending sign-out was not carried out")
        self.say("server back, login window opened: its next poll reports the sign-out, and the session ends",
                 "sign-out-reported")
        self.desktop.press_keys("alt+F4")
        self.windows.wait_until_gone("push button", COPY_DEVICE_NAME)

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
        self.world.edit_agent(tips=tips)
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

    def _press_item(self, item):
        self.windows.press("push button", MENU)
        self.windows.press("menu item", item)

    def _choose(self, item):
        self._press_item(item)
        if self.client.is_running() and self.windows.shows("menu item", item):
            self.desktop.press_keys("Escape")  # an item's action, unlike a click, leaves its menu open

    def _sign_out(self):
        self._choose(SIGN_OUT)
        self.windows.wait_for_text(SERVER_PAGE, 15)
        wait_for("the server ended the session", lambda: self._session_state() == "ended", 5)
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
