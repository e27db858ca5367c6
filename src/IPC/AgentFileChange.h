#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

#include <chrono>
#include <optional>

/// From the first change to its report.
inline constexpr std::chrono::milliseconds FollowLatency{3000};

class AccountModel;
class QenUIFileListener;

/// What a change of one of the followed files means.
struct AgentFileChange {
    /// The path contains it.
    QString text;
    /// Line of the log.
    QString line;
    void (QenUIFileListener::*handler)();

    /// The meaning of @p path: the first text of the table that it contains decides. Null for a foreign path.
    static const AgentFileChange* ofPath(const QString& path);
};

/// The twelve files that the client follows, in the order in which the event stream gets them.
QStringList followedFiles(const QString& agentState, const QString& applicationSupport);

/// The object of the ticket notification that a changed record asks for, invalid for none; nothing when the record asks
/// for no notification.
std::optional<QVariant> ticketNotice(const AccountModel& record);
