#include "ErrorText.h"
#include "MavResources.h"
#include "StringTable.h"

#include <QTest>

using namespace Qt::StringLiterals;

using Platform::Error;

class tst_ErrorText : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QCOMPARE(localizedString(u"Login"_s), QString()); // before the table is there: nothing, and not the key
        initMavResources();
        QVERIFY(installStringTable());
    }

    void table_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("text");
        QTest::newRow("known") << "Login"
                               << "登 录";
        QTest::newRow("other case") << "login" << QString();
        QTest::newRow("none") << "" << QString();
    }
    void table() {
        QFETCH(QString, key);
        QTEST(localizedString(key), "text");
    }

    void whatAPersonReads_data() {
        QTest::addColumn<QString>("domain");
        QTest::addColumn<qint64>("code");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("text");
        const QString url = Platform::UrlErrorDomain;
        const auto row = [&](const char* name, const QString& domain, qint64 code, int status, const char* text) {
            QTest::newRow(name) << domain << code << status << QString::fromUtf8(text);
        };
        row("time-out", url, Error::TimedOut, 0, "请求超时。");
        row("without a name", url, Error::Unknown, 0, "网络请求失败。");
        row("500", url, Error::BadServerResponse, 500, "服务器暂时无法处理请求，请稍后再试。");
        row("503", url, Error::BadServerResponse, 503, "服务器暂时无法处理请求，请稍后再试。");
        row("404", url, Error::BadServerResponse, 404, "服务器拒绝了请求，请联系管理员。");
        row("307", url, Error::BadServerResponse, 307, "无法解析服务器的响应。");
        row("no JSON", Platform::CocoaErrorDomain, Error::NotJson, 0, "服务器返回的数据格式不正确。");
        row("another domain", u"D"_s, Error::TimedOut, 0, "Fail:code=-1001");
    }
    void whatAPersonReads() {
        QFETCH(QString, domain);
        QFETCH(qint64, code);
        QFETCH(int, status);
        QFETCH(QString, text);
        Error told;
        describing([&](int, const Error& error) { told = error; })(0, Error(domain, code, {}, u"words (1)"_s, status));
        QCOMPARE(told.localizedDescription(), text);
        QVERIFY(told.logText().contains(u"(words (1))"_s));
        QVERIFY(!describedError({}));
        QCOMPARE(describedError({u"D"_s, 7, u"text"_s}).localizedDescription(), u"text"_s);
        // The transport knows every code by a text of its own.
        const qint64 codes[] = {Error::Cancelled, Error::BadUrl, Error::UnsupportedUrl, Error::CannotFindHost,
            Error::CannotConnect, Error::ConnectionLost, Error::TooManyRedirects, Error::CannotDecodeContent,
            Error::CannotParseResponse, Error::ResponseTooLarge, Error::SecureConnectionFailed};
        for (const qint64 known : codes)
            QVERIFY(!describedError({Platform::UrlErrorDomain, known}).localizedDescription().isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_ErrorText)
#include "tst_ErrorText.moc"
