#!/usr/bin/python3
"""Makes docs/gallery.md: every window of the client in its states, taken from the real program on a virtual display.

usage: scripts/demo/gallery.py --programs build/dev/bin [--pictures FOLDER] [--scale 1.5] [--screen 1366x768] [--font 15]
"""

import argparse
import json
import os
import plistlib
import subprocess
import sys
import time

from office import BUTTON, RECHECK
from processes import Failure, wait_for
from stage import tell
from world import PASSWORD, USER

DOCS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs")
LIMIT = 300  # seconds
ROUNDS = 5
MANY_TOOLS = [{"apptype": "hyperlink", "appname": name, "desturl": "127.0.0.1", "icon": icon} for name, icon in (
    ("公司门户", "portal"), ("在线文档", "document"), ("视频会议", "meeting"), ("企业邮箱", "mail"), ("日程", "calendar"),
    ("即时消息", "chat"), ("审批", "approval"), ("代码仓库", "code"), ("会议室预订", ""), ("Q&A", ""), ("差旅与费用报销申请和审批系统", ""),
    ("Wiki", ""))] + [{"apptype": "hyperlink", "appname": f"业务系统{number}", "desturl": "127.0.0.1"} for number in range(1, 25)]

LONG_WORD, LONG_NAME = "Donaudampfschifffahrtsgesellschaftskapitaensmuetze", "差旅与费用报销申请和审批系统（华东区域分公司专用版本）"
LONG_NAMES = [{"apptype": "hyperlink", "appname": name, "desturl": "127.0.0.1"} for name in (LONG_WORD, LONG_NAME, "A", LONG_WORD[:24])]
LONG_TRUSTED = [{"categoryname": category, "appname": name, "category_serialnum": 1}
                for category in (LONG_NAME, LONG_WORD * 2) for name in (LONG_NAME * 2, LONG_WORD * 2, "终端")]


# What the checks' commands answer. The domain takes its time, so that one can see a check that runs.
REASONS = {"disk": {"state": "off", "code": "disk.plain", "subject": "nvme0n1p2", "place": "/home"},
           "firewall": {"state": "unknown", "code": "service.missing"},
           "domain": {"state": "off", "code": "domain.none"}}
COMMANDS = {"fdesetup": "echo 'FileVault is Off.'", "defaults": "exit 1", "dsconfigad": "sleep 2.5",
            "mav-hosttools": 'case "$2" in\n' + "".join(
                f"{subject}) echo '{json.dumps(reason)}' ;;\n" for subject, reason in REASONS.items()) + "esac"}


def write_computer(world):
    """A computer whose commands answer as told: those of its own would make other pictures on every computer."""
    contents = world.path("root", "Applications", "Mav", "Mav.app", "Contents")
    os.makedirs(os.path.join(contents, "Tools"))
    with open(os.path.join(contents, "Info.plist"), "wb") as file:
        plistlib.dump({"CFBundleVersion": "1.0.0", "CFBundleShortVersionString": "1.0.0"}, file)
    for name, lines in COMMANDS.items():
        path = os.path.join(contents, "Tools", name)
        with open(path, "w", encoding="utf-8") as script:
            script.write("#!/bin/sh\n" + lines + "\n")
        os.chmod(path, 0o755)


