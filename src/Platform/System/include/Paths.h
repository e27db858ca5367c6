#pragma once

#include <QString>

/// The only code that turns a fixed path into a file name.
///
/// The environment variable MAV_ROOT, empty by default, stands before every fixed path, so that a whole client runs in
/// one folder. None of these makes a folder.
namespace Platform::Paths {

/// MAV_ROOT put before an absolute @p fixedPath.
QString rooted(const QString& fixedPath);

/// The user's home: $HOME, or the account's own home folder without one.
QString home();
/// Home of the account @p userName; empty when there is no such account.
QString homeForUser(const QString& userName);
/// $HOME/Library
QString library();
/// $HOME/Library/Application Support
QString applicationSupport();
/// $HOME/Library/Application Support/QenCloudL: state files of the client.
QString userState();
/// The person's desktop folder: $HOME/Desktop, or as the session names it.
QString desktop();

/// /Library
QString localLibrary();
/// /Library/Application Support/QenCloud: state files of the agent.
QString agentState();
/// /Users
QString users();
/// /Applications/Mav/Mav.app
QString applicationBundle();
/// A folder of this user alone for sockets and locks: $XDG_RUNTIME_DIR, else below the temporary folder.
QString runtime();

} // namespace Platform::Paths
