#include "AnswerVerdict.h"
#include "ErrorText.h"
#include "MavResources.h"
#include "PasswordRules.h"
#include "StringTable.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

using Platform::Error;
using Show = AnswerVerdict::Show;

namespace {

QJsonObject json(const char* text) {
    return QJsonDocument::fromJson(QByteArray(text)).object();
}

const Error NoError;
const Error NotJson(Platform::CocoaErrorDomain, Error::NotJson, u"不是 JSON"_s);
const Error Timeout(Platform::UrlErrorDomain, Error::TimedOut, u"请求超时"_s);
const Error Wordless(Platform::UrlErrorDomain, Error::TimedOut);

void row(
    const AnswerPlace& place, const char* name, const char* answer, Show show, const char* text, const char* log = "") {
    QTest::newRow(name) << &place << json(answer) << static_cast<int>(show) << QString::fromUtf8(text)
                        << QString::fromUtf8(log);
}

} // namespace

/// What is shown and logged of an answer, and of none.
class tst_AnswerVerdict : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QCOMPARE(localizedString(u"Login"_s), QString()); // before the table is there: nothing, and not the key
        initMavResources();
        QVERIFY(installStringTable());
        QCOMPARE(localizedString(u"Login"_s), u"登 录"_s);
        QCOMPARE(localizedString(u"login"_s), QString());
    }

    void answers_data() {
        QTest::addColumn<const AnswerPlace*>("place");
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<int>("show");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("log");

        const AnswerPlace& page = AnswerPlace::LoginPage;
        row(page, "empty", "{}", Show::Key, "AnswerUnusable");
        row(page, "no ret", R"({"data":{"status":0,"state":0},"msg":"ok"})", Show::Key, "AnswerUnusable");
        row(page, "ret is a list", R"({"ret":[0],"data":{"status":0}})", Show::Key, "AnswerUnusable");
        row(page, "refused without words", R"({"ret":1,"errorcode":7})", Show::Nothing, "");
        row(page, "words are a number", R"({"ret":1,"errorcode":7,"msg":5})", Show::Nothing, "");
        row(page, "data is text", R"({"ret":0,"data":"0"})", Show::Nothing, "");
        row(page, "status missing", R"({"ret":0,"data":{"state":0}})", Show::Nothing, "");
        row(page, "status is an object", R"({"ret":0,"data":{"status":{}}})", Show::Nothing, "");
        row(page, "-9", R"({"ret":0,"data":{"status":-9}})", Show::Nothing, "");
        row(page, "-8", R"({"ret":0,"data":{"status":-8}})", Show::Key, "Deviceapproved");
        row(page, "-2", R"({"ret":0,"data":{"status":-2}})", Show::Key, "NotLogin");
        row(page, "-1", R"({"ret":0,"data":{"status":-1}})", Show::Text, "二维码已扫描");
        row(page, "1", R"({"ret":0,"data":{"status":1}})", Show::Nothing, "");
        row(page, "state says otherwise", R"({"ret":"0","data":{"status":"-5","state":0}})", Show::Key, "Devicereview");
        row(page, "signed in, said as text", R"({"ret":"0","data":{"status":"0"}})", Show::Done, "");
        row(page, "signed in, said with a fraction", R"({"ret":0.5,"data":{"status":0.9}})", Show::Done, "");
        row(page, "wrong password", R"({"ret":1,"errorcode":6,"msg":"m"})", Show::Key, "AccountOrPwdError");
        row(page, "blocked user", R"({"ret":1,"errorcode":15})", Show::Key, "Userblocked");
        row(page, "expired user", R"({"ret":-1,"errorcode":16})", Show::Key, "Userexpired");
        row(page, "bound device", R"({"ret":1,"errorcode":"24"})", Show::Key, "Devicebound");
        row(page, "blocked device", R"({"ret":1,"errorcode":25})", Show::Key, "Deviceblocked");
        row(page, "new password wanted", R"({"ret":1,"errorcode":20,"msg":"改密"})", Show::ResetPage, "");
        row(page, "code is a list", R"({"ret":2,"errorcode":[20],"msg":"忙"})", Show::Text, "忙");
        row(page, "refusal with a good status", R"({"ret":1,"data":{"status":0},"msg":"m"})", Show::Text, "m");

        const AnswerPlace& retrieval = AnswerPlace::RetrievalPage;
        row(retrieval, "mail sent", R"({"ret":0})", Show::Done, "");
        row(retrieval, "bad request", R"({"ret":1,"errorcode":11})", Show::Key, "RequestParameterError");
        row(retrieval, "user without mailbox", R"({"ret":1,"errorcode":42})", Show::Key, "UserNoMailbox");
        row(retrieval, "administrator without mailbox", R"({"ret":1,"errorcode":43})", Show::Key, "AdminNoMailbox");
        row(retrieval, "mail failed", R"({"ret":-1,"errorcode":44})", Show::Key, "BackPwdMailSendFail");
        row(retrieval, "code of a sign-in", R"({"ret":1,"errorcode":6,"msg":"没有该用户"})", Show::Text, "没有该用户");

        const AnswerPlace& window = AnswerPlace::LoginWindow;
        row(window, "no ret, 20", R"({"errorcode":20,"msg":"m"})", Show::Key, "AnswerUnusable", " ret:(null) msg:m");
        row(window, "refused", R"({"ret":1,"errorcode":15,"msg":"已锁定"})", Show::Text, "已锁定", " ret:1 msg:已锁定");
        row(window, "new password, as text", R"({"ret":"-1","errorcode":"20"})", Show::ResetPage, "");
        row(window, "20 with ret 0", R"({"ret":0,"errorcode":20,"data":{"state":-5}})", Show::Key, "Devicereview",
            " state:-5 msg:(null)");
        row(window, "no data", R"({"ret":0})", Show::Nothing, "", " state:(null) msg:(null)");
        row(window, "in", R"({"ret":0,"data":{"state":0,"status":-5},"msg":"ok"})", Show::Done, "", " state:0 msg:ok");
    }
    void answers() {
        QFETCH(const AnswerPlace*, place);
        QFETCH(QJsonObject, answer);
        QFETCH(int, show);
        QFETCH(QString, log);
        const AnswerVerdict verdict = judgeAnswer(answer, NoError, *place);
        QCOMPARE(static_cast<int>(verdict.show), show);
        QTEST(verdict.text, "text");
        QCOMPARE(verdict.log, log.isEmpty() ? QString() : u"[QenDetailWindow] QenCloud Account login"_s + log);
    }

    void otherPlacesAndTransport() {
        const QJsonObject good = json(R"({"ret":0,"data":{"state":0,"status":0},"msg":"ok"})");
        const QString head = u"[QenDetailWindow] QenCloud "_s;
        const auto judge = [](const char* answer, const AnswerPlace& place) {
            return judgeAnswer(json(answer), NoError, place);
        };
        QCOMPARE(judgeAnswer(good, Timeout, AnswerPlace::LoginWindow),
            (AnswerVerdict{Show::Text, u"请求超时"_s, head + u"Account login fail msg:请求超时"_s}));
        QCOMPARE(judgeAnswer(good, Timeout, AnswerPlace::ResetInLoginWindow),
            (AnswerVerdict{Show::Text, u"请求超时"_s, head + u"resetpassword fail msg:请求超时"_s}));
        QCOMPARE(judge(R"({"ret":-1,"errorcode":20,"msg":"m"})", AnswerPlace::ResetInLoginWindow),
            (AnswerVerdict{Show::Text, u"m"_s, head + u"resetpassword ret:-1 msg:m"_s}));
        QCOMPARE(judgeAnswer(good, NoError, AnswerPlace::ResetInLoginWindow),
            (AnswerVerdict{Show::Done, {}, head + u"resetpassword state:0 msg:ok"_s}));
        QCOMPARE(judgeAnswer(good, NoError, AnswerPlace::LogoutInLoginWindow), (AnswerVerdict{Show::Done, {}, {}}));
        QCOMPARE(judgeAnswer(good, NoError, AnswerPlace::LogoutMenu),
            (AnswerVerdict{Show::Done, {}, head + u"logout ret:0 msg:ok"_s}));
        for (const AnswerPlace& place : {AnswerPlace::LogoutInLoginWindow, AnswerPlace::LogoutMenu}) {
            QCOMPARE(judge(R"({"ret":3,"msg":"忙"})", place),
                (AnswerVerdict{Show::Text, u"忙"_s, head + u"logout ret:3 msg:忙"_s}));
            QCOMPARE(judgeAnswer({}, Timeout, place).log, head + u"logout fail msg:请求超时"_s);
        }
        QCOMPARE(
            judge(R"({"ret":-1,"errorcode":21})", AnswerPlace::ResetPage).text, u"ModifyPwdFailedForOldPwdError"_s);
        QCOMPARE(judgeAnswer(good, NotJson, AnswerPlace::LoginPage), (AnswerVerdict{Show::Key, u"NoAccount"_s, {}}));
        QCOMPARE(judgeAnswer(good, Wordless, AnswerPlace::LoginPage), AnswerVerdict());
        QCOMPARE(
            judgeAnswer(good, NotJson, AnswerPlace::PasswordSheet), (AnswerVerdict{Show::Text, u"不是 JSON"_s, {}}));
    }

    void grantsAreWholeOrNone_data() {
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<bool>("claims");
        QTest::addColumn<QString>("userid");
        const auto grant = [](const char* name, const char* answer, bool claims, const char* userid) {
            QTest::newRow(name) << json(answer) << claims << QString::fromUtf8(userid);
        };
        grant("whole", R"({"ret":0,"data":{"state":0,"userid":"lin","ticket":"T"}})", true, "lin");
        grant("user id is a number", R"({"ret":0,"data":{"state":0,"userid":1007,"ticket":"T"}})", true, "1007");
        grant("user id is a fraction", R"({"ret":0,"data":{"state":0,"userid":3.9,"ticket":"T"}})", true, "");
        grant("user id is too large", R"({"ret":0,"data":{"state":0,"userid":1e300,"ticket":"T"}})", true, "");
        grant("ticket is a number", R"({"ret":0,"data":{"state":0,"userid":"lin","ticket":7}})", true, "");
        grant("no ticket", R"({"ret":0,"data":{"state":0,"userid":"lin"}})", false, "");
        grant("ticket is null", R"({"ret":0,"data":{"state":0,"userid":"lin","ticket":null}})", false, "");
        grant("no user id", R"({"ret":0,"data":{"state":0,"ticket":"T"}})", true, "");
        grant("empty ticket", R"({"ret":0,"data":{"state":0,"userid":"lin","ticket":""}})", true, "");
        grant("refused, whatever data says",
            R"({"ret":-1,"errorcode":20,"data":{"state":0,"userid":"lin","ticket":"T"}})", false, "");
        grant("no ret", R"({"data":{"state":0,"userid":"lin","ticket":"T"}})", false, "");
        grant("another state", R"({"ret":0,"data":{"state":-5,"userid":"lin","ticket":"T"}})", false, "");
    }
    void grantsAreWholeOrNone() {
        QFETCH(QJsonObject, answer);
        QFETCH(bool, claims);
        QFETCH(QString, userid);
        QCOMPARE(ServerAnswer::grantsSession(answer), claims);
        const auto granted = ServerAnswer::grantedSession(answer);
        QCOMPARE(granted.has_value(), !userid.isEmpty());
        if (granted)
            QCOMPARE(granted->userid, userid);
    }

    void polls() {
        const auto poll = [](const char* answer) { return judgeQRPoll(json(answer), NoError); };
        const QString head = u"[QenDetailWindow] QenCloud Check QRLogin "_s;
        const QString unusable = localizedString(u"AnswerUnusable"_s);
        QVERIFY(!unusable.isEmpty());
        QCOMPARE(poll(R"({"ret":0,"msg":"m","data":{"state":-5}})"),
            (QRPollVerdict{-5, {}, head + u"state:-5 msg:m"_s, 32}));
        // The session ends by these; the login window is not told.
        QCOMPARE(poll(R"({"ret":0,"msg":"m","data":{"state":-7}})"),
            (QRPollVerdict{std::nullopt, {}, head + u"state:-7 msg:m"_s, 32}));
        QCOMPARE(
            poll(R"({"ret":0,"data":{}})"), (QRPollVerdict{std::nullopt, {}, head + u"state:(null) msg:(null)"_s, 32}));
        QCOMPARE(poll(R"({"ret":-1,"msg":"m","data":{"state":0}})"),
            (QRPollVerdict{std::nullopt, {}, head + u"ret:-1 msg:m"_s, 1}));
        QCOMPARE(poll(R"({"data":{"state":0}})"),
            (QRPollVerdict{std::nullopt, unusable, head + u"ret:(null) msg:(null)"_s, 1}));
        QCOMPARE(judgeQRPoll({}, ServerAnswer::unusable()).tells, unusable);
        QCOMPARE(judgeQRPoll({}, Timeout), (QRPollVerdict{std::nullopt, {}, head + u"fail msg:请求超时"_s, 1}));
        QCOMPARE(ticketPollLine({}, Timeout), u"[QenDetailWindow] QenCloud Check ticket error:请求超时"_s);
        QCOMPARE(ticketPollLine(json(R"({"ret":0,"msg":"ok"})"), NoError),
            u"[QenDetailWindow] QenCloud Check ticket response msg:ok"_s);
    }

    void nobodysPasswordIsNotChanged() {
        const QString fine = u"abcdefg1!"_s;
        QCOMPARE(checkPasswordEntry({QString(), u"old"_s, fine, fine}), PasswordCase::NoOldAccount);
        QCOMPARE(tipKey(PasswordCase::NoOldAccount), u"NOGetOldAcountInfo"_s);
        QVERIFY(tipKey(checkPasswordEntry({u"lin"_s, u"old"_s, fine, fine})).isEmpty());
    }

    void balloons() {
        QCOMPARE(passwordBalloon(u"newpassword"_s), (PasswordBalloon{u"PwdRuleTips"_s, 67.0}));
        QCOMPARE(passwordBalloon(u"confirmpassword"_s), (PasswordBalloon{u"PwdInconsistent"_s, 32.0}));
    }

    void whatAPersonReads() {
        const auto text = [](qint64 code, int status = 0, const QString& domain = Platform::UrlErrorDomain) {
            return describedError(Error(domain, code, {}, {}, status)).localizedDescription();
        };
        QCOMPARE(text(Error::TimedOut), u"请求超时。"_s);
        QCOMPARE(text(Error::Unknown), u"网络请求失败。"_s);
        QCOMPARE(text(Error::BadServerResponse, 500), u"服务器暂时无法处理请求，请稍后再试。"_s);
        QCOMPARE(text(Error::BadServerResponse, 404), u"服务器拒绝了请求，请联系管理员。"_s);
        QCOMPARE(text(Error::BadServerResponse, 307), u"无法解析服务器的响应。"_s);
        QCOMPARE(text(Error::NotJson, 0, Platform::CocoaErrorDomain), u"服务器返回的数据格式不正确。"_s);
        QCOMPARE(text(Error::TimedOut, 0, u"D"_s), u"Fail:code=-1001"_s);
        // The transport knows every code by a text of its own.
        for (const qint64 code : {Error::Cancelled, Error::BadUrl, Error::UnsupportedUrl, Error::CannotFindHost,
                 Error::CannotConnect, Error::ConnectionLost, Error::TooManyRedirects, Error::CannotDecodeContent,
                 Error::CannotParseResponse, Error::ResponseTooLarge, Error::SecureConnectionFailed})
            QVERIFY2(!text(code).isEmpty() && text(code) != text(Error::Unknown), qPrintable(QString::number(code)));
        Error told;
        describing([&](int, const Error& error) { told = error; })(
            0, {Platform::UrlErrorDomain, Error::TimedOut, {}, u"words (1)"_s});
        QCOMPARE(told.localizedDescription(), u"请求超时。"_s);
        QVERIFY(told.logText().contains(u"(words (1))"_s));
        QCOMPARE(describedError({u"D"_s, 7, u"text"_s}).localizedDescription(), u"text"_s);
        QVERIFY(!describedError({}));
    }
};

QTEST_GUILESS_MAIN(tst_AnswerVerdict)
#include "tst_AnswerVerdict.moc"
