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

    void truth() {
        UserDefaults defaults(file("truth.plist"));
        const std::vector<std::pair<ArchiveValue, bool>> rows{{true, true}, {-3, true}, {0, false}, {0.5, true},
            {"YES", true}, {" -007", true}, {"0.9", false}, {"no", false},
            {ArchiveValue(ArchiveValue::Array{true}), false}, {ArchiveValue(), false}};
        for (size_t i = 0; i < rows.size(); ++i) {
            defaults.setObject(rows[i].first, "key");
            QVERIFY2(defaults.boolForKey("key") == rows[i].second, qPrintable(QString::number(i)));
        }
    }

    void defaultsAreKept() {
        const QString path = file("Preferences/mine.plist");
        UserDefaults first(path);
        QCOMPARE(first.boolForKey("mark"), false);
        QVERIFY(first.synchronize());
        QVERIFY(!QFileInfo::exists(path)); // nothing to say, nothing written
        first.setBool(true, "mark");
        first.setObject("文字", "text");
        QVERIFY(first.boolForKey("mark"));
        QVERIFY(!QFileInfo::exists(path));
        QVERIFY(first.synchronize());
        struct stat facts {};
        QCOMPARE(::stat(QFile::encodeName(path).constData(), &facts), 0);
        QCOMPARE(facts.st_mode & 0777, 0600u);
        QVERIFY(readFile(path, 4096)->startsWith("bplist00"));

        UserDefaults second(path);
        QCOMPARE(second.objectForKey("text").string(), u"文字"_s);
        second.setBool(true, "other");
        second.setObject({}, "text");
        QVERIFY(second.synchronize());
        first.setObject(4, "number");
        QVERIFY(first.synchronize()); // on top of what the other one wrote
        UserDefaults third(path);
        QVERIFY(third.boolForKey("other") && third.boolForKey("mark") && third.boolForKey("number"));
        QVERIFY(third.objectForKey("text").isNothing());

        QVERIFY(write("Preferences/mine.plist", "bplist00 and then nonsense"));
        UserDefaults damaged(path);
        QCOMPARE(damaged.boolForKey("mark"), false);
        damaged.setBool(true, "mark");
        QVERIFY(damaged.synchronize());
        QVERIFY(UserDefaults(path).boolForKey("mark"));
    }
    void unwritableDefaultsStay() {
        QVERIFY(write("blocked", "a file where the folder should be"));
        UserDefaults defaults(file("blocked/mine.plist"));
        defaults.setBool(true, "mark");
        QVERIFY(!defaults.synchronize());
        QVERIFY(defaults.boolForKey("mark"));
        QVERIFY(QFile::remove(file("blocked")));
        QVERIFY(defaults.synchronize());
        QVERIFY(UserDefaults(file("blocked/mine.plist")).boolForKey("mark"));
    }
};

QTEST_GUILESS_MAIN(TestBundle)
#include "tst_Bundle.moc"
