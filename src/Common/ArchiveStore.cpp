#include "ArchiveStore.h"

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "PropertyListLimits.h"

#include <QFile>

#include <sys/stat.h>

#include <cerrno>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;
using Platform::Error;

namespace {

bool isThere(const QString& path) {
    struct stat status {};
    // What stands in the way of looking also stands in the way of writing, which then tells it.
    return lstat(QFile::encodeName(path).constData(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

} // namespace

Error archiveResultError() {
    return {u"NSKeyedArchiverError"_s, -10001, u"The archive result is failed."_s};
}

void archiveWithRootObject(
    const ArchiveValue& root, bool, const QString& path, const std::function<void(const Error&)>& completion) {
    const QByteArray bytes = Platform::KeyedArchiver::archivedData(root);
    if (bytes.isEmpty())
        completion(archiveResultError());
    else if (!isThere(path))
        completion(Error(Platform::CocoaErrorDomain, Error::NoSuchFile,
            u"“%1” couldn’t be removed."_s.arg(path.section(u'/', -1)), u"No such file or directory"_s));
    else
        // Not removed first: replacing it leaves no moment without a file.
        completion(Platform::replaceFile(path, bytes, Platform::Durability::Plain));
}

std::optional<ArchiveValue> unarchivedObjectWithFilePath(const QString& path, bool* mayPass) {
    return unarchiveObjectWithFile(path, {"NSString", "NSDictionary", "NSArray", "NSValue", "NSNull"}, mayPass);
}

bool archiveRootObject(const ArchiveValue& root, const QString& path, Platform::Durability durability) {
    const QByteArray bytes = Platform::KeyedArchiver::archivedData(root);
    return !bytes.isEmpty() && !Platform::replaceFile(path, bytes, durability);
}

std::optional<ArchiveValue> unarchiveObjectWithFile(
    const QString& path, const Platform::AllowedClasses& allowed, bool* mayPass) {
    const auto bytes = Platform::readFile(path, Platform::PropertyListLimits::FileSize, mayPass);
    return bytes ? Platform::KeyedUnarchiver::unarchivedObject(*bytes, allowed) : std::nullopt;
}
