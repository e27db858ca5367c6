#pragma once

#include "AllowedClasses.h"
#include "ArchiveValue.h"
#include "Error.h"
#include "Files.h"

#include <functional>
#include <optional>

/// State files: one keyed archive with one root object each, read and written whole.
///
/// All of these run on the caller's thread, from any thread. A writer replaces its file in one step, so that a reader
/// sees the old or the new one; files are readable by their user alone. A reader gets nothing from a file that is
/// missing, no regular file, longer than 8 MiB or no archive of what is allowed: to it the setting is absent.

/// The failure of an archive that could not be made: domain "NSKeyedArchiverError", code -10001.
Platform::Error archiveResultError();

/// Replaces the archive at @p path. Calls @p completion once before it returns, without an error on success.
///
/// Deliberately not for a file that does not exist yet: that ends in the no-such-file error, and nothing is written.
/// @param secureCoding  carried for the callers' sake: every class of ours supports it, and the bytes are the same
void archiveWithRootObject(const Platform::ArchiveValue& root, bool secureCoding, const QString& path,
    const std::function<void(const Platform::Error&)>& completion);

/// The root object when it consists of strings, dictionaries, arrays, numbers and null only.
std::optional<Platform::ArchiveValue> unarchivedObjectWithFilePath(const QString& path, bool* mayPass = nullptr);

/// Writes the archive @p path, which need not exist. False on any failure; then an existing file is untouched,
/// unless only the syncing of its folder failed.
bool archiveRootObject(const Platform::ArchiveValue& root, const QString& path,
    Platform::Durability durability = Platform::Durability::Plain);

/// The root object when it consists of objects of allowed classes; by default of any.
std::optional<Platform::ArchiveValue> unarchiveObjectWithFile(const QString& path,
    const Platform::AllowedClasses& allowed = Platform::AllowedClasses::any(), bool* mayPass = nullptr);
