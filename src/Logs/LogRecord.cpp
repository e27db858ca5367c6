#include "LogRecord.h"

#include "ArchiveValue.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Platform::ArchiveEntry;
using Platform::ArchiveValue;

namespace {

const QString NameKey = u"currentLogName"_s;
const QString InfoKey = u"info"_s;

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
