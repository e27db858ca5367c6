#include "ScriptRunner.h"

#include "HostTools.h"
#include "QenTask.h"

#include <QRegularExpression>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

Error scriptError(qint64 code, const QString& text) {
    return Error(u"NSAppleScript"_s, code, text);
}

/// Exit statuses with which pkexec speaks for itself.
constexpr int PkexecDismissed = 126;
constexpr int PkexecNotAuthorised = 127;

QString withoutLastLineEnd(QString text) {
    if (text.endsWith(u'\n'))
        text.chop(1);
    return text;
}

QString withoutEscapes(const QString& quoted) {
    static constexpr QStringView Escapes = u"\"\\ntr";
    static constexpr QStringView Meanings = u"\"\\\n\t\r";
    QString text;
    for (qsizetype i = 0; i < quoted.size(); ++i)
        text += quoted[i] == u'\\' ? Meanings[Escapes.indexOf(quoted[++i])] : quoted[i];
    return text;
}

} // namespace

ScriptRunner::ScriptRunner(QString source, ScriptLimits limits, QString authorisationTool)
    : m_source(std::move(source)), m_limits(limits), m_authorisationTool(std::move(authorisationTool)) {}

ScriptRunner::Statement ScriptRunner::parsed(const QString& source) {
    static const QRegularExpression form(
        uR"re(^\s*do\s+shell\s+script\s*"((?:[^"\\]++|\\["\\ntr])*+)"(\s+with\s+administrator\s+privileges)?\s*$)re"_s);
    const QRegularExpressionMatch match = form.match(source);
    return {match.hasMatch(), withoutEscapes(match.captured(1)), match.hasCaptured(2)};
}

QString ScriptRunner::escaped(const QString& text) {
    QString result = text;
    result.replace(u'\\', u"\\\\"_s);
    result.replace(u'"', u"\\\""_s);
    return result;
}

QString ScriptRunner::shellQuoted(const QString& text) {
    QString result = text;
    result.replace(u'\'', u"'\\''"_s);
    return u'\'' + result + u'\'';
}

QString ScriptRunner::execute(Error* error) const {
    Error failure;
    const Statement statement = parsed(m_source);
    QString result;
    if (statement.understood)
        result = run(statement, failure);
    else
        failure = scriptError(SyntaxError, u"The script is not a do shell script statement."_s);
    if (error)
        *error = failure;
    return failure ? QString() : result;
}

QString ScriptRunner::run(const Statement& statement, Error& error) const {
    QString path = HostTools::resolved(u"/bin/sh"_s);
    QStringList arguments{u"-c"_s, statement.command};
    if (statement.needsAdministrator) {
        arguments.prepend(path);
        path = m_authorisationTool.isEmpty() ? QStandardPaths::findExecutable(u"pkexec"_s) : m_authorisationTool;
        if (path.isEmpty()) {
            error = scriptError(NoAuthorisationTool, u"Administrator privileges need pkexec, which is missing."_s);
            return {};
        }
    }
    QenTask task(path, arguments);
    if (const Error failure = task.launch()) {
        error = scriptError(
            statement.needsAdministrator ? NoAuthorisationTool : failure.code(), failure.localizedDescription());
        return {};
    }
    const bool inTime =
        task.readUntilExit(statement.needsAdministrator ? m_limits.administratorSeconds : m_limits.seconds);
    if (!inTime) {
        task.waitUntilExitWithTimeout(0, true, true);
        error = scriptError(TimedOut, u"The script timed out."_s);
        return {};
    }
    const QString output = QString::fromUtf8(task.readStandardOutputToEnd());
    const int status = task.terminationStatus();
    if (status == 0 && !task.wasSignalled())
        return output.isNull() ? u""_s : withoutLastLineEnd(output);

    const QString text = withoutLastLineEnd(QString::fromUtf8(task.readStandardErrorToEnd()));
    if (statement.needsAdministrator && status == PkexecDismissed)
        error = scriptError(UserCancelled, u"User canceled."_s);
    else if (statement.needsAdministrator && status == PkexecNotAuthorised)
        error = scriptError(NotPermitted, text);
    else
        error = scriptError(status, text);
    return {};
}

} // namespace Platform
