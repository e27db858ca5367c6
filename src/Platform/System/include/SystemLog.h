#pragma once

#include <QString>

namespace Platform {

/// Writes one message to the system console: Qt logging (category "mav.console", level info) to standard error, which
/// the journal keeps. A last line end in @p text is dropped, since the console ends every message itself. Any thread.
void systemLog(const QString& text);

/// Lets all Qt logging of the process go to standard error without ever waiting for its reader: what a full or closed
/// standard error does not take is lost. Also gives closed standard streams to /dev/null, so that no file of ours gets
/// their numbers, and ignores SIGPIPE. Called once, first thing in main(); without it Qt's own handler writes, and may
/// wait.
void installConsoleHandler();

} // namespace Platform
