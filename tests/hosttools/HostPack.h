#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// The programs of the pack elsewhere than where they were built, run as a user without any privilege.
class HostPack {
public:
    struct Result {
        QString output;
        QString error;
        /// -1 for one that did not end by itself.
        int status = -1;
    };

    HostPack();
    bool isGood() const { return m_isGood; }
    QString filePath(const QString& name) const { return m_folder.filePath(name); }
    /// The event loop runs meanwhile: services may be the test's.
    Result run(const QString& root, const QStringList& command) const;
    /// An answer that ends in a line end, or is empty, is all of the output; any other is a part of the one line of
    /// error.
    static void check(const Result& result, const QString& answer);
    /// For the user that the pack runs as.
    static void makeReadable(const QString& path);

private:
    QTemporaryDir m_folder;
    bool m_isGood = false;
};

/// One machine of machines/machines.txt.
struct Machine {
    QString name;
    /// "disk", "firewall" or "domain".
    QString question;
    /// "on" or "off".
    QString truth;
    /// "on", "off" or "unknown".
    QString answer;
    QString code;
    QString subject;
    /// For HostFixture.
    QString facts;
};
/// Empty when the file has a line that is not understood, which is then in @p wrong.
QList<Machine> readMachines(const QString& path, QString* wrong);
