#pragma once

#include "Error.h"

#include <QString>

namespace Platform {

/// How long a script may take.
struct ScriptLimits {
    double seconds = 30;
    /// A person has to find and type a password.
    double administratorSeconds = 180;
};

/// Runs a script that consists of the one statement in use: do shell script "...", optionally followed by
/// " with administrator privileges".
///
/// The text in quotes takes \" and \\ (and \n, \t, \r) and goes to /bin/sh. Administrator privileges are asked for
/// through pkexec, which shows its own dialog. execute() blocks its caller for at most the limit and some 4 seconds for
/// stopping the command.
class ScriptRunner final {
public:
    /// Numbers of Error::code() that are not the command's own exit status.
    static constexpr qint64 SyntaxError = -2741;
    static constexpr qint64 UserCancelled = -128;
    static constexpr qint64 TimedOut = -1712;
    static constexpr qint64 NotPermitted = -60007;
    static constexpr qint64 NoAuthorisationTool = -60008;

    /// What the statement asks for; understood() is false for any other text.
    struct Statement {
        bool understood = false;
        QString command;
        bool needsAdministrator = false;
    };

    /// @param authorisationTool  executable that runs its arguments as the administrator; looked up as "pkexec" when
    /// empty
    explicit ScriptRunner(QString source, ScriptLimits limits = {}, QString authorisationTool = {});

    /// @returns the command's standard output without its last line end; null with @p error set on failure. The error
    /// has the domain
    ///          "NSAppleScript", the command's exit status or a number from above, and the command's standard error as
    ///          its text.
    QString execute(Error* error = nullptr) const;

    static Statement parsed(const QString& source);
    /// @p text as it stands between the quotes of a script.
    static QString escaped(const QString& text);
    /// @p text as one word of a shell command, whatever it contains.
    static QString shellQuoted(const QString& text);

private:
    QString run(const Statement& statement, Error& error) const;

    QString m_source;
    ScriptLimits m_limits;
    QString m_authorisationTool;
};

} // namespace Platform
