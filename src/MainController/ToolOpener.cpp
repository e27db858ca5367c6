#include "ToolOpener.h"

#include "CustomMessageBox.h"
#include "Queue.h"
#include "SystemLog.h"
#include "Workspace.h"
#include "WrappableText.h"

#include <QPointer>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

const QString SheetTitle = u"提醒"_s;
constexpr int FirstButton = 1;

} // namespace

bool isHyperlink(const QenToolModel& tool) {
    return tool.appType == u"hyperlink";
}

ToolOpening toolOpening(const QenToolModel& tool, bool isInstalled) {
    using Action = ToolOpening::Action;
    if (isHyperlink(tool)) {
        // The four letters anywhere in the address are enough, on purpose.
        const bool isWhole = tool.desUrl.contains(u"http");
        return {Action::OpenLink, isWhole ? tool.desUrl : u"https://"_s + tool.desUrl, {}, {}};
    }
    if (isInstalled)
        return {Action::Launch, {}, tool.procName, {}};
    if (!tool.downloadUrl.isEmpty())
        return {Action::OfferDownload, tool.downloadUrl, {},
            u"未安装应用【%1】，如需下载安装，请点击\"下载\""_s.arg(shortened(tool.appName))};
    return {Action::TellMissing, {}, {}, u"未安装应用【%1】，请自行下载安装该软件"_s.arg(shortened(tool.appName))};
}

ToolOpener::ToolOpener(Platform::Workspace& workspace, std::chrono::milliseconds startTime)
    : m_workspace(workspace), m_startTime(startTime) {}

void ToolOpener::open(const QenToolModel& tool, QWidget* window) {
    const QString started = isHyperlink(tool) ? tool.desUrl : tool.procName;
    if (m_starting.contains(started))
        return;
    m_starting.insert(started);
    Platform::globalQueue().async(
        [this, &workspace = m_workspace, tool, started, self = QPointer(this), over = QPointer(window)] {
            const bool isInstalled = !isHyperlink(tool) && workspace.isInstalled(tool.procName);
            Platform::mainQueue().async([this, self, over, started, opening = toolOpening(tool, isInstalled)] {
                if (!self)
                    return;
                if (over)
                    carryOut(opening, over);
                // A sheet keeps the window from being pressed; a program or a browser takes its time to show itself.
                const bool starts = opening.message.isEmpty();
                QTimer::singleShot(starts ? m_startTime : std::chrono::milliseconds(0), this,
                    [this, started] { m_starting.remove(started); });
            });
        });
}

void ToolOpener::carryOut(const ToolOpening& opening, QWidget* window) {
    using Action = ToolOpening::Action;
    if (opening.action == Action::OpenLink)
        m_workspace.openUrl(opening.url);
    if (opening.action == Action::Launch)
        openApplication(opening.application);
    if (!opening.message.isEmpty())
        showSheet(opening, window);
}

void ToolOpener::showSheet(const ToolOpening& opening, QWidget* window) {
    const bool offers = opening.action == ToolOpening::Action::OfferDownload;
    auto* sheet = new CustomMessageBox(window);
    sheet->setWindowModality(Qt::WindowModal);
    sheet->setTitle(SheetTitle, opening.message, CustomMessageBox::BoxStyle::Information,
        offers ? u"下载"_s : u"确定"_s, offers ? u"取消"_s : QString());
    connect(sheet, &QDialog::finished, this, [&workspace = m_workspace, offers, url = opening.url](int button) {
        if (button != FirstButton)
            return;
        if (offers)
            workspace.openUrl(url);
        else
            Platform::systemLog(u"(returnCode == NSOKButton)"_s);
    });
    sheet->attach();
}

void ToolOpener::openApplication(const QString& path) {
    m_workspace.launchApplication(path);
}
