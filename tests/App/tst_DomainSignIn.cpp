#include "ClientWorld.h"

#include "DomainSignIn.h"
#include "ReferenceServer.h"

#include <future>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// The domain-login probe's way to the server and to the session.
class tst_DomainSignIn : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { QVERIFY2(m_server.start(), qPrintable(m_server.lastError())); }

    void anAnswerMakesASessionUnlessSomebodySignedInSince_data() {
        QTest::addColumn<bool>("isLate");
        QTest::newRow("in time") << false;
        QTest::newRow("somebody has signed in and out again") << true;
    }
    void anAnswerMakesASessionUnlessSomebodySignedInSince() {
        QFETCH(bool, isLate);
        ClientFolder folder;
        folder.configure(m_server.httpPort());
        ClientWorld client(folder);
        DomainSignIn domain(client.session, client.helper);
        QVERIFY(m_server.fault(u"/api/public/clientlogin/ad_auth"_s,
            {{"kind", "json"}, {"json", QJsonObject{{"ret", 0}, {"data", QJsonObject{{"user_name", "李四"}}}}}}));
        std::promise<std::optional<QString>> name;
        domain.check(u"lisi"_s, u"corp.example"_s,
            [&name](bool isValid, const std::optional<QString>& found, const Platform::Error&) {
                name.set_value(isValid ? found : std::nullopt);
            });
        auto answer = name.get_future();
        QVERIFY(answer.wait_for(5s) == std::future_status::ready);
        QCOMPARE(answer.get(), std::optional(u"李四"_s));
        QVERIFY2(!folder.isAskedOnMain, "the request was made on the main thread");

        if (isLate) {
            AccountModel record;
            record.setUserid(u"wang"_s);
            record.setTicket(u"T"_s);
            client.store(record);
            client.store(std::nullopt);
        }
        std::promise<bool> saved;
        domain.signIn(u"lisi"_s, u"李四"_s, u"CORP"_s, [&saved](bool isSaved) { saved.set_value(isSaved); });
        auto outcome = saved.get_future();
        QVERIFY(outcome.wait_for(5s) == std::future_status::ready);
        QCOMPARE(outcome.get(), !isLate);
        QCOMPARE(client.helper.isDomainAutoLogin(), !isLate);
    }

private:
    ReferenceServer m_server;
};

QTEST_GUILESS_MAIN(tst_DomainSignIn)
#include "tst_DomainSignIn.moc"
