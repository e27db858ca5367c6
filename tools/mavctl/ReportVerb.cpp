#include "Redaction.h"
#include "StateCatalogue.h"
#include "StateFiles.h"
#include "Verb.h"

#include "Files.h"
#include "ITDevice.h"
#include "Paths.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSysInfo>
#include <QTemporaryDir>

#include <limits>

#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Paths = Platform::Paths;

namespace {

constexpr int VerbLimit = 60000; // milliseconds: a round of checks, each with its own limit
constexpr int PackLimit = 60000; // milliseconds
constexpr qint64 LogTail = 512 * 1024;
constexpr qsizetype MostLogs = 12;
constexpr qint64 LargestText = 64 * 1024;

struct Part {
    /// In the archive.
    QString name;
    QString what;
    QByteArray content;
};

/// What this tool prints for @p arguments; a reason in JSON without an answer.
QByteArray answerOf(const QStringList& arguments) {
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), arguments, QIODevice::ReadOnly);
    if (process.waitForFinished(VerbLimit)) {
        const QByteArray answer = process.readAllStandardOutput();
        const QString reason = QString::fromUtf8(process.readAllStandardError()).trimmed();
        return answer.isEmpty() ? QJsonDocument(QJsonObject{{u"failed"_s, reason}}).toJson() : answer;
    }
    process.kill();
    process.waitForFinished(VerbLimit);
    return QJsonDocument(QJsonObject{{u"failed"_s, u"no answer in time"_s}}).toJson();
}

QByteArray manifest() {
    const auto variable = [](const char* name) { return qEnvironmentVariable(name); };
    const QJsonObject desktop{{u"desktop"_s, variable("XDG_CURRENT_DESKTOP")},
        {u"session"_s, variable("XDG_SESSION_TYPE")}, {u"language"_s, variable("LANG")},
        {u"scale"_s, variable("QT_SCALE_FACTOR")}};
    return QJsonDocument(
        QJsonObject{{u"version"_s, QStringLiteral(MAV_VERSION)}, {u"library"_s, QString::fromLatin1(qVersion())},
            {u"release"_s, QSysInfo::prettyProductName()}, {u"kernel"_s, QSysInfo::kernelVersion()},
            {u"architecture"_s, QSysInfo::currentCpuArchitecture()}, {u"surroundings"_s, desktop},
            {u"made"_s, QDateTime::currentDateTimeUtc().toString(Qt::ISODate)}})
        .toJson();
}

/// The end of a log, from a line's begin on; nothing of what cannot be read.
QByteArray tailOf(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const bool isCut = file.size() > LogTail && file.seek(file.size() - LogTail);
    const QByteArray tail = file.read(LogTail);
    return isCut ? tail.mid(tail.indexOf('\n') + 1) : tail;
}

QList<Part> logs() {
    QList<Part> parts;
    const QString client = Paths::library() + u"/Logs/QenCloud/Logs"_s;
    const QString agent = Paths::localLibrary() + u"/Logs/QenCloud/v5/Logs"_s;
    for (const QString& folder : {client, agent}) {
        const QString place = folder == client ? u"client"_s : u"agent"_s;
        const auto files = QDir(folder).entryInfoList(QDir::Files | QDir::NoSymLinks, QDir::Time).mid(0, MostLogs);
        for (const QFileInfo& file : files) {
            if (file.suffix() != "zip"_L1)
                parts.append(
                    {u"logs/"_s + place + u'/' + file.fileName(), u"the end of a log"_s, tailOf(file.filePath())});
        }
    }
    return parts;
}

/// State files as JSON. Keys and pictures stay where they are.
QList<Part> stateFiles() {
    using namespace StateFiles;
    static const QStringList keys{NetworkProfile, CaCache, InacCache};
    QList<Part> parts;
    for (const StateCatalogue::File& file : StateCatalogue::all()) {
        const QFileInfo info(file.path);
        if (!info.exists() || file.form == StateCatalogue::Form::Picture || keys.contains(info.fileName()))
            continue;
        const QString name = u"state/"_s + (file.isAgents ? u"agent/"_s : u"client/"_s) + info.fileName();
        if (file.form == StateCatalogue::Form::Text)
            parts.append({name, u"a state file"_s, Platform::readFile(file.path, LargestText).value_or("too large\n")});
        else
            parts.append({name + u".json"_s, u"a state file"_s, answerOf({u"archive"_s, u"show"_s, file.path})});
    }
    return parts;
}

