#include "DetailVerdict.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

using Platform::Error;
using Show = DetailVerdict::Show;

namespace {

QJsonObject json(const char* text) {
    return QJsonDocument::fromJson(QByteArray(text)).object();
}

const Error NoError;
const Error Timeout(Platform::UrlErrorDomain, Error::TimedOut, u"请求超时"_s);

void row(const char* name, const char* answer, Show show, const char* text, const char* log) {
    QTest::newRow(name) << json(answer) << static_cast<int>(show) << QString::fromUtf8(text) << QString::fromUtf8(log);
}

} // namespace

class tst_DetailVerdict : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void states_data() {
        QTest::addColumn<qint64>("state");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("hint");
        const auto state = [](qint64 value, const char* text, bool hint = false) {
            QTest::addRow("%lld", static_cast<long long>(value)) << value << QString::fromUtf8(text) << hint;
        };
        state(-9, "其它异常");
        state(-8, "设备审核通过");
        state(-7, "设备已注销");
        state(-6, "设备审核拒绝");
        state(-5, "设备待审核", true);
        state(-4, "其它异常");
        state(-3, "其它异常");
        state(-2, "其它异常");
        state(-1, "已扫码,待确定...", true);
        state(3, "其它异常");
    }
    void states() {
        QFETCH(qint64, state);
        QFETCH(QString, text);
        QFETCH(bool, hint);
        QCOMPARE(qrStateLook(state), (QRStateLook{text, hint, false}));
        QCOMPARE(qrStateLook(0), (QRStateLook{{}, false, true}));
    }

    void account_data() {
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<int>("show");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("log");
        row("empty", "{}", Show::Nothing, "", " ret:(null) msg:(null)");
        row("no ret", R"({"data":{"state":0},"msg":"m"})", Show::Text, "m", " ret:(null) msg:m");
        row("no ret, 20", R"({"errorcode":20,"msg":"m"})", Show::Text, "m", " ret:(null) msg:m");
        row("refused", R"({"ret":1,"errorcode":15,"msg":"已锁定"})", Show::Text, "已锁定", " ret:1 msg:已锁定");
        row("refused, words are a number", R"({"ret":2,"msg":5})", Show::Nothing, "", " ret:2 msg:5");
        row("new password", R"({"ret":1,"errorcode":20,"msg":"m"})", Show::ResetPage, "", "");
        row("new password, as text", R"({"ret":"-1","errorcode":"20"})", Show::ResetPage, "", "");
        row("20 with ret 0", R"({"ret":0,"errorcode":20,"data":{"state":-5}})", Show::Key, "Devicereview",
            " state:-5 msg:(null)");
        row("approved", R"({"ret":0,"data":{"state":-8},"msg":"m"})", Show::Key, "Deviceapproved", " state:-8 msg:m");
        row("logged out", R"({"ret":0,"data":{"state":-7}})", Show::Key, "Devicelogout", " state:-7 msg:(null)");
        row("not signed in", R"({"ret":0,"data":{"state":-2}})", Show::Key, "NotLogin", " state:-2 msg:(null)");
        row("scanned", R"({"ret":0,"data":{"state":-1}})", Show::Text, "二维码已扫描", " state:-1 msg:(null)");
        row("other state", R"({"ret":0,"data":{"state":-9}})", Show::Nothing, "", " state:-9 msg:(null)");
        row("no data", R"({"ret":0})", Show::Nothing, "", " state:(null) msg:(null)");
        row("data is a list", R"({"ret":0,"data":[0]})", Show::Nothing, "", " state:(null) msg:(null)");
        row("state is null", R"({"ret":0,"data":{"state":null,"status":0}})", Show::Nothing, "",
            " state:(null) msg:(null)");
        row("signed in", R"({"ret":0,"data":{"state":0,"status":-5},"msg":"ok"})", Show::SignedIn, "",
            " state:0 msg:ok");
    }
    void account() {
        QFETCH(QJsonObject, answer);
        QFETCH(int, show);
        QFETCH(QString, text);
        QFETCH(QString, log);
        const DetailVerdict verdict = judgeAccountAnswer(answer, NoError);
        QCOMPARE(static_cast<int>(verdict.show), show);
        QCOMPARE(verdict.text, text);
        QCOMPARE(verdict.log, log.isEmpty() ? QString() : u"[QenDetailWindow] QenCloud Account login"_s + log);
    }

    void resetLogoutAndTransport() {
        const QJsonObject good = json(R"({"ret":0,"data":{"state":0},"msg":"ok"})");
        const QString head = u"[QenDetailWindow] QenCloud "_s;
        QCOMPARE(judgeAccountAnswer(good, Timeout),
            (DetailVerdict{Show::Text, u"请求超时"_s, head + u"Account login fail msg:请求超时"_s}));
        QCOMPARE(judgeResetAnswer(good, Timeout),
            (DetailVerdict{Show::Text, u"请求超时"_s, head + u"resetpassword fail msg:请求超时"_s}));
        QCOMPARE(judgeResetAnswer(json(R"({"ret":-1,"errorcode":20,"msg":"m"})"), NoError),
            (DetailVerdict{Show::Text, u"m"_s, head + u"resetpassword ret:-1 msg:m"_s}));
        QCOMPARE(judgeResetAnswer(good, NoError),
            (DetailVerdict{Show::SignedIn, {}, head + u"resetpassword state:0 msg:ok"_s}));
        QCOMPARE(judgeDetailLogoutAnswer(good, NoError), DetailVerdict());
        QCOMPARE(judgeDetailLogoutAnswer(json(R"({"ret":3,"msg":"忙"})"), NoError),
            (DetailVerdict{Show::Text, u"忙"_s, head + u"logout ret:3 msg:忙"_s}));
        QCOMPARE(judgeDetailLogoutAnswer({}, Timeout).log, head + u"logout fail msg:请求超时"_s);
    }

    void qrPoll_data() {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<qint64>("forwarded");
        QTest::addColumn<QString>("log");
        QTest::addColumn<int>("logType");
        constexpr qint64 None = 99;
        for (const qint64 state : {-9, -8, -6, -5, -1, 0, 1, 3})
            QTest::addRow("state %lld", static_cast<long long>(state))
                << uR"({"ret":0,"msg":"m","data":{"state":%1}})"_s.arg(state) << state << u"state:%1 msg:m"_s.arg(state)
                << 32;
        for (const qint64 state : {-7, -4, -3, -2})
            QTest::addRow("state %lld", static_cast<long long>(state))
                << uR"({"ret":0,"msg":"m","data":{"state":%1}})"_s.arg(state) << None << u"state:%1 msg:m"_s.arg(state)
                << 32;
        QTest::newRow("no state") << R"({"ret":0,"data":{}})" << None << "state:(null) msg:(null)" << 32;
        QTest::newRow("refused") << R"({"ret":-1,"msg":"m","data":{"state":0}})" << None << "ret:-1 msg:m" << 1;
        QTest::newRow("no ret") << R"({"data":{"state":0}})" << None << "ret:(null) msg:(null)" << 1;
    }
    void qrPoll() {
        QFETCH(QString, answer);
        QFETCH(qint64, forwarded);
        QFETCH(QString, log);
        QFETCH(int, logType);
        const QRPollVerdict verdict = judgeQRPoll(json(answer.toUtf8().constData()), NoError);
        QCOMPARE(verdict.forwarded.value_or(99), forwarded);
        QCOMPARE(verdict.log, u"[QenDetailWindow] QenCloud Check QRLogin "_s + log);
        QCOMPARE(verdict.logType, logType);
    }

    void pollsThatFail() {
        QCOMPARE(judgeQRPoll({}, Timeout),
            (QRPollVerdict{std::nullopt, u"[QenDetailWindow] QenCloud Check QRLogin fail msg:请求超时"_s, 1}));
        QCOMPARE(judgeTicketPoll({}, Timeout),
            (TicketPollVerdict{false, false, u"[QenDetailWindow] QenCloud Check ticket error:请求超时"_s}));
    }

    void ticketPoll() {
        const auto confirmed = [](const char* text) {
            const TicketPollVerdict verdict = judgeTicketPoll(json(text), NoError);
            return verdict.isAnswered && verdict.isConfirmed;
        };
        QVERIFY(confirmed(R"({"ret":0,"data":{"state":0}})"));
        for (const char* other : {"{}", R"({"ret":0})", R"({"data":{"state":0}})", R"({"ret":1,"data":{"state":0}})",
                 R"({"ret":0,"data":{"state":-5}})", R"({"ret":0,"data":[0]})"})
            QVERIFY2(!confirmed(other), other);
        QCOMPARE(judgeTicketPoll(json(R"({"ret":0,"msg":"ok"})"), NoError).log,
            u"[QenDetailWindow] QenCloud Check ticket response msg:ok"_s);
    }
};

QTEST_GUILESS_MAIN(tst_DetailVerdict)
#include "tst_DetailVerdict.moc"
