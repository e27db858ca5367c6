#pragma once

#include <QList>
#include <QString>

/// What the client needs of its surroundings, looked at from outside; nothing is changed or started.
namespace Doctor {

enum class State {
    Good,
    /// The client works, with less.
    Warning,
    Problem
};

struct Finding {
    QString subject;
    State state = State::Good;
    QString found;
    /// What to do about it; empty when all is well.
    QString advice = {};
};

Finding sessionBus();
Finding trayHost();
Finding notificationService();
Finding ticketService();
Finding chineseFonts();
/// The one on the system bus that tells the host tools what only a privileged reader sees.
Finding factsService();

Finding agentFolder();
Finding agentFiles();
/// Whether this user's programs can follow files at all.
Finding fileWatches();
/// Asks the server that is in use; takes at most five seconds.
Finding server();
Finding log();

} // namespace Doctor
