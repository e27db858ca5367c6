#include "CheckCatalogue.h"

#include "PropertyList.h"
#include "PropertyListLimits.h"

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

std::vector<QenCheckModelPointer> includedChecks(const ArchiveValue& entries, const RequiredChecks& required) {
    std::vector<QenCheckModelPointer> checks;
    for (const ArchiveValue& entry : entries.array()) {
        auto check = std::make_shared<QenCheckModel>();
        check->spreadDictToModel(entry);
        if (required.contains(check->title()))
            checks.push_back(std::move(check));
    }
    return checks;
}

} // namespace

RequiredChecks requiredChecks(const std::optional<ArchiveValue>& complianceInfo) {
    const ArchiveValue access = complianceInfo ? complianceInfo->value(u"access") : ArchiveValue();
    const auto text = [&access](QStringView key) { return access.value(key).string(); };
    RequiredChecks titles;
    if (text(u"is_disk_encrypt") == u"1")
        titles.insert(u"磁盘已加密"_s);
    if (text(u"firewall") == u"1")
        titles.insert(u"已开启主机防火墙"_s);
    if (!text(u"ent_domain").isEmpty())
        titles.insert(u"域检测"_s);
    if (!text(u"ent_qen").isEmpty())
        titles.insert(u"Qen安装检测"_s);
    return titles;
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
