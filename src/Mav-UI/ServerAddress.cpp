#include "ServerAddress.h"

#include "ArchiveStore.h"
#include "FileManager.h"
#include "StateFiles.h"
#include "StringExtension.h"

using namespace Qt::StringLiterals;

namespace {

/// The address test alone would let a host name through.
bool isIPv4Address(const QString& address) {
    return !StringExtension::isLetter(address) && StringExtension::isValidatIP(address);
}

} // namespace

ServerAddressFault checkServerAddress(const QString& address, const QString& port) {
    if (!isIPv4Address(address))
        return ServerAddressFault::Address;
    return StringExtension::isPureNumandCharacters(port) ? ServerAddressFault::None : ServerAddressFault::Port;
}

bool saveTypedServer(const QString& applicationSupport, const QString& address, const QString& port) {
    const QString folder = FileManager().createDirectoryWithName(StateFiles::UserFolder, applicationSupport);
    // The same pair twice and the name spelled so, both on purpose: that is the record's form. Nobody here reads it.
    const auto pair = Platform::ArchiveValue(QStringList{address, port}).asOneInstance();
    return archiveRootObject(Platform::ArchiveValue(Platform::ArchiveValue::Array{pair, pair}).asMutable(),
        folder + u'/' + StateFiles::ServerAddress);
}
