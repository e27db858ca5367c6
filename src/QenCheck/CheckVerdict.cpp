#include "CheckVerdict.h"

namespace {

constexpr qsizetype LongestQuote = 120;

/// Another program's text as part of one line.
QString quoted(const QString& text) {
    QString line = text.left(4 * LongestQuote).simplified();
    for (QChar& character : line) {
        if (!character.isPrint())
            character = u'?';
    }
    if (line.size() > LongestQuote)
        line = line.left(LongestQuote) + QStringLiteral("...");
    return u'"' + line + u'"';
}

QString failureOf(const Platform::Error& error) {
    return QStringLiteral("the probe failed: ") + quoted(error.localizedFailureReason());
}

QString answerOf(const char* tool, const QString& output) {
    return QString::fromLatin1(tool) +
           (output.isEmpty() ? QStringLiteral(" gave no answer") : QStringLiteral(" answers ") + quoted(output));
}

} // namespace

CheckVerdict judgeFileVault(const QString& output, const Platform::Error& error) {
    return {!output.contains(QStringLiteral("FileVault is On")),
            error ? failureOf(error) : answerOf("fdesetup", output)};
}

CheckVerdict judgeFireWall(const QString& output, const Platform::Error& error) {
    if (error)
        return {true, failureOf(error)};
    if (output.isEmpty())
        return {true, answerOf("defaults", output)};
    // Any "0" counts, that of "10" too, on purpose.
    return {output.contains(u'0'), answerOf("defaults", output)};
}

CheckVerdict judgeJoinDomain(const QString& output, const Platform::Error& error, const QString& expected) {
    // Compared as it comes, line end included, on purpose.
    const bool isJoined = !output.isEmpty() && !expected.isNull() && output == expected;
    if (error)
        return {!isJoined, failureOf(error)};
    QString reason = output.isEmpty() ? QStringLiteral("the computer is joined to no domain")
                                      : QStringLiteral("the computer is joined to ") + quoted(output);
    if (expected.isNull())
        reason += QStringLiteral(", the policy states none");
    else if (!isJoined && output.trimmed() == expected)
        reason += QStringLiteral(" as required, but the answer ends in a line end that the required name lacks");
    else if (!isJoined)
        reason += QStringLiteral(", required is ") + quoted(expected);
    return {!isJoined, reason};
}

CheckVerdict judgeQenVersion(const QString& installed, const QString& minimum) {
    if (installed.isNull())
        return {true, QStringLiteral("no version of the client is installed")};
    if (minimum.isNull())
        return {true, QStringLiteral("version %1 is installed, no minimum is stated").arg(quoted(installed))};
    // Compliant only below the minimum, compared as text: the inverse of what the title suggests, kept on purpose.
    const bool sortsBefore = QString::compare(installed, minimum) < 0;
    return {!sortsBefore,
            QStringLiteral("version %1 %2 before the stated %3")
                .arg(quoted(installed), sortsBefore ? QStringLiteral("sorts") : QStringLiteral("does not sort"),
                     quoted(minimum))};
}
