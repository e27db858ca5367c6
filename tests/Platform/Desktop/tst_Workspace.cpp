#include "Workspace.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

using Platform::Workspace;

/// Applications in folders of the test's own.
class tst_Workspace : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init() {
        m_folder.emplace();
        QVERIFY(QDir::setCurrent(m_folder->path()));
        for (const char* name : {"apps", "own", "entries", "bin"})
            QVERIFY(QDir().mkpath(path(name)));
        program("bin/tool", "tool");
        program("bin/mailer", "mailer");
        program("bin/xdg-open", "opened");
        program("apps/Meet.app/Contents/MacOS/Meet", "bundle");
        program("apps/plain", "plain");
    }

    void applications_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("launched");
        QTest::addColumn<QByteArray>("id");
        QTest::addColumn<QByteArray>("lines");
        const auto row = [](const char* title, const QString& name, const char* launched, const char* id = "other",
                             const QByteArray& lines = {}) {
            QTest::newRow(title) << name << launched << QByteArray(id) << lines;
        };
        row("bundle", "Meet.app", "bundle");
        row("bundle without a program", "Shell.app", "");
        row("its program", "Shell", "");
        row("bundle without a program beside an entry", "Desk.app", "tool");
        row("file in the folder", "plain", "plain");
        row("program", "tool", "tool");
        row("program, with ending", "tool.app", "tool");
        row("entry by id", "org.example.Mail.app", "mailer,mail,a b");
        row("entry by name", "企业邮箱", "mailer,mail,a b");
        row("missing", "Nothing.app", "");
        row("entry whose program is missing", "Gone", "");
        row("entry whose other program is missing", "Half", "");
        row("path", "../bin/tool", "");
        row("empty", "", "");
        row("folder", "..", "");
        row("too long", QString(300, u'a'), "");
        row("a shell's words", "tool; tool", "");

        row("plain", "probe", "tool,--a,b", "probe", "Exec=tool --a b");
        row("field codes", "probe", "tool,--x=,100%", "probe", "Exec=tool %U --x=%f 100%%");
        row("quotes", "probe", "blank,q\"q,,c", "probe", "Exec=\"a b\" \"q\\\\\"q\" \"\" c");
        row("escapes", "probe", "tool,x\\y", "probe", "Exec=tool\\sx\\\\y");
        row("open quote", "probe", "", "probe", "Exec=tool \"a");
        row("no program", "probe", "", "probe", "Name=x");
        row("hidden", "probe", "", "probe", "Exec=tool\nHidden=true");
        row("terminal", "probe", "", "probe", "Exec=tool\nTerminal=true");
        row("another group", "probe", "", "probe", "[Desktop Action new]\nExec=tool");
        row("no application", "probe", "", "probe", "Type=Link\nExec=tool");
        row("binary", "probe", "", "probe", QByteArray(70000, '\0'));

        // The first file of an id counts.
        row("hidden, by id", "post", "", "post", "Name=Mail\nExec=mailer\nHidden=true");
        row("hidden, by name", "Mail", "", "post", "Name=Mail\nExec=mailer\nHidden=true");
        row("renamed, by the old name", "Mail", "", "post", "Name=Letters\nExec=mailer");
        row("renamed, by the new name", "Letters", "mailer", "post", "Name=Letters\nExec=mailer");
        row("program given by a way from here", "Letters", "", "post", "Name=Letters\nExec=bin/mailer");
    }
    void applications() {
        QFETCH(QString, name);
        QFETCH(QString, launched);
        QFETCH(QByteArray, id);
        QFETCH(QByteArray, lines);
        program("bin/a b", "blank");
        entry("post", "Name=Mail\nExec=mailer");
        entry("../own/" + id, lines);
        entry("org.example.Mail", "Name=企业邮箱\nExec=mailer mail \"a b\" %U");
        entry("gone", "Name=Gone\nExec=no-such-program");
        entry("half", "Name=Half\nExec=tool\nTryExec=no-such-program");
        entry("desk", "Name=Desk\nExec=tool");
        QVERIFY(QDir().mkpath(path(u"apps/Shell.app/Contents"_s)) && QDir().mkpath(path(u"apps/Desk.app"_s)));
        const Workspace workspace = make();
        // In an application folder its being there is enough.
        QCOMPARE(workspace.isInstalled(name), !launched.isEmpty() || name == u"Shell.app");
        workspace.launchApplication(name);
        if (launched.isEmpty())
            QTest::qWait(20);
        QTRY_COMPARE(noted(), launched);
    }

    void entryThatIsAPipeHoldsNobodyUp() {
        QCOMPARE(mkfifo(QFile::encodeName(path(u"entries/pipe.desktop"_s)).constData(), 0600), 0);
        QVERIFY(!make().isInstalled(u"pipe"_s));
    }

    void addresses() {
        for (const QString& url :
            {u"http://a.example/"_s, u"http://a/$(id)'\";&|"_s, u"http://a/"_s + QString(10000, u'x')}) {
            make().openUrl(url);
            QTRY_COMPARE(noted(), u"opened,"_s + url);
        }
        QVERIFY(QFile::remove(path(u"note"_s)));
        for (const QString& url : {u""_s, u"  "_s, u"--help http"_s})
            make().openUrl(url);
        QTest::qWait(20);
        QCOMPARE(noted(), QString());
    }

private:
    QString path(const QString& name) const { return m_folder->filePath(name); }
    Workspace make() const {
        return Workspace({{path(u"apps"_s)}, {path(u"own"_s), path(u"entries"_s)}, {path(u"bin"_s)}});
    }
    /// A program that notes its name and arguments.
    void program(const QString& name, const char* called) const {
        QVERIFY(QDir().mkpath(QFileInfo(path(name)).path()));
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\nIFS=,\nprintf %s \"" + QByteArray(called) + "${1+,$*}\" >'" +
            path(u"note.new"_s).toUtf8() + "'\nmv '" + path(u"note.new"_s).toUtf8() + "' '" + path(u"note"_s).toUtf8() +
            "'\n");
        file.close();
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
    }
    void entry(const QByteArray& id, const QByteArray& lines) const {
        QFile file(path(u"entries/"_s) + QString::fromLatin1(id) + u".desktop"_s);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[Desktop Entry]\nType=Application\n" + lines + "\n");
    }
    QString noted() const {
        QFile file(path(u"note"_s));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    std::optional<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_Workspace)
#include "tst_Workspace.moc"
