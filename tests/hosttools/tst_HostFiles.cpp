#include "HostPack.h"
#include "PropertyList.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <optional>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

/// The commands of the pack that read files and start programs which the caller names.
class tst_HostFiles : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_machine.emplace();
        HostPack::makeReadable(m_machine->path());
    }

    void propertyLists_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("answer");
        using Platform::ArchiveValue;
        const ArchiveValue root(
            ArchiveValue::Dictionary{{"version", "2.10"}, {"名", ArchiveValue::Array{"张 三", 7, true}},
                {"at", ArchiveValue::date(0)}, {"bytes", QByteArray("\x01\x02\x03\x04\x05")}});
        const QByteArray binary = Platform::PropertyList::binaryData(root);
        QTest::newRow("text") << binary << "version"
                              << "2.10\n";
        QTest::newRow("text of the other form") << Platform::PropertyList::xmlData(root) << "version"
                                                << "2.10\n";
        QTest::newRow("list") << binary << "名"
                              << "(\n    \"\\U5f20 \\U4e09\",\n    7,\n    1\n)\n";
        QTest::newRow("date") << binary << "at"
                              << "2001-01-01 00:00:00 +0000\n";
        QTest::newRow("bytes") << binary << "bytes"
                               << "{length = 5, bytes = 0x01020304 05}\n";
        QTest::newRow("all") << binary << QString()
                             << "{\n    at = \"2001-01-01 00:00:00 +0000\";\n"
                                "    bytes = {length = 5, bytes = 0x01020304 05};\n    version = 2.10;\n"
                                "    \"\\U540d\" = (\n        \"\\U5f20 \\U4e09\",\n        7,\n        1\n    );\n}\n";
        QTest::newRow("no such key") << binary << "x"
                                     << "does not exist";
        QTest::newRow("cut off") << binary.chopped(9) << "version"
                                 << "is no property list";
        QTest::newRow("empty") << QByteArray() << "version"
                               << "is no property list";
        QTest::newRow("foreign bytes") << QByteArray("\xff\xfe<plist>") << "version"
                                       << "is no property list";
        QTest::newRow("huge") << QByteArray(9 << 20, ' ') << "version"
                              << "cannot be read";
    }
    void propertyLists() {
        QFETCH(QByteArray, file);
        QFETCH(QString, key);
        QFETCH(QString, answer);
        put("信息.plist", file);
        for (const char* name : {"信息.plist", "信息"}) {
            QStringList command{"defaults", "read", m_machine->filePath(name)};
            if (!key.isNull())
                command.append(key);
            HostPack::check(m_pack.run(m_machine->path(), command), answer);
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
        QVERIFY(QDir(m_machine->path()).mkpath("X.app/Contents/MacOS"));
        put("X.app/Contents/MacOS/X",
            "#!/bin/sh\nprintf '%s|%s|%s' \"$1\" \"$2\" \"$LC_ALL\" >" + noted.toUtf8() + ".new\nmv " + noted.toUtf8() +
                ".new " + noted.toUtf8() + "\nsleep 1\n");
        HostPack::makeReadable(m_machine->filePath("X.app/Contents/MacOS/X"));
        QVERIFY(::chmod(QFile::encodeName(m_machine->path()).constData(), 0777) == 0);
        if (command.size() > 1 && command[0] == u"-a")
            command[1] = m_machine->filePath(command[1]);
        const HostPack::Result result = m_pack.run(m_machine->path(), QStringList{"open"} + command);
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

private:
    void put(const QString& name, const QByteArray& content) const {
        QFile file(m_machine->filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    }

    const HostPack m_pack;
    std::optional<QTemporaryDir> m_machine;
};

QTEST_GUILESS_MAIN(tst_HostFiles)
#include "tst_HostFiles.moc"
