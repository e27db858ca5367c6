#include "ITDevice.h"

#include "ArrayExtension.h"
#include "Facts.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype MemorySerialOffset = 0x18;
constexpr qsizetype VitalPageHeader = 4;

QString diskSerial(const Facts& facts, const QString& folder) {
    for (const char16_t* file : {u"/device/serial", u"/serial"}) {
        const QString serial = facts.line(folder + QString::fromUtf16(file));
        if (!serial.isEmpty())
            return serial;
    }
    // SATA and SCSI disks tell their vital product data, the serial number after the page's header.
    const QByteArray page = facts.text(folder + u"/device/vpd_pg80"_s).bytes;
    const QString fromPage = QString::fromLatin1(page.mid(VitalPageHeader)).remove(QChar(0)).trimmed();
    if (!fromPage.isEmpty())
        return fromPage;
    const auto record = facts.variables(u"/run/udev/data/b"_s + facts.line(folder + u"/dev"_s));
    return record.value(u"E:ID_SERIAL_SHORT"_s).trimmed();
}

/// The string that the byte at @p offset of a firmware table entry points to; empty when there is none.
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

} // namespace

QStringList ITDevice::boardSerialNums() const {
    QByteArray serial = Facts(m_root).text(u"/sys/class/dmi/id/board_serial"_s).bytes.trimmed();
    if (!serial.isEmpty())
        serial.append('\0');
    return ArrayExtension::stringArrayWithCFData(serial);
}

QStringList ITDevice::memorySerialNums() const {
    QStringList serials;
    const Facts facts(m_root);
    const QString entries = u"/sys/firmware/dmi/entries/"_s;
    for (const QString& name : facts.names(entries)) {
        const QByteArray entry = facts.text(entries + name + u"/raw"_s).bytes;
        const QString serial = name.startsWith(u"17-") ? firmwareString(entry, MemorySerialOffset) : QString();
        if (!serial.isEmpty())
            serials.append(serial);
    }
    return serials;
}

QStringList ITDevice::hardDiskSerialNums() const {
    QStringList serials;
    const Facts facts(m_root);
    for (const QString& name : facts.names(u"/sys/block"_s)) {
        const QString folder = u"/sys/block/"_s + name;
        if (!facts.exists(folder + u"/device"_s) || facts.line(folder + u"/removable"_s) == u"1")
            continue;
        const QString serial = diskSerial(facts, folder);
        if (!serial.isEmpty())
            serials.append(serial);
    }
    return serials;
}
