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
        for (const char* name : {"apps", "entries", "bin"})
            QVERIFY(QDir().mkpath(path(name)));
        program("bin/tool", "tool");
        program("bin/mailer", "mailer");
        program("bin/xdg-open", "opened");
        program("apps/Meet.app/Contents/MacOS/Meet", "bundle");
        program("apps/plain", "plain");
    }

    void entries_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("launched");
        const auto row = [](const char* name, const char* lines, const QString& launched) {
            QTest::newRow(name) << QByteArray("[Desktop Entry]\nType=Application\n") + lines << launched;
        };
        row("plain", "Exec=tool --a b", "tool,--a,b");
        row("field codes", "Exec=tool %U --x=%f 100%%", "tool,--x=,100%");
        row("quotes", "Exec=\"a b\" \"q\\\\\"q\" \"\" c", "blank,q\"q,,c");
        row("escapes", "Exec=tool\\sx\\\\y", "tool,x\\y");
        row("open quote", "Exec=tool \"a", {});
        row("no program", "Name=x", {});
        row("hidden", "Exec=tool\nHidden=true", {});
        row("terminal", "Exec=tool\nTerminal=true", {});
        row("another group", "[Desktop Action new]\nExec=tool", {});
        QTest::newRow("no application") << QByteArray("[Desktop Entry]\nType=Link\nExec=tool") << QString();
        QTest::newRow("binary") << QByteArray(70000, '\0') << QString();
    }
    void entries() {
        QFETCH(QByteArray, content);
        QFETCH(QString, launched);
        program("bin/a b", "blank");
        QFile file(path(u"entries/probe.desktop"_s));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.close();
        const Workspace workspace = make();
        QCOMPARE(workspace.isInstalled(u"probe"_s), !launched.isEmpty());
        workspace.launchApplication(u"probe"_s);
        if (launched.isEmpty())
            QTest::qWait(20);
        QTRY_COMPARE(noted(), launched);
    }

    void installed_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("launched");
        QTest::newRow("bundle") << "Meet.app"
                                << "bundle";
        QTest::newRow("file in the folder") << "plain"
                                            << "plain";
        QTest::newRow("program") << "tool"
                                 << "tool";
        QTest::newRow("program, with ending") << "tool.app"
                                              << "tool";
        QTest::newRow("entry by id") << "org.example.Mail.app"
                                     << "mailer,mail,a b";
        QTest::newRow("entry by name") << "企业邮箱"
                                       << "mailer,mail,a b";
        QTest::newRow("missing") << "Nothing.app"
                                 << "";
        QTest::newRow("entry whose program is missing") << "Gone"
                                                        << "";
        QTest::newRow("entry whose other program is missing") << "Half"
                                                              << "";
        QTest::newRow("path") << "../bin/tool"
                              << "";
        QTest::newRow("empty") << ""
                               << "";
        QTest::newRow("folder") << ".."
                                << "";
        QTest::newRow("too long") << QString(300, u'a') << "";
        QTest::newRow("a shell's words") << "tool; tool"
                                         << "";
    }
    void installed() {
        QFETCH(QString, name);
        QFETCH(QString, launched);
        entry("org.example.Mail", "Name=企业邮箱\nExec=mailer mail \"a b\" %U");
        entry("gone", "Name=Gone\nExec=no-such-program");
        entry("half", "Name=Half\nExec=tool\nTryExec=no-such-program");
        const Workspace workspace = make();
        QCOMPARE(workspace.isInstalled(name), !launched.isEmpty());
        workspace.launchApplication(name);
        if (launched.isEmpty())
            QTest::qWait(20);
        QTRY_COMPARE(noted(), launched);
    }

    void bundleWithoutAProgramIsInstalled() {
        QVERIFY(QDir().mkpath(path(u"apps/Shell.app/Contents"_s)));
        const Workspace workspace = make();
        QVERIFY(workspace.isInstalled(u"Shell.app"_s));
        QVERIFY(!workspace.isInstalled(u"Shell"_s));
        workspace.launchApplication(u"Shell.app"_s);
        QTest::qWait(20);
        QCOMPARE(noted(), QString());
        entry("shell", "Name=Shell\nExec=tool");
        workspace.launchApplication(u"Shell.app"_s);
        QTRY_COMPARE(noted(), u"tool"_s);
    }

    void firstFileOfAnIdCounts_data() {
        QTest::addColumn<QString>("own");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("isInstalled");
        const auto row = [](const char* title, const char* own, const char* name, bool isInstalled) {
            QTest::newRow(title) << QString::fromLatin1(own) << QString::fromLatin1(name) << isInstalled;
        };
        row("hidden, by id", "Name=Mail\nExec=mailer\nHidden=true", "post", false);
        row("hidden, by name", "Name=Mail\nExec=mailer\nHidden=true", "Mail", false);
        row("renamed, by the old name", "Name=Letters\nExec=mailer", "Mail", false);
        row("renamed, by the new name", "Name=Letters\nExec=mailer", "Letters", true);
        row("program given by a way from here", "Name=Letters\nExec=bin/mailer", "Letters", false);
    }
    void firstFileOfAnIdCounts() {
        QFETCH(QString, own);
        QFETCH(QString, name);
        entry("post", "Name=Mail\nExec=mailer");
        QVERIFY(QDir().mkpath(path(u"own"_s)));
        QFile file(path(u"own/post.desktop"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[Desktop Entry]\nType=Application\n" + own.toUtf8() + "\n");
        file.close();
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_folder->path()));
        const Workspace workspace({{}, {path(u"own"_s), path(u"entries"_s)}, {path(u"bin"_s)}});
        const bool isInstalled = workspace.isInstalled(name);
        QDir::setCurrent(before);
        QTEST(isInstalled, "isInstalled");
    }

    void entryThatIsAPipeHoldsNobodyUp() {
        QCOMPARE(mkfifo(QFile::encodeName(path(u"entries/pipe.desktop"_s)).constData(), 0600), 0);
        QVERIFY(!make().isInstalled(u"pipe"_s));
    }

    void addresses_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("opened");
        QTest::newRow("plain") << "http://a.example/"
                               << "opened,http://a.example/";
        QTest::newRow("a shell's signs") << "http://a/$(id)'\";&|"
                                         << "opened,http://a/$(id)'\";&|";
        QTest::newRow("long") << "http://a/" + QString(10000, u'x') << "opened,http://a/" + QString(10000, u'x');
        QTest::newRow("empty") << ""
                               << "";
        QTest::newRow("blank") << "  "
                               << "";
        QTest::newRow("option") << "--help http"
                                << "";
    }
    void addresses() {
        QFETCH(QString, url);
        QFETCH(QString, opened);
        make().openUrl(url);
        if (opened.isEmpty())
            QTest::qWait(20);
        QTRY_COMPARE(noted(), opened);
    }

private:
    QString path(const QString& name) const { return m_folder->filePath(name); }
    Workspace make() const { return Workspace({{path(u"apps"_s)}, {path(u"entries"_s)}, {path(u"bin"_s)}}); }
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
    void entry(const char* id, const char* lines) const {
        QFile file(path(u"entries/"_s) + QString::fromLatin1(id) + u".desktop"_s);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[Desktop Entry]\nType=Application\n" + QByteArray(lines) + "\n");
    }
    QString noted() const {
        QFile file(path(u"note"_s));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    std::optional<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(tst_Workspace)
#include "tst_Workspace.moc"
