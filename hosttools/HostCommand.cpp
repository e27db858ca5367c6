#include "HostCommand.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QProcessEnvironment>

using namespace Qt::StringLiterals;

namespace {

QString placeOf(const Facts& facts, const QString& name) {
    for (const char16_t* folder : {u"/usr/sbin/", u"/sbin/", u"/usr/local/sbin/", u"/usr/bin/"}) {
        const QString path = facts.resolved(QString::fromUtf16(folder) + name);
        // The name decides what a program of several names does.
        if (!path.isEmpty())
            return facts.root() + QString::fromUtf16(folder) + name;
    }
    return {};
}

} // namespace

CommandOutput runHostCommand(const Facts& facts, const QString& name, const QStringList& arguments,
    std::chrono::milliseconds limit, qsizetype mostBytes) {
    using End = CommandOutput::End;
    const QString path = placeOf(facts, name);
    if (path.isEmpty())
        return {End::Missing, {}};
    const QDeadlineTimer deadline(limit);
    QProcess process;
    QProcessEnvironment environment;
    environment.insert(u"LC_ALL"_s, u"C"_s);
    environment.insert(u"PATH"_s, u"/usr/sbin:/usr/bin:/sbin:/bin"_s);
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(path, arguments, QIODevice::ReadOnly);
    QByteArray output;
    End end = End::Done;
    // A write to a full pipe waits for us, so all of it is read as it comes.
    while (end == End::Done && process.state() != QProcess::NotRunning) {
        if (!process.waitForReadyRead(static_cast<int>(deadline.remainingTime())) && deadline.hasExpired())
            end = End::Late;
        output += process.readAllStandardOutput();
        if (output.size() > mostBytes)
            end = End::TooMuch;
    }
    output += process.readAllStandardOutput();
    const bool isGood = process.state() == QProcess::NotRunning && process.exitStatus() == QProcess::NormalExit &&
        process.exitCode() == 0 && process.readAllStandardError().isEmpty();
    if (end == End::Done && !isGood)
        end = End::Failed;
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(static_cast<int>(limit.count()));
    }
    return {end, end == End::Done ? output : QByteArray()};
}
