"""What happens to a client in a month: one method an event, each of which leaves it signed in, and rounds of them in between."""

import json
import os
import random
import signal
import time

import wire
from late import POLICY, TICKET
from office import BUTTON, RECHECK, SAFETY_TAB, SIGNED_IN, TAB, TOOLS_TAB
from processes import Failure, wait_for
from story import ACCOUNT_AND_DEVICE, COPY_DEVICE_NAME, SERVER_PAGE, SIGN_OUT, Story
from windows import outline
from world import USER

# Answers that say nothing about the session, so that they may not end it.
FAULTS = [("close", {}), ("status", {"status": 502}), ("text", {"body": "<html>portal</html>"}), ("silent", {}), ("delay", {}),
          *(("shape", {"shape": shape}) for shape in ("array", "null", "no_data", "ret_text", "state_null", "truncated"))]
SLOW = 40  # seconds: for what takes a moment, on a busy computer too
LONGEST_TIMER = 15  # seconds: the watchdog's; the polls' are 3 and 12
RULES, RULE_LENGTH = 300, 1200
TAIL, LINE_LENGTH = 100, 300


class Rounds(Story):
    """The story's steps, over and over, in an order that the seed gives."""

    def __init__(self, world, children, desktop, seed):
        super().__init__(world, children, desktop)
        self.dice = random.Random(seed)
        self.log_folder = world.path("home", "Library", "Logs", "QenCloud", "Logs")
        self.original = None
        self.written = None
        self.rotations = 0

    def say(self, _text, _picture=None):
        time.sleep(1)  # a box is pressed once it is the active window

    def step(self, action):
        try:
            action()
        except Exception:
            self.tell_failure(action)
            raise

    def tell_failure(self, action):
        """What would go with the folder."""
        print(f"in {action.__name__}; the windows, and the last lines of all:", outline(self.windows), sep="\n")
        for name, text in (("client", self.world.log()), ("agent", self.world.agent.output()),
                           ("server", self.world.server.output())):
            print(f"{name}:", *(line[:LINE_LENGTH] for line in text.splitlines()[-TAIL:]), sep="\n    ", flush=True)

    def expect_signed_in(self):
        self.windows.wait_for_text(SIGNED_IN, SLOW)
        if not os.path.exists(self._record()) or self._session_state() != "live":
            raise Failure(f"the page says signed in; the server's session: {self._session_state()}")

    def count_rotations(self):
        newest = max(os.listdir(self.log_folder), key=lambda name: os.stat(os.path.join(self.log_folder, name)).st_mtime_ns)
        self.rotations += self.written not in (None, newest)
        self.written = newest

    # Somebody signs in, from the server page.

    def with_the_account(self):
        self._come_back()

    def with_a_one_time_code(self):
        self._come_back_with_one_time_code()

    def with_a_scanned_code(self):
        self._sign_in_by_code()
        profile = self.world.user_state("RTMDMNetwork.mobileconfig")
        wait_for("the certificate's profile is there", lambda: os.path.exists(profile), SLOW)

    # The session ends; the server page shows again.

    def in_the_menu(self):
        self._sign_out()

    def by_its_age(self):
        self._expire_ticket()
        self.confirm_box()

    def by_the_operator(self):
        self._revoke_ticket()
        self.confirm_box()

    def confirm_box(self):
        self.windows.find(BUTTON, self.texts["Confirm"], SLOW)
        time.sleep(1)
        self.windows.press(BUTTON, self.texts["Confirm"])
        self.windows.wait_until_gone(BUTTON, self.texts["Confirm"])

    def without_the_server(self):
        self.world.server.stop()
        self._press_item(SIGN_OUT)
        wait_for("login.archive says that a sign-out is pending",
                 lambda: self.world.archive(self._record()).get("islogout") == 1, SLOW)
        self.confirm_box()
        self.world.start_server(self.children)
        # The poll reports it as soon as somebody answers.
        self.windows.wait_for_text(SERVER_PAGE, SLOW)
        if self._session_state() != "ended" or os.path.exists(self._record()):
            raise Failure("the pending sign-out was not carried out")

    # What happens to somebody who is signed in.

    def outage(self):
        self.dice.choice((self.world.server.stop, self.world.server.kill))()
        time.sleep(self.dice.uniform(4, 9))
        self.world.start_server(self.children)

    def bad_answers(self):
        for path in (TICKET, POLICY):
            kind, fields = self.dice.choice(FAULTS)
            self.world.desk.spoil(path, kind, count=self.dice.randint(1, 3), **fields)
            wait_for(f"{path} answered with {kind}", lambda path=path: not self.world.desk.is_spoiling(path), 3 * SLOW)

    def new_ticket(self):
        self.world.desk.action("rotate_ticket", userid=USER)

    def agent_restart(self):
        self.world.agent.kill()
        time.sleep(self.dice.uniform(0, 4))
        self.world.start_agent(self.children)
        wait_for("the VPN component runs", self._vpn, SLOW)

    def suspend(self):
        """The client stands still for longer than its timers, while the others go on."""
        meanwhile = self.dice.choice((lambda: None, self.outage, self.new_ticket, self.agent_restart, self.cable))
        os.killpg(self.client.pid, signal.SIGSTOP)
        try:
            end = time.monotonic() + LONGEST_TIMER + self.dice.uniform(2, 8)
            meanwhile()
            time.sleep(max(0, end - time.monotonic()))
        finally:
            os.killpg(self.client.pid, signal.SIGCONT)

    def cable(self):
        """Unplugged and plugged in again, or another address."""
        if self.dice.random() < 0.5:
            wire.pull()
            time.sleep(self.dice.uniform(1, 5))
            wire.plug_in()
        else:
            wire.add_address()
            time.sleep(self.dice.uniform(1, 3))
            wire.remove_address()

    def agent_files(self):
        tips = f"通知 {self.dice.randrange(10 ** 9)}"
        tools, applications = list(self.original["appmgrlist"]), list(self.original["ngncloudlist"]["trustedapp"])
        for entries in (tools, applications):
            self.dice.shuffle(entries)
        switch = lambda: self.dice.choice("01")  # noqa: E731
        self.world.edit_agent(
            tips=tips, appmgrlist=tools, ngncloudlist={"trustedapp": applications}, joindomainSwitchStatus=switch(),
            complianceInfo={"access": {"is_disk_encrypt": switch(), "firewall": switch(), "ent_domain": "", "ent_qen": ""}})
        self.windows.wait_for_text(tips, SLOW)

    def hidden_tray(self):
        self.world.edit_agent(hideqenswitch="1")
        wait_for("the window is closed", lambda: not self.windows.texts(), SLOW)
        self.world.edit_agent(hideqenswitch="0")

    def long_policy(self):
        """Its line in the log is as long as itself: a dozen of them fill a file."""
        mark = f"rule {self.dice.randrange(10 ** 9)}"
        self.write_policy([{"id": number, "name": mark, "note": f"{number:04d}" * (RULE_LENGTH // 4)} for number in range(RULES)])
        stored = self.world.user_state("NGNPolicy.archive")
        wait_for("the policy is stored", lambda: mark in self.world.show_archive(stored), SLOW)
        self.write_policy([])

    def write_policy(self, rules):
        self.world.desk.action("set_policy", data={"rules": rules}, office_data={})

    def vpn_killed(self):
        before = wait_for("the VPN component runs", self._vpn, SLOW)
        os.kill(before, signal.SIGKILL)
        wait_for("it runs again", lambda: self._vpn() not in (0, before), SLOW)

    def ticket_service_killed(self):
        before = wait_for("the ticket service runs", self.world.ticket_service, SLOW, 0.5)
        os.kill(before, signal.SIGKILL)
        wait_for("it runs again", lambda: self.world.ticket_service() not in (0, before), SLOW, 0.5)

    def other_windows(self):
        self.windows.press(TAB, SAFETY_TAB)
        self.windows.press(BUTTON, RECHECK)
        self.windows.press(TAB, TOOLS_TAB)
        self._look_at_trusted_applications()
        self.windows.press(BUTTON, ACCOUNT_AND_DEVICE)
        self.windows.find(BUTTON, COPY_DEVICE_NAME, SLOW)
        time.sleep(1)
        self.desktop.press_keys("alt+F4")
        self.windows.wait_until_gone(BUTTON, COPY_DEVICE_NAME)

    def logs_packed(self):
        archive = self.world.path("home", "Desktop", "MavLogs", "MavUserLogs.zip")
        facts = lambda: os.path.exists(archive) and os.stat(archive).st_mtime_ns  # noqa: E731
        before = facts()
        self._choose("导出日志")
        self.windows.press(BUTTON, "导出")
        wait_for("the logs are packed", lambda: facts() not in (False, before), SLOW)
        self.windows.wait_until_gone(BUTTON, "导出", SLOW)

    SIGN_INS = ((with_the_account, 6), (with_a_one_time_code, 2), (with_a_scanned_code, 2))
    SIGN_OUTS = ((in_the_menu, 5), (by_its_age, 2), (by_the_operator, 2), (without_the_server, 1))
    EVENTS = ((outage, 3), (bad_answers, 3), (new_ticket, 3), (agent_restart, 3), (suspend, 3), (cable, 3), (agent_files, 3),
              (hidden_tray, 1), (long_policy, 5), (vpn_killed, 1), (ticket_service_killed, 1), (other_windows, 2), (logs_packed, 1))

    def drawn(self, table):
        actions, weights = zip(*table)
        return self.dice.choices(actions, weights)[0]

    def play(self, action):
        self.step(action.__get__(self))
        if not self.client.is_running():
            raise Failure(f"the client ended with status {self.client.process.returncode} in {action.__name__}")
        self.count_rotations()

    def live_through(self, action):
        self.play(action)
        self.step(self.expect_signed_in)

    def round(self):
        """From a sign-out to the sign-in, with one or two events behind it; returns what was played."""
        played = [self.drawn(self.SIGN_OUTS), self.drawn(self.SIGN_INS)]
        played += [self.drawn(self.EVENTS) for _ in range(self.dice.randint(1, 2))]
        self.play(played[0])
        for action in played[1:]:
            self.live_through(action)
        return played

    def warm_up(self):
        """Everything once, so that what is made for good is there when the first measurement is taken."""
        with open(self.world.path("agent", "agent.json"), encoding="utf-8") as file:
            self.original = json.load(file)
        for action, _ in self.EVENTS:
            self.live_through(action)
        for number, (sign_out, _) in enumerate(self.SIGN_OUTS):
            self.play(sign_out)
            self.live_through(self.SIGN_INS[number % len(self.SIGN_INS)][0])

    def come_to_rest(self):
        """The state in which measurements are compared."""
        self.play(Rounds.in_the_menu)
        self.live_through(Rounds.with_the_account)
        self.world.edit_agent(**self.original)
        self.windows.wait_for_text(self.original["tips"], SLOW)
