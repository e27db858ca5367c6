"""Steps of the demo in the signed-in page: compliance, tools, trusted applications, password, log export."""

import json
import os
import subprocess
import zipfile

from processes import Failure, wait_for
from world import NEW_PASSWORD, PASSWORD

SIGNED_IN = "主页"
CHECKING, SAFE, ALL_GOOD = "正在检测", "电脑安全", "合规检测项全部正常"
LEVELS = {1: "轻度危险", 2: "轻度危险", 3: "中度危险", 4: "中度危险"}
TAB, BUTTON = "check box", "push button"
TOOLS_TAB, SAFETY_TAB = "应用", "安全"
RECHECK = "重新检测"
ROUND_LIMIT = 15  # seconds: four commands of three seconds, and the pause before the end
EXPORTED = "QenCloud export log success"
# The demo's agent and VPN component write no logs, and of an empty folder there is no archive.
ARCHIVES = {"MavUserLogs.zip", "MavCloud.zip"}


class OfficeSteps:
    """Part of the story: needs its world, windows, texts and log."""

    def _failed_checks(self):
        """What the terminal says of the same computer: number and titles of the checks that are not met."""
        done = subprocess.run([self.world.program("mavctl"), "check", "--json"], env=self.world.environment,
                              capture_output=True, timeout=60, check=False)
        checks = json.loads(done.stdout)["checks"]
        failed = [check["title"] for check in checks if check["result"] != "met"]
        if done.returncode != (1 if failed else 0):
            raise Failure(f"mavctl check ended with {done.returncode}: {checks}")
        return len(checks), failed

    def _look_at_compliance(self):
        count, failed = self._failed_checks()
        if not failed:
            self.windows.wait_for_text(SAFE, ROUND_LIMIT)
            self.say(f"compliance: {SAFE}, as mavctl check says", "compliance")
            return
        for text in (LEVELS[len(failed)], f"{count}项实时合规检测", f"发现{len(failed)}个问题"):
            self.windows.wait_for_text(text, ROUND_LIMIT)
        self.say(f"compliance: {LEVELS[len(failed)]}, {len(failed)} of {count} not met, as mavctl check says", "compliance")
        self.windows.press(BUTTON, f"{len(failed)}个问题待修复")
        self.windows.press(BUTTON, f"修复 {failed[0]}")
        self.windows.wait_for_text("帮助主题", 10)
        self.say(f"\"{failed[0]}\" is not met: its repair button opens the help", "compliance-help")
        self.desktop.press_keys("Escape")

    def _change_policy(self):
        """The agent's policy asks for nothing any more; the next round knows."""
        access = {"is_disk_encrypt": "0", "firewall": "0", "ent_domain": "", "ent_qen": ""}
        self.world.edit_agent(complianceInfo={"access": access})
        state = self.world.agent_state("complianceInfo.archive")
        wait_for("the agent wrote the policy", lambda: self.world.archive(state)["access"] == access, 10)
        self.windows.press(BUTTON, RECHECK)
        self.windows.press(TAB, SAFETY_TAB)
        for text in (SAFE, ALL_GOOD):
            self.windows.wait_for_text(text, ROUND_LIMIT)
        self.say(f"agent.json edited, checked again: \"{SAFE}\", \"{ALL_GOOD}\"", "compliance-safe")

    def _opened(self):
        """What the stand-in browser was asked to open."""
        path = self.world.path("opened")
        if not os.path.exists(path):
            return []
        with open(path, encoding="utf-8") as file:
            return file.read().splitlines()

    def _open_tools(self):
        self.windows.press(TAB, TOOLS_TAB)
        self.windows.find(BUTTON, "公司门户")
        self.say("the tools that agent.json assigns", "tools")
        self.windows.press(BUTTON, "公司门户")
        address = f"http://127.0.0.1:{self.world.port}/operator"
        wait_for("the browser opens the link", lambda: address in self._opened(), 10)
        self.windows.press(BUTTON, "视频会议")
        offer = '未安装应用【视频会议】，如需下载安装，请点击"下载"'
        self.windows.wait_for_text(offer, 10)
        self.say(f"a link opened: {address}; an application that is not there: {offer}", "tool-missing")
        self.windows.press(BUTTON, "下载")
        download = f"http://127.0.0.1:{self.world.port}/download/meeting"
        wait_for("the browser opens the download", lambda: download in self._opened(), 10)

    def _look_at_trusted_applications(self):
        self.windows.press(BUTTON, "可用应用")
        for text in ("办公软件", "开发工具"):
            self.windows.wait_for_text(text, 10)
        self.say("the trusted applications by category", "trusted-applications")
        self.desktop.press_keys("Escape")
        wait_for("the window is closed", lambda: "办公软件" not in self.windows.texts(), 5)

    def _change_password(self):
        self._choose("修改密码")
        for field, text in (("旧密码", PASSWORD), ("新密码", NEW_PASSWORD), ("确认新密码", NEW_PASSWORD)):
            self.windows.fill("password text", field, text)
        self.say("the password sheet, filled", "password")
        self.windows.press(BUTTON, "确认修改")
        self.windows.wait_until_gone("password text", "旧密码", 15)
        self.password = NEW_PASSWORD
        self.say("the password is changed; later sign-ins use the new one")

    def _export_logs(self):
        self._choose("导出日志")
        self.windows.find(BUTTON, "导出")
        self.say("the export sheet", "export")
        self.windows.press(BUTTON, "导出")
        folder = self.world.path("home", "Desktop", "MavLogs")
        self._wait_for_log(EXPORTED, 0, 30)
        found = sorted(os.listdir(folder))
        if not ARCHIVES.issubset(found):
            raise Failure(f"the export left {found}")
        for name in found:
            broken = zipfile.ZipFile(os.path.join(folder, name)).testzip()
            if broken:
                raise Failure(f"{name}: {broken} is broken")
        wait_for("the folder is shown", lambda: any("Desktop" in line for line in self._opened()), 10)
        self.say("logs exported: " + ", ".join(found))
