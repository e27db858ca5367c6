#include "ToolList.h"

#include "IntegerValue.h"

#include <algorithm>

namespace {

constexpr qint64 DefaultSerial = 100;

} // namespace

QList<ToolEntry> toolEntries(const QVariant& appMgrList) {
    QList<ToolEntry> entries;
    if (appMgrList.typeId() != QMetaType::QVariantList)
        return entries;
    for (const QVariant& item : appMgrList.toList()) {
        if (item.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap record = item.toMap();
        const QVariant serial = record.value(QStringLiteral("app_serialnum"));
        entries.append({record.value(QStringLiteral("appname")).toString(),
                        record.value(QStringLiteral("icon")).toString().section(u'.', 0, 0),
                        serial.isValid() ? integerValue(serial).value_or(0) : DefaultSerial});
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const ToolEntry& left, const ToolEntry& right) { return left.serial < right.serial; });
    return entries;
}
