#include "TrustedCategories.h"

#include "ArrayExtension.h"

#include <algorithm>

std::vector<QenCategoryMode> trustedCategories(const QVariantList& trustedApps) {
    std::vector<QenCategoryMode> categories;
    for (const QVariant& entry : trustedApps) {
        const auto category = QenCategoryMode::initWithDictionary(entry);
        if (!category)
            continue;
        if (!ArrayExtension::isContainsObject(categories, category->categoryType())) {
            categories.push_back(*category);
            continue;
        }
        const auto position = ArrayExtension::ObjectPositionToArray(categories, category->categoryType());
        for (const QString& name : category->trustedAppList())
            categories[static_cast<size_t>(position)].addAppObj(name);
    }
    return categories;
}

std::vector<QenCategoryMode> bySerialNumber(std::vector<QenCategoryMode> categories) {
    std::stable_sort(
        categories.begin(), categories.end(), [](const QenCategoryMode& left, const QenCategoryMode& right) {
            return left.category_serialnum() < right.category_serialnum();
        });
    return categories;
}
