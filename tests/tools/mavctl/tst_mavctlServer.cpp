#include "MavServerSetingWinCtrl.h"
#include "QenServerConfig.h"
#include "SupportTool.h"

#include <optional>

using namespace Qt::StringLiterals;

/// An administrator sets the server without a window, in a root of its own.
class tst_mavctlServer : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_tool.emplace();
        m_file = m_tool->agent() + u"/.QenConfig"_s;
    }

    /// Whatever the window refuses is refused here, before anything is written.
    void refusals_data() {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("port");
        QTest::addColumn<bool>("isRefused");
        const auto row = [](const char* address, const char* port, bool isRefused) {
            QTest::addRow("%s:%s", address, port) << QString::fromUtf8(address) << QString::fromUtf8(port) << isRefused;
        };
        row("10.0.0.1", "8080", false);
        row("255.255.255.255", "65535", false);
        row("010.0.0.01", "1", false);
        row("mav.example.org", "8080", true);
        row("10.0.0", "8080", true);
        row("10.0.0.256", "8080", true);
        row("10.0.0.1 ", "8080", true);
        row("10.0.0.1\n", "8080", true);
        row("", "8080", true);
        row("::1", "80", true);
        row("10.0.0.1", "80a", true);
        row("10.0.0.1", "-1", true);
        row("10.0.0.1", "80:80", true);
        // Typed in the window these are kept; as a configuration they reach nobody.
        row("10.0.0.1", "", true);
        row("10.0.0.1", "0", true);
        row("10.0.0.1", "65536", true);
        row("10.0.0.1", "８０", true);
    }

    void refusals() {
        QFETCH(QString, address);
        QFETCH(QString, port);
        QFETCH(bool, isRefused);
        if (TypedServer{address, port}.fault() != TypedServer::Fault::None)
            QVERIFY2(isRefused, "the window refuses it");
        const auto [status, output, errors] = run({u"set"_s, address + u':' + port});
        QCOMPARE(status, isRefused ? 1 : 0);
        QCOMPARE(QFile::exists(m_file), !isRefused);
        QCOMPARE(errors.count('\n'), isRefused ? 1 : 0);
    }

    void setOnceAndTheClientReadsIt() {
        QCOMPARE(run({u"set"_s, u"--check"_s, u"10.1.2.3"_s}).status, 3);
        QVERIFY(!QFile::exists(m_file));
        QCOMPARE(run({u"set"_s, u"10.1.2.3"_s}).output, "changed to 10.1.2.3:80\n");
        const auto written = QFileInfo(m_file).metadataChangeTime();
        QCOMPARE(run({u"set"_s, u"10.1.2.3:80"_s}).output, "unchanged 10.1.2.3:80\n");
        QCOMPARE(run({u"set"_s, u"--check"_s, u"10.1.2.3"_s}).status, 0);
        QCOMPARE(QFileInfo(m_file).metadataChangeTime(), written);
        QCOMPARE(run({u"show"_s}).output, "intranet 10.1.2.3:80\nextranet 10.1.2.3:80\ndomain 10.1.2.3:80\n");

        QenServerConfig config(m_file, m_tool->file(u"home"_s));
        config.updateServerConfig();
        QCOMPARE(config.AcountIP_Config(), u"10.1.2.3"_s);
        QCOMPARE(config.AcountIP_Port(), 80U);
        QCOMPARE(config.extranet_server(), u"10.1.2.3"_s);
        QCOMPARE(config.domain_port(), 80U);
    }

    void aFileThatClientsCannotUseIsReplaced_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("showStatus");
        QTest::newRow("damaged") << QByteArray("bplist00 cut off") << 1;
        QTest::newRow("unreadable") << QByteArray() << 0;
    }

    void aFileThatClientsCannotUseIsReplaced() {
        QFETCH(QByteArray, bytes);
        QCOMPARE(run({u"set"_s, u"10.1.2.3"_s}).status, 0);
        QFile file(m_file);
        if (!bytes.isEmpty())
            SupportTool::write(m_file, bytes);
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner));
        QTEST(run({u"show"_s}).status, "showStatus");
        QCOMPARE(run({u"set"_s, u"10.1.2.3"_s}).output, "changed to 10.1.2.3:80\n");
        QVERIFY(QFileInfo(m_file).permission(QFile::ReadOther | QFile::ReadGroup));
        QCOMPARE(run({u"show"_s}).status, 0);
    }

    void failuresAreOneLine() {
        QCOMPARE(run({u"show"_s}).status, 1);
        QVERIFY(QDir(m_tool->agent()).removeRecursively());
        const auto [status, output, errors] = run({u"set"_s, u"10.1.2.3"_s});
        QCOMPARE(status, 1);
        QVERIFY2(errors.contains(m_file.toUtf8()) && errors.count('\n') == 1, errors.constData());
        for (const QStringList& words : {QStringList{}, {u"set"_s}, {u"set"_s, u"--check"_s}, {u"show"_s, u"x"_s}})
            QCOMPARE(run(words).status, 2);
    }

private:
    SupportTool::Outcome run(const QStringList& words) const { return m_tool->run(QStringList{u"server"_s} + words); }

    std::optional<SupportTool> m_tool;
    QString m_file;
};

QTEST_GUILESS_MAIN(tst_mavctlServer)
#include "tst_mavctlServer.moc"
