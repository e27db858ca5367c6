#pragma once

#include "ArchiveValue.h"
#include "QenRootModel.h"

#include <QSet>

#include <optional>

/// Titles of the checks that the policy's "access" dictionary asks for; without one nothing is required.
using RequiredChecks = QSet<QString>;
RequiredChecks requiredChecks(const std::optional<Platform::ArchiveValue>& complianceInfo);

/// The check tree of a round.
struct CheckTree {
    std::vector<QenRootModelPointer> nodes;
    /// Included checks of the last category.
    qint64 needCheckCount = 0;
};

/// One node for each category of @p catalogue, with the required ones of its checks; entries of wrong types are passed
/// over.
CheckTree checkTree(const Platform::ArchiveValue& catalogue, const RequiredChecks& required);

/// The catalogue file, which may be a built-in resource; nothing when it is missing, too long or no property list of an
/// array.
std::optional<Platform::ArchiveValue> readCatalogue(const QString& path);
