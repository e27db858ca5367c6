#include "HostPack.h"

#include <QFile>
#include <QProcess>
#include <QTest>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto Nobody = 65534;

} // namespace

HostPack::HostPack() {
    makeReadable(m_folder.path());
    m_isGood = QFile::copy(QStringLiteral(MAV_HOSTTOOLS), filePath(u"mav-hosttools"_s));
    for (const char* name : {"defaults", "dsconfigad", "dscl", "fdesetup", "networksetup", "open", "scutil"})
        m_isGood = m_isGood && QFile::link(u"mav-hosttools"_s, filePath(QString::fromLatin1(name)));
}

void HostPack::makeReadable(const QString& path) {
    ::chmod(QFile::encodeName(path).constData(), 0755);
}

HostPack::Result HostPack::run(const QString& root, const QStringList& command) const {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"MAV_FACTS_ROOT"_s, root);
    environment.insert(u"HOME"_s, u"/home/alice"_s);
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s); // as the client runs them
    process.setProcessEnvironment(environment);
    process.setChildProcessModifier([] {
        if (::geteuid() == 0 && (::setgroups(0, nullptr) || ::setgid(Nobody) || ::setuid(Nobody)))
            ::_exit(99);
    });
    process.start(filePath(command[0]), command.mid(1));
    for (int i = 0; i < 2000 && process.state() != QProcess::NotRunning; ++i)
        QTest::qWait(5);
    const bool isDone = process.state() == QProcess::NotRunning && process.exitStatus() == QProcess::NormalExit;
    return {QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError()),
        isDone ? process.exitCode() : -1};
}

void HostPack::check(const Result& result, const QString& answer) {
    const bool isError = !answer.isEmpty() && (!answer.endsWith(u'\n') || result.status != 0);
    if (!isError) {
        QCOMPARE(result.error, QString());
        QCOMPARE(result.output, answer);
        QCOMPARE(result.status, 0);
        return;
    }
    QCOMPARE(result.output, QString());
    QVERIFY2(result.error.contains(answer), qPrintable(result.error));
    QCOMPARE(result.error.count(u'\n'), 1);
    QVERIFY(result.status > 0);
}

QList<Machine> readMachines(const QString& path, QString* wrong) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QMap<QString, QString> fragments;
    QList<Machine> machines;
    QString* lines = nullptr;
    for (const QString& line : QString::fromUtf8(file.readAll()).split(u'\n')) {
        const QStringList words = line.split(u' ');
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        if (words[0] == u"fragment") {
            lines = &fragments[words.value(1)];
        } else if (line.startsWith(u'[')) {
            machines.append({line.mid(1, line.size() - 2), {}, {}, {}, {}, {}, {}});
            lines = &machines.last().facts;
        } else if (!machines.isEmpty() && lines == &machines.last().facts && words.value(2) == u"->") {
            Machine& machine = machines.last();
            machine.question = words[0];
            machine.truth = words[1];
            machine.answer = words.value(3);
            machine.code = words.value(4);
            machine.subject = words.mid(5).join(u' ');
        } else if (lines && (words[0] != u"use" || fragments.contains(words.value(1)))) {
            *lines += words[0] == u"use" ? fragments.value(words[1]) : line + u'\n';
        } else {
            *wrong = line;
            return {};
        }
    }
    return machines;
}
