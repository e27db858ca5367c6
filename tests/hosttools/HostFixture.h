#pragma once

#include <QMap>
#include <QString>

/// The facts of a made-up machine in a folder, built from one line a thing:
///
///   disk NAME M:m      usbdisk NAME M:m      nvme NAME M:m      part NAME M:m DISK
///   mapped NAME M:m UUID MAPPEDNAME BELOW...   (UUID "-": none)
///   array NAME M:m BELOW...                loop NAME M:m FILE
///   below NAME OTHER                       btrfs ID NAME...        bcachefs ID NAME...
///   mount M:m POINT TYPE SOURCE [OPTIONS]
///   file PATH TEXT (\n, \t, \\ and \xHH mean what they do in C)    script PATH TEXT
///   link PATH TARGET    hidden PATH (for its owner alone)    huge PATH    unit NAME
class HostFixture {
public:
    explicit HostFixture(const QString& root) : m_root(root) {}
    /// @returns the first line that was not understood or failed, else null
    QString build(const QString& lines);
    bool write(const QString& path, const QByteArray& content, bool isProgram = false) const;
    bool link(const QString& path, const QString& target) const;

private:
    bool add(const QString& line);
    bool addDevice(const QString& kind, const QStringList& words);
    bool linkToDevice(const QString& path, const QString& name) const;

    QString m_root;
    /// Name to folder.
    QMap<QString, QString> m_devices;
    QByteArray m_mounts;
};
