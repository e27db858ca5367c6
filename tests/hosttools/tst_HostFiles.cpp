#include "MachineTest.h"
#include "PropertyList.h"

#include <QFile>

#include <sys/stat.h>

/// The commands of the pack that read files and start programs which the caller names.
class tst_HostFiles : public MachineTest {
    Q_OBJECT

private Q_SLOTS:
    void propertyLists_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("answer");
        using Platform::ArchiveValue;
        const ArchiveValue root(
            ArchiveValue::Dictionary{{"version", "2.10"}, {"名", ArchiveValue::Array{"张 三", 7, true}},
                {"at", ArchiveValue::date(0)}, {"bytes", QByteArray("\x01\x02\x03\x04\x05")}});
        const QByteArray binary = Platform::PropertyList::binaryData(root);
        const auto row = [](const char* name, const QByteArray& file, const QString& key, const QString& answer) {
            QTest::newRow(name) << file << key << answer;
        };
        row("text", binary, "version", "2.10\n");
        row("text of the other form", Platform::PropertyList::xmlData(root), "version", "2.10\n");
        row("list", binary, "名", "(\n    \"\\U5f20 \\U4e09\",\n    7,\n    1\n)\n");
        row("date", binary, "at", "2001-01-01 00:00:00 +0000\n");
        row("all", binary, {},
            "{\n    at = \"2001-01-01 00:00:00 +0000\";\n"
            "    bytes = {length = 5, bytes = 0x01020304 05};\n    version = 2.10;\n"
            "    \"\\U540d\" = (\n        \"\\U5f20 \\U4e09\",\n        7,\n        1\n    );\n}\n");
        row("no such key", binary, "x", "does not exist");
        row("cut off", binary.chopped(9), "version", "is no property list");
        row("empty", "", "version", "is no property list");
        row("foreign bytes", "\xff\xfe<plist>", "version", "is no property list");
        row("huge", QByteArray(9 << 20, ' '), "version", "cannot be read");
    }
    void propertyLists() {
        QFETCH(QByteArray, file);
        QFETCH(QString, key);
        QFETCH(QString, answer);
        QVERIFY(fixture().write("/信息.plist", file));
        for (const char* name : {"信息.plist", "信息"}) {
            QStringList command{"defaults", "read", m_machine->filePath(name)};
            if (!key.isNull())
                command.append(key);
            HostPack::check(run(command), answer);
        }
    }

    void openStartsProgramsApart_data() {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<QString>("answer");
        QTest::newRow("program") << QStringList{"-a", "X.app/Contents/MacOS/X", "a b", "$c"} << "a b|$c|";
        QTest::newRow("bundle") << QStringList{"-a", "X.app", "x"} << "x||";
        QTest::newRow("none there") << QStringList{"-a", "Y.app"} << "cannot start ";
        QTest::newRow("nothing") << QStringList{} << "answers only to";
        QTest::newRow("option") << QStringList{"-R", "x"} << "answers only to";
    }
    void openStartsProgramsApart() {
        QFETCH(QStringList, command);
        QFETCH(QString, answer);
        const QString noted = m_machine->filePath("noted");
        const QString script =
            "#!/bin/sh\nprintf '%s|%s|%s' \"$1\" \"$2\" \"$LC_ALL\" >%1.new\nmv %1.new %1\nsleep 1\n";
        QVERIFY(fixture().write("/X.app/Contents/MacOS/X", QString(script).replace("%1", noted).toUtf8(), true));
        QVERIFY(::chmod(QFile::encodeName(m_machine->path()).constData(), 0777) == 0);
        if (command.size() > 1 && command[0] == u"-a")
            command[1] = m_machine->filePath(command[1]);
        const HostPack::Result result = run(QStringList{"open"} + command);
        if (answer.contains(u'|')) {
            QCOMPARE(result.error, QString());
            QTRY_VERIFY(QFile::exists(noted));
            QFile file(noted);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(QString::fromUtf8(file.readAll()), answer);
        } else {
            HostPack::check(result, answer);
        }
    }
};

QTEST_GUILESS_MAIN(tst_HostFiles)
#include "tst_HostFiles.moc"
