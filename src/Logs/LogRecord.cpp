#include "LogRecord.h"

#include "ArchiveValue.h"
#include "Files.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

using namespace Qt::StringLiterals;

using Platform::ArchiveEntry;
using Platform::ArchiveValue;

namespace {

const QString NameKey = u"currentLogName"_s;
const QString InfoKey = u"info"_s;

constexpr mode_t FileMode = 0600;
/// How often a look is taken whether the two open files are still the ones in the folder.
constexpr unsigned TurnsBetweenLooks = 64;

} // namespace

std::optional<size_t> LogRecord::indexOf(const QString& name) {
    const auto it = std::find(FileNames.begin(), FileNames.end(), name);
    if (it == FileNames.end())
        return std::nullopt;
    return static_cast<size_t>(it - FileNames.begin());
}

size_t LogRecord::indexAfter(const QString& name) {
    const std::optional<size_t> index = indexOf(name);
    return index ? (*index + 1) % FileNames.size() : 0;
}

std::optional<LogRecord> decodedLogRecord(const QByteArray& bytes) {
    const auto root = Platform::KeyedUnarchiver::unarchivedObject(bytes, {"NSDictionary", "NSString", "NSNumber"});
    if (!root || !root->isDictionary() || root->dictionary().empty())
        return std::nullopt;
    LogRecord record;
    record.currentLogName = root->value(NameKey).string();
    const ArchiveValue& info = root->value(InfoKey);
    for (size_t i = 0; i < record.logInfos.size(); ++i) {
        const ArchiveValue& count = info.value(LogRecord::FileNames[i]);
        record.logInfos[i] = count.isNumber() ? std::max<qint64>(count.integer(), 0) : 0;
    }
    return record;
}

QByteArray encodedLogRecord(const LogRecord& record) {
    // The current name is the very string that is the key of its count, not an equal one.
    const ArchiveValue name = ArchiveValue(record.currentLogName).asOneInstance();
    ArchiveValue::Dictionary info;
    for (size_t i = 0; i < record.logInfos.size(); ++i) {
        const QString& key = LogRecord::FileNames[i];
        ArchiveEntry& entry = info.emplace_back(ArchiveEntry{key, record.logInfos[i]});
        if (key == record.currentLogName)
            entry.keyInstance = name.instance();
    }
    ArchiveValue root = ArchiveValue(ArchiveValue::Dictionary()).asMutable();
    root.insert(NameKey, name);
    root.insert(InfoKey, ArchiveValue(std::move(info)).asMutable());
    return Platform::KeyedArchiver::archivedData(root);
}

LogRecordFile::LogRecordFile(const QString& path)
    : m_path(path), m_folder(QFile::encodeName(QFileInfo(path).path())),
      m_name(QFile::encodeName(QFileInfo(path).fileName())), m_spareName(m_name + ".spare") {}

bool LogRecordFile::replace(QByteArrayView bytes) {
    if (m_folderDescriptor.isOpen() && ++m_turns % TurnsBetweenLooks == 0 && !sidesAreLinked())
        closeSides();
    // The second try is for files or a folder that were deleted since the last line.
    for (int tries = 0; tries < 2 && m_canExchange; ++tries) {
        if (!m_folderDescriptor.isOpen() && !openSides())
            break;
        if (exchange(bytes))
            return true;
        m_canExchange = errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP;
        if (m_canExchange && errno != ENOENT)
            return false;
        closeSides();
    }
    // An empty folder in its place would stay there for ever.
    rmdir(QFile::encodeName(m_path).constData());
    return !Platform::replaceFile(m_path, bytes.toByteArray(), Platform::Durability::Plain, FileMode);
}

bool LogRecordFile::exchange(QByteArrayView bytes) {
    const int spare = m_spare.descriptor.get();
    if (lseek(spare, 0, SEEK_SET) != 0 || !Platform::writeAll(spare, bytes) ||
        (m_spare.length > bytes.size() && ftruncate(spare, bytes.size()) != 0))
        return false;
    m_spare.length = bytes.size();
    const int folder = m_folderDescriptor.get();
    if (renameat2(folder, m_spareName.constData(), folder, m_name.constData(), RENAME_EXCHANGE) != 0)
        return false;
    std::swap(m_spare, m_record);
    return true;
}

bool LogRecordFile::openSides() {
    m_folderDescriptor = Platform::UniqueFd(open(m_folder.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (m_folderDescriptor.isOpen() && openSide(m_record, m_name) && openSide(m_spare, m_spareName))
        return true;
    closeSides();
    return false;
}

bool LogRecordFile::openSide(Side& side, const QByteArray& name) {
    // Non-blocking for the case that something else than a file has the name.
    constexpr int Flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    side.descriptor = Platform::UniqueFd(openat(m_folderDescriptor.get(), name.constData(), Flags, FileMode));
    struct stat facts {};
    if (fstat(side.descriptor.get(), &facts) != 0 || !S_ISREG(facts.st_mode))
        return false;
    side.length = facts.st_size;
    return true;
}

void LogRecordFile::closeSides() {
    m_record.descriptor.close();
    m_spare.descriptor.close();
    m_folderDescriptor.close();
}

bool LogRecordFile::sidesAreLinked() const {
    const auto isLinked = [](const Side& side) {
        struct stat facts {};
        return fstat(side.descriptor.get(), &facts) == 0 && facts.st_nlink > 0;
    };
    return isLinked(m_record) && isLinked(m_spare);
}
