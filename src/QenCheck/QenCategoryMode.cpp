#include "QenCategoryMode.h"

#include "IntegerValue.h"

using namespace Qt::StringLiterals;

std::optional<QenCategoryMode> QenCategoryMode::initWithDictionary(const QVariant& dictionary) {
    if (dictionary.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap fields = dictionary.toMap();
    const auto text = [&fields](const QString& key) {
        const QVariant value = fields.value(key);
        return value.typeId() == QMetaType::QString ? value.toString() : QString();
    };
    QenCategoryMode category;
    category.m_categoryType = text(u"categoryname"_s);
    category.m_serialNumber = integerValue(fields.value(u"category_serialnum"_s)).value_or(0);
    const QString application = text(u"appname"_s);
    if (!application.isNull())
        category.m_trustedAppList.append(application);
    return category;
}

void QenCategoryMode::addAppObj(const QString& name) {
    if (!m_trustedAppList.contains(name))
        m_trustedAppList.append(name);
}
