#include "CheckCatalogue.h"

#include "PropertyList.h"
#include "PropertyListLimits.h"

#include <QFile>
#include <QFileInfo>

using Platform::ArchiveValue;

namespace {

bool isIncluded(const QString& title, const RequiredChecks& required) {
    return (required.disk && title == u"磁盘已加密") || (required.firewall && title == u"已开启主机防火墙") ||
        (required.version && title == u"Qen安装检测") || (required.domain && title == u"域检测");
}

std::vector<QenCheckModelPointer> includedChecks(const ArchiveValue& entries, const RequiredChecks& required) {
    std::vector<QenCheckModelPointer> checks;
    for (const ArchiveValue& entry : entries.array()) {
        auto check = std::make_shared<QenCheckModel>();
        check->spreadDictToModel(entry);
        if (isIncluded(check->title(), required))
            checks.push_back(std::move(check));
    }
    return checks;
}

} // namespace

RequiredChecks requiredChecks(const std::optional<ArchiveValue>& complianceInfo) {
    const ArchiveValue access = complianceInfo ? complianceInfo->value(u"access") : ArchiveValue();
    const auto text = [&access](QStringView key) { return access.value(key).string(); };
    return {text(u"is_disk_encrypt") == u"1", text(u"firewall") == u"1", !text(u"ent_domain").isEmpty(),
        !text(u"ent_qen").isEmpty()};
}

CheckTree checkTree(const ArchiveValue& catalogue, const RequiredChecks& required) {
    CheckTree tree;
    for (const ArchiveValue& element : catalogue.array()) {
        if (!element.isDictionary())
            continue;
        // Counted anew for every category on purpose: in the end it is the last category's count.
        tree.needCheckCount = 0;
        if (element.dictionary().empty())
            continue;
        const Platform::ArchiveEntry& category = element.dictionary().front();
        auto checks = includedChecks(category.value, required);
        tree.needCheckCount = static_cast<qint64>(checks.size());
        tree.nodes.push_back(std::make_shared<QenRootModel>(category.key, std::move(checks)));
    }
    return tree;
}

std::optional<ArchiveValue> readCatalogue(const QString& path) {
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) ||
        file.size() > Platform::PropertyListLimits::FileSize)
        return std::nullopt;
    auto catalogue = Platform::PropertyList::decoded(file.readAll());
    return catalogue && catalogue->isArray() ? catalogue : std::nullopt;
}
