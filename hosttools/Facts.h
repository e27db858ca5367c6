#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// The machine's own files below a root folder. Every path that goes in or comes out is one of that root.
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
    /// Names in a folder, sorted.
    QStringList names(const QString& path) const;
    /// @p path with every link followed; empty when it does not exist or leads out of the root.
    QString resolved(const QString& path) const;
    /// Whether the service manager holds the service @p name for started, be it a process or a job that is done.
    bool serviceIsActive(const QString& name) const;

private:
    QString m_root;
};

/// An answer that may be impossible to have.
struct Finding {
    enum class State { No, Yes, Unknown };
    State state = State::Unknown;
    /// For people; why, when it is not Yes.
    QString reason;

    static Finding yes() { return {State::Yes, {}}; }
    static Finding no(const QString& why) { return {State::No, why}; }
    static Finding unknown(const QString& why) { return {State::Unknown, why}; }
    bool isYes() const { return state == State::Yes; }
    bool isNo() const { return state == State::No; }
    bool isUnknown() const { return state == State::Unknown; }
};
