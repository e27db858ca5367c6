#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// The support tool in a root and a home of its own, without display and bus.
class SupportTool {
public:
    struct Outcome {
        int status = -1;
        QByteArray output;
        QByteArray error;
    };

    SupportTool() {
        for (const QString& path : {agent(), file(u"home"_s)})
            QDir().mkpath(path);
        environment.insert(u"HOME"_s, file(u"home"_s));
        environment.insert(u"MAV_ROOT"_s, file(u"root"_s));
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent"_s);
        environment.remove(u"DISPLAY"_s);
    }

    QString file(const QString& name) const { return m_folder.filePath(name); }
    QString agent() const { return file(u"root/Library/Application Support/QenCloud"_s); }
    QString support() const { return file(u"home/Library/Application Support"_s); }

    void start(QProcess& process, const QStringList& arguments) const {
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(MAVCTL), arguments);
    }
    /// Events run meanwhile: the tool may be talking to this process.
    Outcome run(const QStringList& arguments, const QByteArray& input = {}) const {
        QProcess process;
        start(process, arguments);
        process.write(input);
        process.closeWriteChannel();
        for (int waited = 0; process.state() != QProcess::NotRunning && waited < 6000; ++waited)
            QTest::qWait(10);
        if (process.state() != QProcess::NotRunning || process.exitStatus() != QProcess::NormalExit)
            return {};
        return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    }

    static void write(const QString& path, const QByteArray& bytes) {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();

private:
    QTemporaryDir m_folder;
};
