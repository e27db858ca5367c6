#include "DeviceSerials.h"

#include "ArrayExtension.h"
#include "DeviceFiles.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace DeviceSerials {

namespace {

constexpr qsizetype MemorySerialOffset = 0x18;
constexpr qsizetype VitalPageHeader = 4;

QString diskSerial(const QString& root, const QString& folder) {
    for (const char16_t* file : {u"/device/serial", u"/serial"}) {
        const QString serial = DeviceFiles::line(folder + QString::fromUtf16(file));
        if (!serial.isEmpty())
            return serial;
    }
    // SATA and SCSI disks tell their vital product data, the serial number after the page's header.
    const QByteArray page = DeviceFiles::bytes(folder + u"/device/vpd_pg80"_s);
    const QString fromPage = QString::fromLatin1(page.mid(VitalPageHeader)).remove(QChar(0)).trimmed();
    if (!fromPage.isEmpty())
        return fromPage;
    const QString number = DeviceFiles::line(folder + u"/dev"_s);
    const auto record = DeviceFiles::variables(root + u"/run/udev/data/b"_s + number);
    return record.value(u"E:ID_SERIAL_SHORT"_s).trimmed();
}

} // namespace

QString firmwareString(const QByteArray& entry, qsizetype offset) {
    if (entry.size() < 2)
        return {};
    const qsizetype length = static_cast<unsigned char>(entry.at(1));
    if (offset >= length || length > entry.size())
        return {};
    const int index = static_cast<unsigned char>(entry.at(offset));
    const QStringList strings = ArrayExtension::stringArrayWithCFData(entry.mid(length));
    return index >= 1 && index <= strings.size() ? strings.at(index - 1).trimmed() : QString();
}

QStringList boards(const QString& root) {
    QByteArray serial = DeviceFiles::bytes(root + u"/sys/class/dmi/id/board_serial"_s).trimmed();
    if (!serial.isEmpty())
        serial.append('\0');
    return ArrayExtension::stringArrayWithCFData(serial);
}

QStringList memoryModules(const QString& root) {
    QStringList serials;
    const QDir entries(root + u"/sys/firmware/dmi/entries"_s);
    for (const QString& name : entries.entryList({u"17-*"_s}, QDir::Dirs, QDir::Name)) {
        const QByteArray entry = DeviceFiles::bytes(entries.filePath(name + u"/raw"_s));
        const QString serial = firmwareString(entry, MemorySerialOffset);
        if (!serial.isEmpty())
            serials.append(serial);
    }
    return serials;
}

QStringList fixedDisks(const QString& root) {
    QStringList serials;
    const QDir disks(root + u"/sys/block"_s);
    for (const QString& name : disks.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        const QString folder = disks.filePath(name);
        if (!QFileInfo::exists(folder + u"/device"_s) || DeviceFiles::line(folder + u"/removable"_s) == u"1")
            continue;
        const QString serial = diskSerial(root, folder);
        if (!serial.isEmpty())
            serials.append(serial);
    }
    return serials;
}

} // namespace DeviceSerials
