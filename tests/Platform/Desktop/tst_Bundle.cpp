#include "Bundle.h"

#include "Files.h"
#include "PropertyList.h"
#include "UserDefaults.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

using namespace Platform;

class TestBundle : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_folder;
    QString file(const QString& name) const { return m_folder.path() + u'/' + name; }
    bool write(const QString& name, const QByteArray& bytes) const {
        return makeFolder(QFileInfo(file(name)).path()) && !replaceFile(file(name), bytes);
    }

private Q_SLOTS:
    void initTestCase() { qputenv("MAV_ROOT", m_folder.path().toLocal8Bit()); }

    void resources() {
        const QString bundle = "Applications/Mav/Mav.app/Contents/";
        QCOMPARE(resourcePath("Some", "plist"), QString());
        QVERIFY(write(bundle + "Resources/Some.plist", "x") && write(bundle + "Resources/plain", "x"));
        QCOMPARE(resourcePath("Some", "plist"), file(bundle + "Resources/Some.plist"));
        QCOMPARE(resourcePath("plain", ""), file(bundle + "Resources/plain"));
        QCOMPARE(resourcePath("", ""), QString());

        QCOMPARE(infoValue("CFBundleVersion"), MAV_VERSION);
        QCOMPARE(infoValue("CFBundleName"), QString());
        const ArchiveValue information(ArchiveValue::Dictionary{{"CFBundleVersion", "7.5"}, {"CFBundleName", "Mav"}});
        QVERIFY(write(bundle + "Info.plist", PropertyList::xmlData(information)));
        QCOMPARE(infoValue("CFBundleVersion"), "7.5");
        QCOMPARE(infoValue("CFBundleName"), "Mav");
        QVERIFY(write(bundle + "Info.plist", "<plist>"));
        QCOMPARE(infoValue("CFBundleShortVersionString"), MAV_VERSION);
    }

    void defaultsAreKept() {
        const QString path = file("Preferences/mine.plist");
        UserDefaults first(path);
        QCOMPARE(first.boolForKey("mark"), false);
        QVERIFY(first.setObject({}, "mark"));
        QVERIFY(!QFileInfo::exists(path)); // nothing to say, nothing written
        QVERIFY(first.setBool(true, "mark") && first.setObject("文字", "text"));
        struct stat facts {};
        QCOMPARE(::stat(QFile::encodeName(path).constData(), &facts), 0);
        QCOMPARE(facts.st_mode & 0777, 0600u);
        QVERIFY(readFile(path, 4096)->startsWith("bplist00"));
        const FileIdentity written = fileIdentity(path);
        QVERIFY(first.setBool(true, "mark") && fileIdentity(path) == written);

        UserDefaults second(path);
        QCOMPARE(second.objectForKey("text").string(), u"文字"_s);
        QVERIFY(second.setBool(true, "other") && second.setObject({}, "text"));
        QVERIFY(first.setObject(4, "number") && first.setBool(false, "mark")); // on top of what the other one wrote
        QVERIFY(second.boolForKey("other") && !second.boolForKey("mark") && second.boolForKey("number"));
        QVERIFY(first.objectForKey("text").isNothing() && !first.objectForKey("mark").isNothing());

        QVERIFY(write("Preferences/mine.plist", "bplist00 and then nonsense"));
        QCOMPARE(first.boolForKey("other"), false);
        QVERIFY(first.setBool(true, "mark"));
        QVERIFY(second.boolForKey("mark"));

        QVERIFY(write("blocked", "a file where the folder should be"));
        QVERIFY(!UserDefaults(file("blocked/mine.plist")).setBool(true, "mark"));
    }
};

QTEST_GUILESS_MAIN(TestBundle)
#include "tst_Bundle.moc"