QList<Part> allParts() {
    QList<Part> parts{{u"manifest.json"_s, u"versions, release, desktop"_s, manifest()}};
    for (const QString& verb : {u"status"_s, u"doctor"_s, u"check"_s})
        parts.append({verb + u".json"_s, u"what mavctl %1 says"_s.arg(verb), answerOf({verb, u"--json"_s})});
    return parts + stateFiles() + logs();
}

/// What this computer and its user are called, though no part may say so by a key.
void learnSurroundings(Redaction& redaction) {
    redaction.learn(QJsonDocument::fromJson(answerOf({u"device"_s, u"--json"_s})).object());
    redaction.learn(u"host"_s, QSysInfo::machineHostName());
    redaction.learn(u"name"_s, ITDevice().userName());
    redaction.learn(u"name"_s, QFileInfo(QDir::homePath()).fileName());
    if (const passwd* const entry = ::getpwuid(::geteuid()))
        redaction.learn(u"name"_s, QString::fromLocal8Bit(entry->pw_gecos).section(u',', 0, 0));
}

QList<Part> withoutTellingThings(QList<Part> parts) {
    Redaction redaction;
    learnSurroundings(redaction);
    for (const Part& part : parts) {
        redaction.learn(QJsonDocument::fromJson(part.content).object());
        redaction.learnFrom(QString::fromUtf8(part.content));
    }
    for (Part& part : parts)
        part.content = redaction.cleaned(QString::fromUtf8(part.content)).toUtf8();
    return parts;
}

QString listOf(const QList<Part>& parts) {
    QString list = u"The report holds the following. Names, accounts, addresses, hosts, tickets and serial numbers are "
                   "tokens in it, the same thing the same token.\n\n"_s;
    for (const Part& part : parts)
        list += u"  %1 %2 (%3 bytes)\n"_s.arg(part.name.leftJustified(44), part.what).arg(part.content.size());
    return list + u"\nNetwork certificates, keys and pictures are left out.\n"_s;
}

/// Empty, or what went wrong.
QString packed(const QList<Part>& parts, const QString& archive) {
    const QTemporaryDir folder;
    for (const Part& part : parts) {
        const QString path = folder.filePath(part.name);
        if (!QDir().mkpath(QFileInfo(path).path()))
            return u"%1 cannot be made"_s.arg(path);
        if (const Platform::Error error = Platform::replaceFile(path, part.content))
            return error.localizedDescription();
    }
    const QString packing = folder.filePath(u"report.zip"_s);
    QStringList names;
    for (const Part& part : parts)
        names << part.name;
    QProcess zip;
    zip.setWorkingDirectory(folder.path());
    zip.start(u"zip"_s, QStringList{u"-q"_s, u"-X"_s, packing} + names, QIODevice::ReadOnly);
    if (!zip.waitForFinished(PackLimit) || zip.exitStatus() != QProcess::NormalExit || zip.exitCode() != 0)
        return u"zip failed: %1"_s.arg(QString::fromLocal8Bit(zip.readAllStandardError()).trimmed());
    const auto bytes = Platform::readFile(packing, std::numeric_limits<int>::max());
    if (!bytes)
        return u"%1 cannot be read"_s.arg(packing);
    const Platform::Error error = Platform::replaceFile(archive, *bytes);
    return error ? error.localizedDescription() : QString();
}

} // namespace

Exit runReport(const QStringList& arguments) {
    if (arguments.size() > 1 || (arguments.size() == 1 && arguments[0].startsWith(u'-')))
        return Exit::Usage;
    const QList<Part> parts = withoutTellingThings(allParts());
    const Exit printed = print(listOf(parts).toUtf8());
    if (printed != Exit::Ok || arguments.isEmpty())
        return printed;
    const QString archive = QFileInfo(arguments[0]).absoluteFilePath();
    if (QFileInfo::exists(archive))
        return fail(u"%1: is there already"_s.arg(archive));
    const QString failure = packed(parts, archive);
    if (!failure.isEmpty())
        return fail(u"%1: %2"_s.arg(archive, failure));
    return print(u"\nWritten to %1\n"_s.arg(archive).toUtf8());
}
