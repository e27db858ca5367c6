#include "ToolOpener.h"

#include "CustomMessageBox.h"
#include "Queue.h"
#include "SystemLog.h"
#include "ToolOpening.h"
#include "Workspace.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

const QString SheetTitle = u"提醒"_s;
constexpr int FirstButton = 1;

} // namespace

void ToolOpener::open(const QenToolModel& tool, QWidget* window) {
    if (isHyperlink(tool)) {
        carryOut(toolOpening(tool, false), window);
        return;
    }
    Platform::globalQueue().async(
        [this, &workspace = m_workspace, tool, self = QPointer(this), over = QPointer(window)] {
            Platform::mainQueue().async(
                [this, self, over, opening = toolOpening(tool, workspace.isInstalled(tool.procName))] {
                    if (self && over)
                        carryOut(opening, over);
                });
        });
}

void ToolOpener::carryOut(const ToolOpening& opening, QWidget* window) {
    using Action = ToolOpening::Action;
    if (opening.action == Action::OpenLink)
        m_workspace.openUrl(opening.url);
    if (opening.action == Action::Launch)
        openApplication(opening.application);
    if (opening.message.isEmpty())
        return;
    const bool offers = opening.action == Action::OfferDownload;
    auto* sheet = new CustomMessageBox(window);
    sheet->setWindowModality(Qt::WindowModal);
    sheet->setTitle(SheetTitle, opening.message, CustomMessageBox::BoxStyle::Information,
        offers ? u"下载"_s : u"确定"_s, offers ? u"取消"_s : QString());
    sheet->setCompletion([&workspace = m_workspace, offers, url = opening.url](int button) {
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
