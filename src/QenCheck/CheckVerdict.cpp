#include "CheckVerdict.h"

using namespace Qt::StringLiterals;

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
        line = line.left(LongestQuote) + u"..."_s;
    return u'"' + line + u'"';
}

QString failureOf(const Platform::Error& error) {
    return u"the probe failed: "_s + quoted(error.localizedFailureReason());
}

QString answerOf(const char* tool, const QString& output) {
    return QString::fromLatin1(tool) + (output.isEmpty() ? u" gave no answer"_s : u" answers "_s + quoted(output));
}

} // namespace

CheckVerdict judgeFileVault(const QString& output, const Platform::Error& error) {
    return {!output.contains(u"FileVault is On"_s), error ? failureOf(error) : answerOf("fdesetup", output)};
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
    QString reason =
        output.isEmpty() ? u"the computer is joined to no domain"_s : u"the computer is joined to "_s + quoted(output);
    if (expected.isNull())
        reason += u", the policy states none"_s;
    else if (!isJoined && output.trimmed() == expected)
        reason += u" as required, but the answer ends in a line end that the required name lacks"_s;
    else if (!isJoined)
        reason += u", required is "_s + quoted(expected);
    return {!isJoined, reason};
}

CheckVerdict judgeQenVersion(const QString& installed, const QString& minimum) {
    if (installed.isNull())
        return {true, u"no version of the client is installed"_s};
    if (minimum.isNull())
        return {true, u"version %1 is installed, no minimum is stated"_s.arg(quoted(installed))};
    // Compliant only below the minimum, compared as text: the inverse of what the title suggests, kept on purpose.
    const bool sortsBefore = QString::compare(installed, minimum) < 0;
    return {!sortsBefore,
        u"version %1 %2 before the stated %3"_s.arg(
            quoted(installed), sortsBefore ? u"sorts"_s : u"does not sort"_s, quoted(minimum))};
}
