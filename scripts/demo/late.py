#!/usr/bin/python3
"""Plays what happens while an answer is under way, through the real windows: sign-out, other sign-in, quit, kill -9.

The management server delays one answer; meanwhile the person does something else. Each case says what holds once everything is
answered, and fails when the window, the state files or the server's session say otherwise. Ends with status 0 or 1.
usage: scripts/demo/late.py --programs build/dev/bin
"""

import argparse
import json
import os
import subprocess
import sys
import time

from processes import Failure, wait_for
from stage import tell
from world import NEW_PASSWORD, USER

LIMIT = 900  # seconds
CALLS = "/api/public/clientlogin/"
SIGN_IN, TICKET, SIGN_OUT, RESET = (CALLS + name for name in ("account_login", "ticket_auth", "logout", "resetpass"))
SIGNED_IN, SERVER_PAGE, LOGIN_PAGE = "主页", "连接管理服务器", "欢迎登录"
POLICY = "/qen/ngnpolicy"
QUITS = 10


def make_story(story_class):
    class Late(story_class):
        """The story's steps, in the wrong order."""

        def say(self, text, picture=None):
            super().say(text)
            time.sleep(1)  # a box is pressed once it is the active window

        # What holds at the end of a case.

        def expect_signed_in(self):
            self.windows.wait_for_text(SIGNED_IN, 15)
            if not os.path.exists(self._record()) or self._session_state() != "live":
                raise Failure(f"the page says signed in; the server's session: {self._session_state()}")

        def expect_signed_out(self):
            self.windows.wait_for_text(SERVER_PAGE, 20)
            if os.path.exists(self._record()):
                raise Failure("somebody is signed in on disk while the server page shows")

        def restart(self, page):
            self._start_client()
            self.windows.wait_for_text(page, 20)

        def late(self, path, seconds, kind="delay", **fields):
            self.world.desk.spoil(path, kind, seconds=seconds, **fields)

        def wait_until_asked(self, path):
            wait_for(f"{path} is asked for", lambda: not self.world.desk.is_spoiling(path), 30)

        def to_login_page(self):
            self.windows.press("push button", self.texts["ConfigureServer"])
            self.windows.wait_for_text(LOGIN_PAGE, 15)

        def sign_in_late(self):
            self.to_login_page()
            self.late(SIGN_IN, 4)
            self._submit_account(self.password)
            time.sleep(1)

        # The cases; each starts where the one before it ended.

        def killed_while_signing_in(self):
            self.sign_in_late()
            self.client.kill()
            self.restart(SERVER_PAGE)
            time.sleep(4)
            self.expect_signed_out()

        def quit_while_signing_in(self):
            self.sign_in_late()
            self._quit()
            time.sleep(3)
            self.restart(SERVER_PAGE)
            self.expect_signed_out()

        def record_that_cannot_be_written(self):
            self.sign_in_late()
            folder = os.path.dirname(self._record())
            os.rename(folder, folder + ".away")
            with open(folder, "w", encoding="utf-8"):
                pass
            self._read_box("SessionNotStored", "the record cannot be written", None)
            os.remove(folder)
            os.rename(folder + ".away", folder)
            self.windows.wait_for_text(LOGIN_PAGE, 5)
            self._submit_account(self.password)
            self.expect_signed_in()

        def refused_ticket_against_a_new_sign_in(self):
            """The old session's refusal arrives when somebody has signed out and in again."""
            self.late(TICKET, 9, "state", ret=0, state=-7)
            self.wait_until_asked(TICKET)
            self._sign_out()
            self._come_back()
            time.sleep(8)
            self.expect_signed_in()

        def ticket_and_policy_against_a_sign_out(self):
            """What was asked for before the sign-out brings a new ticket and a new policy."""
            self.world.desk.action("rotate_ticket", userid=USER)
            self.world.desk.action("set_policy", data={"rules": ["late"]}, office_data={})
            self.late(TICKET, 5)
            self.wait_until_asked(TICKET)
            self._sign_out()
            time.sleep(6)
            self.expect_signed_out()
            policy = self.world.user_state("NGNPolicy.archive")
            if os.path.exists(policy) and "late" in self.world.show_archive(policy):
                raise Failure("the policy was stored for somebody who had signed out")
            self._come_back()
            wait_for("the policy is stored for whom it is meant", lambda: "late" in self.world.show_archive(policy), 10)

        def policy_against_a_sign_out(self):
            """Everybody has one policy; it is stored for somebody all the same."""
            policy = self.world.user_state("NGNPolicy.archive")
            self.world.desk.action("set_policy", data={"rules": ["later"]}, office_data={})
            self.late(POLICY, 5)
            self.wait_until_asked(POLICY)
            self._sign_out()
            time.sleep(6)
            self.expect_signed_out()
            if "later" in self.world.show_archive(policy):
                raise Failure("the policy was stored for somebody who had signed out")
            self._come_back()
            wait_for("the policy is stored for whom it is meant", lambda: "later" in self.world.show_archive(policy), 10)

        def killed_while_signing_out(self):
            """The sign-out reaches the server, its answer does not reach the client."""
            self.late(SIGN_OUT, 5)
            self._choose("退出登录")
            time.sleep(1)
            self.client.kill()
            time.sleep(5)
            self.restart(SERVER_PAGE)
            time.sleep(4)
            self.expect_signed_out()
            if self._session_state() != "ended":
                raise Failure("the sign-out is forgotten")
            self._come_back()

        def password_changed_behind_a_closed_sheet(self):
            self.late(RESET, 4)
            self._choose("修改密码")
            for field, text in (("旧密码", self.password), ("新密码", NEW_PASSWORD), ("确认新密码", NEW_PASSWORD)):
                self.windows.fill("password text", field, text)
            self.windows.press("push button", "确认修改")
            time.sleep(1)
            self.desktop.press_keys("Escape")
            self.password = NEW_PASSWORD
            self._read_box("PasswordChanged", "the change is told although its sheet is closed", None)
            self.expect_signed_in()
            self._sign_out()
            self._come_back()
            self.expect_signed_in()

        def server_gone_and_back(self):
            self.world.server.stop()
            time.sleep(8)
            self.world.start_server(self.children)
            time.sleep(5)
            self.expect_signed_in()

        def record_written_by_the_agent(self):
            """Another process notes its state in the record while the server gives out new tickets."""
            end = time.monotonic() + 12
            writes = 0
            while time.monotonic() < end:
                printed = self.world.show_archive(self._record())
                if printed:
                    record = {**json.loads(printed), "ticket_state": writes % 2}
                    subprocess.run([self.world.program("mavctl"), "archive", "write", self._record()], input=json.dumps(record),
                                   env=self.world.environment, text=True, timeout=10, check=True)
                    writes += 1
                if writes % 4 == 0:
                    self.world.desk.action("rotate_ticket", userid=USER)
                time.sleep(0.2)
            time.sleep(7)
            self.expect_signed_in()
            self.say(f"{writes} writes of the agent")

        def second_copies(self):
            environment = {name: value for name, value in self.world.environment.items() if name != "DISPLAY"}
            for words, surroundings in ((["dbus-run-session", "--"], self.world.environment), ([], environment)):
                done = subprocess.run(words + [self.world.program("Mav")], env=surroundings, timeout=30, check=False,
                                      stdin=subprocess.DEVNULL, capture_output=True)
                if done.returncode != 1:
                    raise Failure(f"a second copy ended with {done.returncode}: {done.stderr.decode()[-400:]}")
            self.expect_signed_in()

        def quit_ten_times(self):
            for number in range(1, QUITS + 1):
                pid = wait_for("the VPN component runs", self._vpn, 60)
                self._choose("退出 Mav")
                status = self.client.wait(15)
                wait_for("the VPN component is stopped", lambda: not self._vpn(), 5)
                if status != 0 or os.path.exists(f"/proc/{pid}"):
                    raise Failure(f"quit {number}: status {status}, VPN component {pid} {'runs' if self._vpn() else 'ended'}")
                self.restart(SIGNED_IN)
            self.say(f"quit {QUITS} times, the VPN component was stopped each time")

        def tell(self):
            self.world.start_server(self.children)
            self.world.start_agent(self.children)
            self.step(self._first_start)
            self.step(self._save_address)
            self.client.kill()
            self.restart(SERVER_PAGE)
            for case in (self.killed_while_signing_in, self.quit_while_signing_in, self.record_that_cannot_be_written,
                         self.refused_ticket_against_a_new_sign_in, self.ticket_and_policy_against_a_sign_out,
                         self.policy_against_a_sign_out, self.killed_while_signing_out,
                         self.password_changed_behind_a_closed_sheet, self.server_gone_and_back,
                         self.record_written_by_the_agent, self.second_copies, self.quit_ten_times):
                self.step(case)
                self.say(f"holds: {case.__name__}")

    return Late


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", required=True, help="folder of the built programs")
    options = parser.parse_args()
    return tell(options.programs, LIMIT, lambda story, *stage: make_story(story)(*stage))


if __name__ == "__main__":
    sys.exit(main())
