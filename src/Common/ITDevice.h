#pragma once

#include "Files.h"
#include "Shared.h"

#include <QMap>
#include <QStringList>
#include <QVariantMap>

#include <array>
#include <functional>
#include <mutex>
#include <optional>

#include <unistd.h>

/// One network interface that carries a configured network, with the keys "MacAddress" (of the hardware: twelve
/// upper-case hexadecimal digits), "HardwarePort", "service", "Device", "ServiceID" and "ip".
using DeviceInterface = QMap<QString, QString>;
/// A hardware port: "HardwarePort", "Device", "MacAddress", "service" and, once asked for, "ip". Absent values are
/// absent keys.
using HardwarePort = QMap<QString, QString>;

/// The single source of facts about the computer.
///
/// Facts are read on demand, without privilege, from the files of the system below a root folder; a fact that cannot be
/// read is its stated fallback, never a failure and never a guess. Any thread may call. Nothing is read at
/// construction. Operations that run commands say so: they block the caller for up to the command's limit.
class ITDevice final {
public:
    /// Runs a command and gives its standard output; empty when it failed.
    using CommandRunner = std::function<QString(const QString& path, const QStringList& arguments)>;

    /// What is asked of the running system and not of files; whatever is left out is the real thing.
    struct Sources {
        /// By default TaskHelper's synchronous run.
        CommandRunner run = {};
        /// The interfaces that are up, loopback left out, with their first IPv4 addresses; "0.0.0.0" without one.
        std::function<QMap<QString, QString>()> listAddresses = {};
        /// The address that an interface was made with, with colons; by default the kernel's, beneath the real root
        /// only.
        std::function<QString(const QString& name)> permanentAddress = {};
        /// Who runs this process.
        uid_t user = ::getuid();
    };

    /// @param root  put before every file of the system that is read; empty for the real root
    explicit ITDevice(const QString& root = {});
    ITDevice(QString root, Sources sources);
    ITDevice(const ITDevice&) = delete;
    ITDevice& operator=(const ITDevice&) = delete;
    static ITDevice& currentDevice() { return Platform::Shared<ITDevice>::instance(); }

    /// Name and version of the operating system, "Mac OS X" for a missing name. Kept once read.
    QString osName();
    /// "unknow" when missing. Kept once read.
    QString osVersion();
    /// What osName() and osVersion() keep; null before.
    QString operationSystemName() const;
    QString systemVersion() const;

    /// Login name: of whoever runs this process, when that is a person (the first seat may be another one's meanwhile);
    /// else of who sits at the first seat, else of the process's user, else the last one who logged in (a command),
    /// else "unknow".
    QString userName() const;
    /// The computer's name for people; "unknow" when missing.
    QString machineName() const;
    /// Empty when the hardware does not tell.
    QString modelName() const;
    /// "MB" for a model that begins with "macbook" or "macmini" in any case, "MC" otherwise.
    QString machinePrefixName() const;
    /// Computer account in the directory domain, or the computer's name. Runs up to two commands.
    QString getADDomainName() const;

    /// The installation's identifier, 8-4-4-4-12 upper-case hexadecimal digits; kept once it is not empty.
    QString uuid();
    /// One text from the kernel's parameter tree, names with dots ("kernel.hostname"; "hw.model" is the model). Logs
    /// and gives "unkown name" on failure.
    QString systemInfoString(const QString& name) const;

    /// Interface name to interface; empty until getMacAndIPAddr() has run.
    QMap<QString, DeviceInterface> networkInfos() const;
    /// Lists the interfaces anew. The lists below call it once only: an address that changes later is not seen by them.
    void getMacAndIPAddr();
    /// What is known of an interface that carries a configured network, without its "ip"; empty for any other.
    DeviceInterface getNetworkMacAddress(const QString& name) const;
    /// Hardware and IPv4 addresses in the order of interface names; equal positions belong to one interface.
    struct Addresses {
        QStringList mac;
        QStringList ip;
    };
    Addresses addresses();
    QStringList macAddresses() { return addresses().mac; }
    QStringList ipArray() { return addresses().ip; }

    /// Two lists that nothing fills; they are part of the record.
    QStringList macAddresses_() const { return {}; }
    QStringList ips() const { return {}; }

    /// Last result of the two operations below.
    QList<HardwarePort> hardwareports() const;
    /// Runs two commands, then calls @p completion on this thread with what hardwareports() now gives.
    void listNetworkServices(const std::function<void(const QList<HardwarePort>&)>& completion);
    /// Adds the address to each port, "0.0.0.0" where there is none: one command a port. @returns what hardwareports()
    /// now gives
    QList<HardwarePort> getHardwareportsIP(QList<HardwarePort> ports);

    /// Serial numbers of board, memory modules and fixed disks; empty where the system shows them to root alone.
    QStringList boardSerialNums() const;
    QStringList memorySerialNums() const;
    QStringList hardDiskSerialNums() const;

    /// Executable of a process; empty when it cannot be told.
    QString pathFromPid(qint64 processIdentifier) const;
    /// Version of the application bundle that @p path lies in, else of the installed package that owns the file, else
    /// empty.
    QString getAppVersionWithPath(const QString& path) const;
    /// "signatureStatus" and "signingAuthorities". Programs are not signed one by one here, so the status is never 0:
    /// -67068 without such a file, -67062 ("not signed") otherwise; the one authority is the maintainer of the package
    /// that owns the file, or "unknown".
    QVariantMap getProcessSign(const QString& path) const;

private:
    struct Package {
        QString version;
        QString maintainer;
    };
    /// The installed package that owns a file; empty without one. Runs two commands.
    Package packageOwning(const QString& path) const;

    const QString m_root;
    const Sources m_sources;

    mutable std::mutex m_mutex;
    /// The name, and the two files that said it.
    mutable QString m_machineName;
    mutable std::array<Platform::FileIdentity, 2> m_nameFiles;
    QString m_operationSystemName;
    QString m_systemVersion;
    QString m_uuid;
    std::optional<QMap<QString, DeviceInterface>> m_networkInfos;
    QList<HardwarePort> m_hardwareports;
    /// Held while the ports are asked for their addresses, so that two rounds do not mix.
    std::mutex m_portRound;
};
