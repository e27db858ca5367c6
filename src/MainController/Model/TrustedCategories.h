#pragma once

#include "QenCategoryMode.h"

#include <QVariant>

#include <vector>

/// The trusted applications by category, in the order in which they come; an application counts once in its category.
/// Entries that are no dictionaries are passed over. Pure function.
std::vector<QenCategoryMode> trustedCategories(const QVariantList& trustedApps);

/// The same by serial number; equal numbers keep their order.
std::vector<QenCategoryMode> bySerialNumber(std::vector<QenCategoryMode> categories);
