#include "CheckVerdict.h"

#include "StringTable.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestLine = 120;
constexpr qsizetype LongestAnswer = 64 << 10;

/// Another program's text without line ends and what cannot be seen, of bounded length.
QString oneLine(const QString& text) {
    QString line = text.left(4 * LongestLine).simplified();
    for (QChar& character : line) {
        if (!character.isPrint())
            character = u'?';
    }
    return line.size() > LongestLine ? line.left(LongestLine) + u"..."_s : line;
}

QString quoted(const QString& text) {
    return u'"' + oneLine(text) + u'"';
}

QString failureOf(const Platform::Error& error) {
    return u"the probe failed: "_s + quoted(error.localizedFailureReason());
}

QString answerOf(const char* tool, const QString& output) {
    return QString::fromLatin1(tool) + (output.isEmpty() ? u" gave no answer"_s : u" answers "_s + quoted(output));
}

/// What an answer from the directory has to be told about, beside that it is not the required one.
CheckReason domainReason(const QString& output, const QString& expected) {
    const QString joined = oneLine(output);
    if (output.isEmpty())
        return {u"domain.none"_s, {}};
    if (expected.isNull())
        return {u"policy.not-stated"_s, joined};
    if (output.trimmed() == expected)
        return {u"domain.line-end"_s, joined};
    return {u"domain.other"_s, joined, oneLine(expected)};
}

} // namespace

CheckVerdict judgeFileVault(const QString& output, const Platform::Error& error) {
    const QString reason = error ? failureOf(error) : answerOf("fdesetup", output);
    return {!output.contains(u"FileVault is On"_s), reason, {}, !error && !output.isEmpty()};
}

CheckVerdict judgeFireWall(const QString& output, const Platform::Error& error) {
    if (error)
        return {true, failureOf(error), {}, false};
    if (output.isEmpty())
        return {true, answerOf("defaults", output), {}, false};
    // Any "0" counts, that of "10" too, on purpose.
    return {output.contains(u'0'), answerOf("defaults", output)};
}

CheckVerdict judgeJoinDomain(const QString& output, const Platform::Error& error, const QString& expected) {
    // Compared as it comes, line end included, on purpose.
    const bool isJoined = !output.isEmpty() && !expected.isNull() && output == expected;
    if (error)
        return {!isJoined, failureOf(error), {}, false};
    QString reason =
        output.isEmpty() ? u"the computer is joined to no domain"_s : u"the computer is joined to "_s + quoted(output);
    if (expected.isNull())
        reason += u", the policy states none"_s;
    else if (!isJoined && output.trimmed() == expected)
        reason += u" as required, but the answer ends in a line end that the required name lacks"_s;
    else if (!isJoined)
        reason += u", required is "_s + quoted(expected);
    return {!isJoined, reason, isJoined ? CheckReason() : domainReason(output, expected)};
}

CheckVerdict judgeQenVersion(const QString& installed, const QString& minimum) {
    if (installed.isNull())
        return {true, u"no version of the client is installed"_s, {u"version.missing"_s, {}}};
    if (minimum.isNull())
        return {true, u"version %1 is installed, no minimum is stated"_s.arg(quoted(installed)),
            {u"policy.not-stated"_s, oneLine(installed)}};
    // Compliant only below the minimum, compared as text: the inverse of what the title suggests, kept on purpose.
    const bool sortsBefore = QString::compare(installed, minimum) < 0;
    const QString reason = u"version %1 %2 before the stated %3"_s.arg(
        quoted(installed), sortsBefore ? u"sorts"_s : u"does not sort"_s, quoted(minimum));
    if (sortsBefore)
        return {false, reason};
    return {true, reason, {u"version.not-before"_s, oneLine(installed), oneLine(minimum)}};
}

CheckReason CheckReason::late() {
    return {u"probe.late"_s, {}, {}, u"the probe took too long and was stopped"_s, true};
}

CheckReason CheckReason::silent() {
    return {u"probe.silent"_s, {}, {}, {}, true};
}

std::optional<CheckReason> CheckReason::fromJson(const QString& json) {
    if (json.size() > LongestAnswer)
        return std::nullopt;
    const QJsonObject answer = QJsonDocument::fromJson(json.toUtf8()).object();
    const QString state = answer.value(u"state").toString();
    const auto line = [&answer](QStringView key) { return oneLine(answer.value(key).toString()); };
    if ((state != u"off" && state != u"unknown") || line(u"code").isEmpty())
        return std::nullopt;
    return CheckReason{line(u"code"), line(u"subject"), line(u"place"), line(u"text"), state == u"unknown"};
}

QString CheckReason::note() const {
    // "disk.layer-unseen" is "WhyDiskLayerUnseen" among the texts. What a reason without one means is in its check's
    // description.
    QString key = u"Why"_s;
    for (const QString& word : QString(code).replace(u'-', u'.').split(u'.'))
        key += word.left(1).toUpper() + word.mid(1);
    const QString sentence = localizedString(key).replace(u"%1"_s, subject);
    if (sentence.isEmpty() || place.isEmpty())
        return sentence;
    return sentence + u"（%1）"_s.arg(place == u"swap" ? localizedString(u"Swap"_s) : place);
}
