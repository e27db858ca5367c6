#include "ArchiveJson.h"
#include "Verb.h"

#include "Files.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"

#include <cstdio>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

/// Base64 and escapes make JSON longer than the archive that it gives.
constexpr size_t InputLimit = 8 * static_cast<size_t>(Platform::PropertyListLimits::FileSize);

std::optional<ArchiveValue> decoded(const QByteArray& bytes) {
    QString rootKey;
    if (auto root = Platform::KeyedUnarchiver::unarchivedObject(bytes, Platform::AllowedClasses::any(), &rootKey))
        return root;
    const auto list = Platform::PropertyList::decoded(bytes);
    // A damaged archive is not shown as the property list that it also is.
    return list && list->value(u"$archiver").isNothing() ? list : std::nullopt;
}

Exit show(const QString& path) {
    const auto bytes = Platform::readFile(path, Platform::PropertyListLimits::FileSize);
    if (!bytes)
        return fail(u"%1: cannot be read as a regular file of at most %2 bytes"_s.arg(path).arg(
            Platform::PropertyListLimits::FileSize));
    const auto root = decoded(*bytes);
    if (!root)
        return fail(u"%1: is neither a keyed archive nor a property list, or is damaged"_s.arg(path));
    const auto text = ArchiveJson::text(*root);
    return text ? print(QByteArray::fromStdString(*text))
                : fail(u"%1: repeats its texts so often that the JSON would be longer than any state file"_s.arg(path));
}

/// False when there is more than @p limit.
bool readStandardInput(std::string& text, size_t limit) {
    char buffer[65536];
    while (const size_t count = std::fread(buffer, 1, sizeof buffer, stdin)) {
        text.append(buffer, count);
        if (text.size() > limit)
            return false;
    }
    return std::ferror(stdin) == 0;
}

Exit write(const QString& path) {
    std::string text;
    if (!readStandardInput(text, InputLimit))
        return fail(u"standard input cannot be read or is longer than %1 bytes"_s.arg(InputLimit));
    QString reason;
    const auto root = ArchiveJson::value(text, reason);
    if (!root)
        return fail(reason);
    const QByteArray bytes = Platform::KeyedArchiver::archivedData(*root);
    if (bytes.isEmpty())
        return fail(u"the archive would be larger or deeper than one may be"_s);
    if (const Platform::Error error = Platform::replaceFile(path, bytes))
        return fail(u"%1: %2"_s.arg(path, error.localizedDescription()));
    return Exit::Ok;
}

} // namespace

Exit runArchive(const QStringList& arguments) {
    if (arguments.size() != 2)
        return Exit::Usage;
    if (arguments[0] == "show"_L1)
        return show(arguments[1]);
    return arguments[0] == "write"_L1 ? write(arguments[1]) : Exit::Usage;
}
