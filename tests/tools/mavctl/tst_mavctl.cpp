#include "Files.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "MavServerSetingWinCtrl.h"
#include "PropertyList.h"
#include "QenServerConfig.h"
#include "SupportTool.h"

#include <limits>
#include <optional>

using namespace Platform;

/// State files in a terminal: archives, and the server that an administrator sets without a window.
class tst_mavctl : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_tool.emplace();
        m_path = m_tool->file(u"state/state.archive"_s);
        QVERIFY(QDir().mkpath(m_tool->file(u"state"_s)));
        m_server = m_tool->agent() + u"/.QenConfig"_s;
    }

    void showsAndWrites_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<ArchiveValue>("value");
        const auto row = [](const char* json, const ArchiveValue& value) {
            QTest::newRow(json) << QByteArray(json) << value;
        };
        row(R"("userPolicyRequest")", "userPolicyRequest");
        row("null", ArchiveValue());
        row("[]", ArchiveValue(ArchiveValue::Array()));
        row("{}", ArchiveValue(ArchiveValue::Dictionary()));
        row("[null]", ArchiveValue(ArchiveValue::Array{ArchiveValue::null()}));
        row("9007199254740993", 9007199254740993);
        row("-9223372036854775808", std::numeric_limits<qint64>::min());
        row("18446744073709551615", std::numeric_limits<quint64>::max());
        row("0.1", 0.1);
        row("3.0", 3.0);
        row("5e-324", 5e-324);
        row(R"({"$data": "AAH/"})", QByteArray::fromHex("0001ff"));
        row(R"({"$date": "2000-12-31T23:59:59.5Z"})", ArchiveValue::date(-0.5));
        row(R"({"$date": "2021-05-23T07:21:53.983068Z"})", ArchiveValue::date(643447313.983068));
        row(R"({"$double": "inf"})", std::numeric_limits<double>::infinity());
        row(R"({"$$class": 1, "$other": 2})", ArchiveValue(ArchiveValue::Dictionary{{"$class", 1}, {"$other", 2}}));
        row("[\"公司 \\u0001 \\\"\\\\ \U0001f600\"]", ArchiveValue(ArchiveValue::Array{"公司 \x01 \"\\ \U0001f600"}));
        ArchiveValue unknown = ArchiveValue::object("SomethingElse");
        unknown.setField("name", "a");
        unknown.setField("none", ArchiveValue());
        unknown.setField("list", ArchiveValue(ArchiveValue::Array{1, ArchiveValue::object("Empty")}));
        row(R"({"$class": "SomethingElse", "name": "a", "none": null, "list": [1, {"$class": "Empty"}]})", unknown);
        row(R"({"name": "a", "none": null, "list": [1, {"$class": "Empty"}], "$class": "SomethingElse"})", unknown);
    }
    void showsAndWrites() {
        QFETCH(QByteArray, json);
        QFETCH(ArchiveValue, value);
        QCOMPARE(m_tool->run({"archive", "write", m_path}, json).status, 0);
        const QByteArray bytes = readFile(m_path, 1 << 20).value_or(QByteArray());
        QVERIFY(stored() == value);
        QCOMPARE(bytes, KeyedArchiver::archivedData(value));
        const SupportTool::Outcome shown = m_tool->run({"archive", "show", m_path});
        QCOMPARE(shown.status, 0);
        QCOMPARE(shown.error, QByteArray());
        QCOMPARE(m_tool->run({"archive", "write", m_path}, shown.output).status, 0);
        QVERIFY(stored() == value);
        QCOMPARE(m_tool->run({"archive", "show", m_path}).output, shown.output);
        QCOMPARE(QDir(m_tool->file(u"state"_s)).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    /// Many keys come out of the table in an order of their own; the listing has one that lasts.
    void sorted() {
        ArchiveValue::Dictionary entries;
        for (int i = 99; i >= 0; --i)
            entries.push_back({u"key %1"_s.arg(i), i});
        QVERIFY(!replaceFile(m_path, KeyedArchiver::archivedData(ArchiveValue(entries))));
        const SupportTool::Outcome shown = m_tool->run({"archive", "show", m_path});
        QVERIFY(shown.output.startsWith("{\n  \"key 0\": 0,\n  \"key 1\": 1,\n  \"key 10\": 10,\n"));
        QCOMPARE(m_tool->run({"archive", "write", m_path}, shown.output).status, 0);
        QVERIFY(stored() == ArchiveValue(entries));
        QCOMPARE(m_tool->run({"archive", "show", m_path}).output, shown.output);
    }

    void showsPropertyLists() {
        const ArchiveValue list(ArchiveValue::Dictionary{{"a", 1}});
        for (const QByteArray& bytes : {PropertyList::binaryData(list), PropertyList::xmlData(list)}) {
            QVERIFY(!replaceFile(m_path, bytes));
            QCOMPARE(m_tool->run({"archive", "show", m_path}).output, QByteArray("{\n  \"a\": 1\n}\n"));
        }
    }

    /// A text that stands at many places is one in the file and in memory, not in the listing.
    void sharedText() {
        const ArchiveValue text = ArchiveValue(QString(10000, u'x')).asOneInstance();
        const QByteArray file = KeyedArchiver::archivedData(ArchiveValue(ArchiveValue::Array(20000, text)));
        QVERIFY(!file.isEmpty() && file.size() < 200000);
        QVERIFY(!replaceFile(m_path, file));
        const SupportTool::Outcome shown = m_tool->run({"archive", "show", m_path});
        QCOMPARE(shown.status, 1);
        QVERIFY2(shown.error.contains("longer"), shown.error.constData());
        QVERIFY(shown.output.isEmpty());
    }

    void refusals_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("status");
        const auto row = [](const char* name, const QStringList& arguments, const QByteArray& input, int status) {
            QTest::newRow(name) << arguments << input << status;
        };
        const QStringList write{"archive", "write", "FILE"};
        row("no verb", {}, "", 2);
        row("unknown verb", {"archives"}, "", 2);
        row("unknown action", {"archive", "print", "FILE"}, "", 2);
        row("no file", {"archive", "show"}, "", 2);
        row("missing file", {"archive", "show", "FILE"}, "", 1);
        row("a folder", {"archive", "show", "."}, "", 1);
        row("a device", {"archive", "show", "/dev/zero"}, "", 1);
        row("no archive", {"archive", "show", MAVCTL}, "", 1);
        row("damaged archive", {"archive", "show", "FILE.damaged"}, "", 1);
        row("no input", write, "", 1);
        row("not JSON", write, "{\"a\":", 1);
        row("two values", write, "1 2", 1);
        row("not UTF-8", write, "\"\xff\"", 1);
        row("no Base64", write, R"({"$data": "?"})", 1);
        row("no date", write, R"({"$date": "2021-02-30T00:00:00Z"})", 1);
        row("class without name", write, R"({"$class": 5})", 1);
        row("too deep", write, QByteArray(100000, '['), 1);
        row("one too deep", write, QByteArray(129, '[') + QByteArray(129, ']'), 1);
        row("too many values", write, "[" + QByteArray("1,").repeated(300000) + "1]", 1);
        row("too long", write, "\"" + QByteArray(9 << 20, 'a') + "\"", 1);
        row("unwritable", {"archive", "write", "/proc/none/state.archive"}, "1", 1);
    }
    void refusals() {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, input);
        QFETCH(int, status);
        arguments.replaceInStrings(u"FILE"_s, m_path);
        QByteArray damaged = KeyedArchiver::archivedData("a");
        damaged.replace("Troot", "Tr0Ot").replace(QByteArray("\x80\x01", 2), QByteArray("\x80\x09", 2));
        SupportTool::write(m_path + u".damaged"_s, damaged);
        const SupportTool::Outcome outcome = m_tool->run(arguments, input);
        QCOMPARE(outcome.status, status);
        QCOMPARE(outcome.output, QByteArray());
        if (status == 1)
            QVERIFY2(outcome.error.count('\n') == 1 && outcome.error.endsWith('\n'), outcome.error.constData());
        else
            QVERIFY(outcome.error.startsWith("usage: mavctl "));
        QVERIFY(!QFile::exists(m_path));
    }

    /// Whatever the window refuses is refused here, before anything is written.
    void addressRefusals() {
        using Typed = QList<QPair<QString, QString>>;
        for (const auto& [address, port] : Typed{{"mav.example.org", "8080"}, {"10.0.0", "8080"},
                 {"10.0.0.256", "8080"}, {"10.0.0.1 ", "8080"}, {"10.0.0.1\n", "8080"}, {"", "8080"}, {"::1", "80"},
                 {"10.0.0.1", "80a"}, {"10.0.0.1", "-1"}, {"10.0.0.1", "80:80"},
                 // Typed in the window these are kept; as a configuration they reach nobody.
                 {"10.0.0.1", ""}, {"10.0.0.1", "0"}, {"10.0.0.1", "65536"}, {"10.0.0.1", "８０"}}) {
            const auto [status, output, errors] = server({u"set"_s, address + u':' + port});
            QVERIFY2(status == 1 && !QFile::exists(m_server), qPrintable(address + u':' + port));
            QCOMPARE(errors.count('\n'), 1);
        }
        for (const auto& [address, port] :
            Typed{{"10.0.0.1", "8080"}, {"255.255.255.255", "65535"}, {"010.0.0.01", "1"}}) {
            QCOMPARE((TypedServer{address, port}.fault()), TypedServer::Fault::None);
            const auto [status, output, errors] = server({u"set"_s, address + u':' + port});
            QVERIFY2(status == 0 && QFile::remove(m_server), qPrintable(address + u':' + port));
            QCOMPARE(errors, QByteArray());
        }
    }

    void setOnceAndTheClientReadsIt() {
        QCOMPARE(server({u"set"_s, u"--check"_s, u"10.1.2.3"_s}).status, 3);
        QVERIFY(!QFile::exists(m_server));
        QCOMPARE(server({u"set"_s, u"10.1.2.3"_s}).output, "changed to 10.1.2.3:80\n");
        const auto written = QFileInfo(m_server).metadataChangeTime();
        QCOMPARE(server({u"set"_s, u"10.1.2.3:80"_s}).output, "unchanged 10.1.2.3:80\n");
        QCOMPARE(server({u"set"_s, u"--check"_s, u"10.1.2.3"_s}).status, 0);
        QCOMPARE(QFileInfo(m_server).metadataChangeTime(), written);
        QCOMPARE(server({u"show"_s}).output, "intranet 10.1.2.3:80\nextranet 10.1.2.3:80\ndomain 10.1.2.3:80\n");

        QenServerConfig config(m_server, m_tool->file(u"home"_s));
        config.updateServerConfig();
        QCOMPARE(config.AcountIP_Config(), u"10.1.2.3"_s);
        QCOMPARE(config.AcountIP_Port(), 80U);
        QCOMPARE(config.extranet_server(), u"10.1.2.3"_s);
        QCOMPARE(config.domain_port(), 80U);
    }

    void aFileThatClientsCannotUseIsReplaced() {
        QCOMPARE(server({u"set"_s, u"10.1.2.3"_s}).status, 0);
        for (const bool isDamaged : {false, true}) {
            if (isDamaged)
                SupportTool::write(m_server, "bplist00 cut off");
            QVERIFY(QFile::setPermissions(m_server, QFile::ReadOwner | QFile::WriteOwner));
            QCOMPARE(server({u"show"_s}).status, int(isDamaged));
            QCOMPARE(server({u"set"_s, u"10.1.2.3"_s}).output, "changed to 10.1.2.3:80\n");
            QVERIFY(QFileInfo(m_server).permission(QFile::ReadOther | QFile::ReadGroup));
            QCOMPARE(server({u"show"_s}).status, 0);
        }
    }

    void failuresAreOneLine() {
        QCOMPARE(server({u"show"_s}).status, 1);
        QVERIFY(QDir(m_tool->agent()).removeRecursively());
        const auto [status, output, errors] = server({u"set"_s, u"10.1.2.3"_s});
        QCOMPARE(status, 1);
        QVERIFY2(errors.contains(m_server.toUtf8()) && errors.count('\n') == 1, errors.constData());
        for (const QStringList& words : {QStringList{}, {u"set"_s}, {u"set"_s, u"--check"_s}, {u"show"_s, u"x"_s}})
            QCOMPARE(server(words).status, 2);
    }

private:
    SupportTool::Outcome server(const QStringList& words) const {
        return m_tool->run(QStringList{u"server"_s} + words);
    }

    std::optional<ArchiveValue> stored() const {
        return KeyedUnarchiver::unarchivedObject(
            readFile(m_path, 1 << 20).value_or(QByteArray()), AllowedClasses::any());
    }

    std::optional<SupportTool> m_tool;
    QString m_path;
    QString m_server;
};

QTEST_GUILESS_MAIN(tst_mavctl)
#include "tst_mavctl.moc"
