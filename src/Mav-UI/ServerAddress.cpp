#include "ServerAddress.h"

#include "ArchiveStore.h"
#include "FileManager.h"
#include "StringExtension.h"

ServerAddressFault checkServerAddress(const QString& address, const QString& port) {
    if (address.isEmpty() || !StringExtension::isValidatIP(address))
        return ServerAddressFault::Address;
    return StringExtension::isPureNumandCharacters(port) ? ServerAddressFault::None : ServerAddressFault::Port;
}

bool serverSheetAccepts(const QString& address, const QString& port) {
    // The address test lets a host name through; the sheet does not.
    return StringExtension::isPureNumandCharacters(port) && !address.isEmpty() && !StringExtension::isLetter(address) &&
           StringExtension::isValidatIP(address);
}

bool saveTypedServer(const QString& applicationSupport, const QString& address, const QString& port) {
    const QString folder = FileManager().createDirectoryWithName(QStringLiteral("QenCloudL"), applicationSupport);
    // The same pair twice, on purpose: that is the record's form. Nobody here reads it back.
    const auto pair = Platform::ArchiveValue(QStringList{address, port}).asOneInstance();
    return archiveRootObject(Platform::ArchiveValue(Platform::ArchiveValue::Array{pair, pair}),
                             folder + QStringLiteral("/domianorip.archive"));
}
