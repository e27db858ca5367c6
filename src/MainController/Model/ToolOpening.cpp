#include "ToolOpening.h"

#include "WrappableText.h"

using namespace Qt::StringLiterals;

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
