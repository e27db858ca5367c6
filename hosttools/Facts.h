#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

/// The machine's own files below a root folder. Every path that goes in or comes out is one of that root, and so is the
/// target of every link.
///
/// Reading is bounded and never waits: no pipes or devices, at most the stated number of bytes, and nothing at all of a
/// file that has more.
class Facts final {
public:
    enum class State {
        Read,
        Missing,
        Denied,   ///< there, and for others only
        Unusable, ///< too large, no regular file, or failing while read
    };
    struct Text {
        State state = State::Missing;
        QByteArray bytes;
    };

    static constexpr qsizetype Limit = 1 << 20;
    static constexpr int MostNames = 4096;

    /// @param root  empty for the running system
    explicit Facts(const QString& root);

    const QString& root() const { return m_root; }
    Text text(const QString& path, qsizetype limit = Limit) const;
    /// The last @p count bytes, or all of a shorter file, from a multiple of @p unit on.
    QByteArray tail(const QString& path, qsizetype count, qsizetype unit) const;
    /// First line without surrounding white space; empty when it cannot be read.
    QString line(const QString& path) const;
    /// Something of that name stands there, be it a link that leads nowhere.
    bool exists(const QString& path) const;
    /// "KEY=value" lines of a file as the shell would take them: quotes and backslashes undone, other lines left out.
    QMap<QString, QString> variables(const QString& path) const;
    /// Names in a folder, sorted.
    QStringList names(const QString& path) const;
    /// @p path with every link followed; empty when it does not exist or leads out of the root.
    QString resolved(const QString& path) const;
    /// Whether the service manager holds the service @p name for started, be it a process or a job that is done.
    bool serviceIsActive(const QString& name) const;
    /// Whether services that are at work show at all.
    bool servicesShow() const;
    /// Whether the kernel has the module loaded or built in; nothing where it does not list them.
    std::optional<bool> kernelHas(const QByteArray& module) const;

private:
    int openBelow(const QString& path, int flags) const;
    int openRegular(const QString& path) const;

    QString m_root;
};