def make_gallery(story_class):
    class Gallery(story_class):
        """The story again, told by its pictures."""

        def __init__(self, world, children, desktop, pictures_folder):
            super().__init__(world, children, desktop)
            self.folder = pictures_folder
            self.shown = []

        def say(self, text, picture=None):
            print(text, flush=True)

        def show(self, name, caption, pause=0.4):
            """Takes a picture of what stands on the black display, and of nothing else."""
            time.sleep(pause)
            raw = self.world.path("shots", name + ".png")
            self.desktop.take_picture(raw)
            subprocess.run(["convert", raw, "-bordercolor", "black", "-border", "1", "-trim", "+repage", "-strip",
                            os.path.join(self.folder, name + ".png")], check=True)
            self.shown.append((name, caption))
            print(f"{name}: {caption}", flush=True)

        def confirm(self):
            self.windows.press("push button", self.texts["Confirm"])
            self.windows.wait_until_gone("push button", self.texts["Confirm"])

        def close_window(self, text):
            self.desktop.press_keys("Escape")
            wait_for(f"\"{text}\" is closed", lambda: text not in self.windows.texts(), 5)

        def before_sign_in(self):
            self._first_start()
            self.show("server", "The server page")
            self._submit_address("server.example.org", self.world.port)
            self.windows.wait_for_text(self.texts["IPOrDomainNameNonconformance"], 10)
            self.show("server-refused-box", "An address that is none")
            self.confirm()
            self.show("server-refused", "The field says so until the next try")
            self._submit_address("127.0.0.1", 9)
            self.windows.wait_for_text(self.texts["ConnectServerFailed"], 15)
            self.confirm()
            self.show("server-unreachable", "No server there")
            self._save_address()
            self.show("login", "The login page")
            self._submit_account("no such password")
            self.windows.wait_for_text(self.texts["AccountOrPwdError"], 10)
            self.show("login-wrong", "A wrong password")
            self.confirm()
            self.windows.fill("password text", "密码", "")
            self.windows.press("push button", self.texts["Login"])
            self.windows.wait_for_text(self.texts["PwdNotEmpty"], 10)
            self.confirm()
            self.show("login-refused", "A field that was left empty")
            self.world.desk.spoil("/api/public/clientlogin/account_login", "errorcode", ret=1, errorcode=1, msg="服务器维护中。" * 430)
            self._submit_account(PASSWORD)
            self.windows.find("push button", self.texts["Confirm"])
            self.show("alert-long", "A server that says a great deal")
            self.confirm()
            self.windows.press("push button", "忘记密码")
            self.windows.wait_for_text("找回密码", 5)
            self.show("retrieval", "A forgotten password, by mail")
            self.windows.fill("text", "账号", USER)
            self.windows.press("push button", "发送邮件")
            wait_for("the mail is sent", lambda: any("@example.org" in text for text in self.windows.texts()), 10)
            self.show("retrieval-sent", "The mail is on its way")
            self.windows.press("push button", "返回登录")
            self.world.desk.action("require_password_change", userid=USER)
            self._submit_account(PASSWORD)
            self.windows.wait_for_text("设置新密码", 10)
            self.show("reset", "The server demands a new password")
            self.world.desk.action("require_password_change", userid=USER, on=False)
            self.windows.press("push button", "返回登录")

        def login_window(self):
            self.windows.press("push button", "扫码登录")
            self.windows.wait_for_text("本机信息", 10)
            self.show("login-window-code", "The login window: code and this computer's facts", 2)
            self.world.edit_agent(userlogin={"double_factor_auth": "1", "qrcode_login": 1, "pc_account_login": 1})
            time.sleep(4)
            self.close_window("本机信息")
            self.windows.press("push button", "扫码登录")
            self.windows.press("check box", "账号登录")
            self.show("login-window-account", "The same, with account and one-time code")
            self.windows.fill_in_front("text", "账号", USER)
            self.windows.fill_in_front("password text", "密码", PASSWORD)
            self.windows.press_in_front("push button", self.texts["Login"])
            self.windows.wait_for_text("OTP不能为空", 5)
            self.show("login-window-refused", "The code was left out")
            self.close_window("本机信息")

        def signed_in(self):
            self._sign_in()
            self.show("compliance-checking", "Signed in: the checks run", 0.1)
            self.windows.wait_for_text("发现2个问题", 15)
            self.show("compliance-problems", "Two checks are not met")
            self.windows.press("push button", "2个问题待修复")
            self.show("compliance-details", "The details")
            self.windows.press("push button", "修复 磁盘已加密")
            self.windows.wait_for_text("帮助主题", 10)
            self.show("help", "What to do about it")
            self.close_window("帮助主题")
            self.ask_for_every_check()
            self.world.edit_agent(joindomainSwitchStatus="1", inacSSIDInfo={"auth_method": "1"})
            self.windows.press("check box", "安全")
            wait_for("the join-domain button shows", lambda: self.windows.shows("push button", "加入域"), 15)
            self.show("compliance-join-domain", "The administrator offers to join the domain")
            self.world.edit_agent(joindomainSwitchStatus="0")
            self._change_policy()
            self.show("compliance-safe", "Everything that is asked for is met")

        def ask_for_every_check(self):
            access = {"is_disk_encrypt": "1", "firewall": "1", "ent_domain": "corp.example", "ent_qen": "2.0"}
            self.world.edit_agent(complianceInfo={"access": access})
            state = self.world.agent_state("complianceInfo.archive")
            wait_for("the agent wrote the policy", lambda: self.world.archive(state)["access"] == access, 10)
            self.until_one_still_runs()
            self.show("compliance-outcomes", "Failed, not known, met, and one that still runs; each says why", 0)
            self.windows.wait_for_text("发现3个问题", 15)
            self.show("compliance-reasons", "The same when all have ended")

        def until_one_still_runs(self):
            """On a busy computer a round may be over before it is looked at."""
            for _ in range(ROUNDS):
                self.windows.press(BUTTON, RECHECK, 15)
                try:
                    wait_for("one check runs, another is met",
                             lambda: {"正常", "检测中"} <= set(self.windows.texts()), 5, 0.05)
                    return
                except Failure as failure:
                    missed = failure
            raise missed

        def applications(self):
            self.windows.press("check box", "应用")
            self.windows.find("push button", "公司门户")
            self.show("tools", "The office tools")
            self.windows.press("push button", "视频会议")
            self.windows.wait_for_text("提醒", 10)
            self.show("tool-missing", "One that is not installed")
            self.windows.press("push button", "取消")
            self.windows.press("push button", "可用应用")
            self.windows.wait_for_text("办公软件", 10)
            self.show("trusted", "The trusted applications")
            self.close_window("办公软件")
            self.world.edit_agent(appmgrlist=MANY_TOOLS)
            self.windows.fill("text", "搜索办公工具", "")
            self.show("tools-many", "From 24 tools on they can be searched")
            self.windows.fill("text", "搜索办公工具", "hy")
            self.show("tools-found", "Found by the initials of its sounds")
            self.world.edit_agent(appmgrlist=[], ngncloudlist={"trustedapp": []})
            self.windows.wait_for_text("当前用户暂无办公工具清单，请等待管理员配置！", 15)
            self.show("tools-empty", "No tools are assigned")
            self.windows.press("push button", "可用应用")
            self.windows.wait_for_text("暂无可用应用，请等待管理员配置！", 10)
            self.show("trusted-empty", "No application is trusted")
            self.close_window("暂无可用应用，请等待管理员配置！")

        def menu(self):
            self.windows.press("push button", "菜单")
            self.windows.find("menu item", "修改密码")
            self.show("menu", "The application menu")
            self.desktop.press_keys("Escape")
            self._choose("修改密码")
            self.windows.fill("password text", "新密码", "short")
            for _ in range(2):  # past the eye of the old password, to where the rule is told
                self.desktop.press_keys("Tab")
            self.show("password", "Changing the password")
            self.windows.press("push button", "取消")
            self._choose("导出日志")
            self.windows.find("push button", "导出")
            self.show("export", "Exporting the logs")
            self.windows.press("push button", "取消")
            self._choose("服务器设置")
            self.windows.find("push button", "保存")
            self.show("server-sheet", "Another server")
            self.windows.press("push button", "取消")
            self._choose("关于 Mav")
            self.show("about", "About", 1)
            self.desktop.press_keys("Escape")
            self.windows.press("push button", "登录与设备信息")
            self.windows.wait_for_text("本机信息", 10)
            self.show("login-window-signed-in", "The login window while somebody is signed in")
            self.close_window("本机信息")

        def long_names(self):
            """Whatever others may have typed; nothing is cut without a way to read it."""
            subprocess.run(["convert", "-size", "900x56", "gradient:blue-red", self.world.agent_state("c_qen_mark@2x.png")], check=True)
            self.world.desk.action("set_username", userid=USER, username=LONG_NAME)
            self.world.edit_agent(tips=LONG_NAME * 4, appmgrlist=LONG_NAMES, ngncloudlist={"trustedapp": LONG_TRUSTED})
            self._choose("退出登录")
            self._come_back()
            self.desktop.press_keys("Escape")  # a menu that is still open
            self.windows.press("check box", "安全")
            self.show("long-names", "Long names of an organisation and of a person", 4)
            self.windows.press("check box", "应用")
            self.windows.find("push button", LONG_NAME)
            self.show("tools-long", "Long names of tools")
            self.windows.press("push button", "可用应用")
            self.windows.find("list item", LONG_NAME)
            self.show("trusted-long", "Long names of applications")
            self.close_window("管理员允许您使用的应用")
            self.windows.press("push button", "登录与设备信息")
            self.windows.wait_for_text("本机信息", 10)
            self.show("login-window-long", "A long name in the login window")
            self.close_window("本机信息")

        def write_page(self):
            if not self.folder.startswith(DOCS):
                return
            lines = ["# Gallery", "", "Every window in its states, made from the real program by `scripts/demo/gallery.py`. Its options",
                     "`--scale`, `--screen` and `--font` show the same on other screens and with a larger font of the desktop.", ""]
            for name, caption in self.shown:
                lines += [f"## {caption}", "", f"![{caption}](images/gallery/{name}.png)", ""]
            with open(os.path.join(DOCS, "gallery.md"), "w", encoding="utf-8") as page:
                page.write("\n".join(lines))

        def tell(self):
            write_computer(self.world)
            self.world.start_server(self.children)
            self.world.start_agent(self.children)
            for chapter in (self.before_sign_in, self.login_window, self.signed_in, self.applications, self.menu, self.long_names):
                self.step(chapter)
            self.write_page()

    return Gallery


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", required=True, help="folder of the built programs")
    parser.add_argument("--scale", type=float, default=1, help="draws everything that many times as large")
    parser.add_argument("--screen", default="1280x900", help="its size, before the scale")
    parser.add_argument("--font", type=int, default=0, help="points of the desktop's font; most desktops begin with 10")
    parser.add_argument("--pictures", default=os.path.join(DOCS, "images", "gallery"), help="where they go instead of docs/")
    options = parser.parse_args()
    os.makedirs(options.pictures, exist_ok=True)
    return tell(options.programs, LIMIT, lambda story, *stage: make_gallery(story)(*stage, options.pictures),
                scale=options.scale, screen=tuple(map(int, options.screen.split("x"))), font=options.font)


if __name__ == "__main__":
    sys.exit(main())
