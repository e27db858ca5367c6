#include "ViewWorld.h"

#include "AnimatedPicture.h"
#include "CheckRowView.h"
#include "CheckTreeView.h"
#include "ClientNotifications.h"
#include "NetworkPolicyFollower.h"
#include "PropertyList.h"
#include "QenCheck.h"
#include "QenMainLeftBar.h"
#include "QenMainViewController.h"
#include "QenToolCell.h"
#include "SpinnerButton.h"
#include "Workspace.h"

#include <QImage>
#include <QStackedWidget>
#include <QToolButton>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;
using namespace std::chrono_literals;

namespace {

constexpr const char* Titles[] = {"磁盘已加密", "已开启主机防火墙", "Qen安装检测", "域检测", "磁盘已加密"};

/// Notes what the view wants of network access and answers as told.
class RecordingAccess final : public NetworkAccessLink {
public:
    RecordingAccess() {
        checkiNacNecessaryWithUrl = [this](const QString& url, const std::function<void(bool)>& completion) {
            note(u"ask "_s + url);
            completion(isNecessary);
        };
        executeInacTaskWithUserName = [this](const QString& userName, const QString& ticket, const QJsonArray& ssids,
                                          const QString& url) {
            note(u"certificate %1 %2 %3 %4"_s.arg(userName, ticket, ssids.at(0).toString(), url));
        };
        installStaticMobileconfig = [this] { note(u"static"_s); };
    }
    QStringList calls() {
        const std::lock_guard lock(m_mutex);
        return m_calls;
    }

    std::atomic<bool> isNecessary{false};

private:
    void note(const QString& call) {
        const std::lock_guard lock(m_mutex);
        m_calls << call;
    }
    std::mutex m_mutex;
    QStringList m_calls;
};

/// A main view over a folder of its own, with checks that answer "bad" or "ok" by their selector's name.
struct Fixture {
    explicit Fixture(const QStringList& checks) {
        ArchiveValue models{ArchiveValue::Array()};
        for (qsizetype index = 0; index < checks.size(); ++index)
            models.append(ArchiveValue::Dictionary{{"title", QString::fromUtf8(Titles[index % 5])},
                {"detail", u"说明"_s}, {"selectorName", checks[index]}, {"mainKey", QString::number(index)},
                {"keyword", u"topic%1"_s.arg(index)}});
        ArchiveValue catalogue{ArchiveValue::Array()};
        catalogue.append(ArchiveValue::Dictionary{{u"安全合规"_s, models}});
        QFile file(this->catalogue());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(Platform::PropertyList::xmlData(catalogue));
        policy({{"is_disk_encrypt", "1"}, {"firewall", "1"}, {"ent_domain", "corp.example"}, {"ent_qen", "1.0"}});
    }

    void policy(const QVariantMap& required) const {
        agentFile("complianceInfo.archive", QVariantMap{{"access", required}});
    }
    void agentFile(const char* name, const QVariant& content) const {
        QVERIFY(archiveRootObject(
            ArchiveValue::fromVariant(content), world.folder.agent() + u'/' + QString::fromLatin1(name)));
    }
    QString catalogue() const { return world.folder.file(u"QenCheck.plist"_s); }

    /// Makes the view and waits for the end of its first round.
    QenMainViewController& open() {
        bar = std::make_unique<QenMainLeftBar>(world.sessionViews());
        view = std::make_unique<QenMainViewController>(
            CheckViewWorld{.login = world.client.helper,
                .log = world.client.log,
                .center = world.center,
                .workspace = workspace,
                .agentState = world.folder.agent(),
                .round = {.log = [](const QString&, int) {},
                    .center = world.center,
                    .checkWithModel = [this](const QenCheckModelPointer& check) { answer(check); },
                    .agentState = world.folder.agent(),
                    .catalogue = catalogue(),
                    .closingDelay = 20ms},
                .joinDomain = {.activateRunningTool = [] { return true; }, .resources = {}, .console = {}},
                .openHelp = [this](const QString& tag, const QWidget*) { topics << tag; }},
            *bar);
        view->resize(860, 560);
        view->show();
        return *view;
    }

    void answer(const QenCheckModelPointer& check) {
        if (check->selectorName() == u"silent")
            return;
        check->setIsWarn(check->selectorName() == u"bad");
        Platform::mainQueue().async([this, check] {
            world.center.post(CheckNotificationName, QVariant::fromValue(CheckResult{{check->mainKey(), check}}));
        });
    }

    QString text(const char* label) const { return find<QLabel>(*view, label)->text(); }
    bool isRoundOver() const { return find<QToolButton>(*view, "reCheckBtn")->isEnabled(); }
    int tab() const { return find<QStackedWidget>(*view, "tabView")->currentIndex(); }
    bool shows(const char* name) const { return !find<QWidget>(*view, name)->isHidden(); }

    ViewWorld world;
    Platform::Workspace workspace;
    RecordingAccess access;
    QStringList topics;
    std::unique_ptr<QenMainLeftBar> bar;
    std::unique_ptr<QenMainViewController> view;
};

} // namespace

class tst_QenMainViewController : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        ViewWorld::prepareApplication();
        m_server.addAccount(u"lin"_s, u"Abcdefg1!"_s);
        QVERIFY2(m_server.start(), qPrintable(m_server.lastError()));
    }

    void roundsInTheWindow_data() {
        QTest::addColumn<int>("failures");
        QTest::addColumn<QString>("state");
        QTest::newRow("0") << 0 << "电脑安全";
        QTest::newRow("1") << 1 << "轻度危险";
        QTest::newRow("2") << 2 << "轻度危险";
        QTest::newRow("3") << 3 << "中度危险";
        QTest::newRow("4") << 4 << "中度危险";
        QTest::newRow("5") << 5 << "重度危险";
    }
    void roundsInTheWindow() {
        QFETCH(int, failures);
        QFETCH(QString, state);
        QStringList checks;
        for (int check = 0; check < 5; ++check)
            checks << (check < failures ? u"bad"_s : u"ok"_s);
        Fixture fixture(checks);
        QenMainViewController& view = fixture.open();
        QTRY_COMPARE(fixture.text("smallStateLab"), u"正在检测"_s);
        QVERIFY(!fixture.isRoundOver());
        QTRY_VERIFY(fixture.isRoundOver());
        QCOMPARE(fixture.text("stateLab"), state);
        QCOMPARE(fixture.text("countLab"), failures ? u"5项实时合规检测"_s : u"合规检测项全部正常"_s);
        QCOMPARE(fixture.shows("repairAllBtn"), failures > 0);
        QCOMPARE(find<QToolButton>(*fixture.bar, "detailBtn")->isHidden(), failures == 0);
        QVERIFY(!find<AnimatedPicture>(view, "stateCircle")->isRunning());
        QCOMPARE(find<AnimatedPicture>(view, "stateCircle")->picture(),
            failures ? u"completeImg_unsafe"_s : u"completeImg_safe"_s);
        if (failures == 0)
            return;
        QCOMPARE(fixture.text("smallStateLab"), u"发现%1个问题"_s.arg(failures));
        QCOMPARE(find<QPushButton>(view, "repairAllBtn")->text(), u"%1个问题待修复"_s.arg(failures));
        press(view, "repairAllBtn");
        QCOMPARE(fixture.tab(), 2);
        QVERIFY(find<QToolButton>(*fixture.bar, "detailBtn")->isChecked());
        auto* tree = find<CheckTreeView>(view, "detailTree");
        QVERIFY(tree->findChildren<CheckRowView*>().constLast()->isVisible());
        for (auto* button : tree->findChildren<QToolButton*>(u"repairBtn"_s)) {
            if (button->isVisible())
                button->click();
        }
        QCOMPARE(fixture.topics.size(), failures);
        QCOMPARE(fixture.topics[0], u"topic0"_s);
    }

    void categoriesFoldByKeyboardAndMouse() {
        Fixture fixture({u"bad"_s});
        QenMainViewController& view = fixture.open();
        QTRY_COMPARE(fixture.text("stateLab"), u"轻度危险"_s);
        auto* tree = find<CheckTreeView>(view, "overviewTree");
        auto* fold = find<QToolButton>(*tree, "foldBtn");
        QCOMPARE(fold->accessibleName(), u"收起 安全合规"_s);
        QTest::keyClick(fold, Qt::Key_Space);
        QVERIFY(!tree->findChildren<CheckRowView*>().constLast()->isVisible());
        QCOMPARE(fold->accessibleName(), u"展开 安全合规"_s);
        QTest::mouseClick(fold->parentWidget(), Qt::LeftButton);
        QVERIFY(tree->findChildren<CheckRowView*>().constLast()->isVisible());
    }

    void reCheckFollowsAChangedPolicyAndLeavesTheDetails() {
        Fixture fixture({u"bad"_s, u"ok"_s});
        QenMainViewController& view = fixture.open();
        QTRY_COMPARE(fixture.text("stateLab"), u"轻度危险"_s);
        QTRY_VERIFY(fixture.isRoundOver());
        press(view, "repairAllBtn");
        fixture.policy({{"firewall", "1"}});
        press(view, "detailReCheckBtn");
        QTRY_COMPARE(fixture.text("countLab"), u"合规检测项全部正常"_s);
        QCOMPARE(find<CheckTreeView>(view, "detailTree")->findChildren<CheckRowView*>().size(), 2);
        QCOMPARE(fixture.text("stateLab"), u"电脑安全"_s);
        // Nothing to detail any more: the second tab.
        QCOMPARE(fixture.tab(), 1);
        QVERIFY(find<QToolButton>(*fixture.bar, "toolsTabBtn")->isChecked());
    }

    void silentCheckDoesNotLockThePersonOut() {
        Fixture fixture({u"silent"_s, u"bad"_s});
        QenMainViewController& view = fixture.open();
        QTRY_COMPARE(fixture.text("countLab"), u"部分检测项没有结果，请重新检测"_s);
        QVERIFY(fixture.isRoundOver());
        QCOMPARE(fixture.text("stateLab"), u"正在检测"_s);
        QVERIFY(!find<AnimatedPicture>(view, "stateCircle")->isRunning());
    }

    void missingCatalogueLeavesAUsableWindow() {
        Fixture fixture({u"ok"_s});
        QVERIFY(QFile::remove(fixture.catalogue()));
        QenMainViewController& view = fixture.open();
        QTest::qWait(50);
        QVERIFY(fixture.isRoundOver());
        press(view, "reCheckBtn");
        QTest::qWait(30);
        QVERIFY(fixture.isRoundOver());
    }

    void toolsFollowSessionAndList() {
        Fixture fixture({u"ok"_s});
        fixture.world.folder.configure(m_server.httpPort());
        QenMainViewController& view = fixture.open();
        auto* states = find<QStackedWidget>(view, "toolsStates");
        // Neither signed out nor before the session is confirmed.
        QTest::qWait(30);
        QCOMPARE(states->currentIndex(), 1);
        fixture.world.signInAs(u"lin"_s);
        QTest::qWait(30);
        QCOMPARE(states->currentIndex(), 1);
        QVERIFY(!fixture.shows("applistButton"));

        Outcome login;
        fixture.world.client.helper.login(
            {{"userid", "lin"}, {"password", "Abcdefg1!"}, {"otp", ""}}, login.completion());
        QVERIFY(login.wait());
        QVariantList list;
        for (int tool = 0; tool < 7; ++tool)
            list << QVariantMap{{"appname", u"工具%1"_s.arg(tool)}, {"app_serialnum", 7 - tool}};
        list << u"no dictionary"_s;
        fixture.agentFile("appmgrlist.archive", list);
        std::thread([&] { fixture.world.center.post(ClientNotification::AppList); }).join();
        QTRY_COMPARE(states->currentIndex(), 0);
        QTRY_COMPARE(view.findChildren<QenToolCell*>().size(), 7);
        QVERIFY(fixture.shows("applistButton"));
        QCOMPARE(view.findChildren<QenToolCell*>()[0]->toolModel().appName, u"工具6"_s);

        // The session of the computer's domain.
        auto record = fixture.world.record().value();
        record.setLoginType(LoginType::Domain);
        fixture.world.client.store(record);
        fixture.world.center.post(ClientNotification::NgnSwitch);
        QTRY_VERIFY(!fixture.shows("applistButton"));
        QCOMPARE(states->currentIndex(), 0);

        fixture.world.center.post(ClientNotification::AppList, 2);
        QTRY_COMPARE(boxTexts(), QStringList(u"登录超时，请重新登录"_s));
        QTRY_COMPARE(states->currentIndex(), 1);
        QVERIFY(!fixture.world.record());
    }

    void joinDomainButton() {
        Fixture fixture({u"ok"_s});
        const auto write = [&fixture](const QVariant& status, const QVariant& method) {
            fixture.agentFile("inacSSIDInfo.archive", QVariantMap{{"auth_method", method}});
            fixture.agentFile("joindomainSwitchStatus.archive", status);
        };
        write(1, "3");
        QenMainViewController& view = fixture.open();
        QTRY_VERIFY(fixture.shows("joinDomainBtn"));
        // The tool runs already: it is brought forward, and the button is free again.
        auto* button = find<SpinnerButton>(view, "joinDomainBtn");
        press(view, "joinDomainBtn");
        QVERIFY(button->isBusy());
        QTRY_VERIFY(!button->isBusy());
        // Both files are followed; what is of a wrong type says nothing.
        const std::tuple<QVariant, QVariant, QString> changes[] = {{1, "2", ClientNotification::InacSsid},
            {1, QVariantList{"2"}, ClientNotification::InacSsid}, {0, "3", ClientNotification::JoinDomainSwitch},
            {1, "3", ClientNotification::JoinDomainSwitch}, {QVariantList{1}, "3", ClientNotification::InacSsid}};
        for (const auto& [status, method, changed] : changes) {
            const bool wasShown = button->isVisible();
            write(status, method);
            fixture.world.center.post(changed);
            QTRY_COMPARE(fixture.shows("joinDomainBtn"), !wasShown);
        }
    }

    void tipsAndMarkKeepWhatTheyShow() {
        Fixture fixture({u"ok"_s});
        QenMainViewController& view = fixture.open();
        QWidget& line = *view.tipsLine();
        const auto write = [&](const char* name, const QByteArray& content) {
            QFile file(fixture.world.folder.agent() + u'/' + QString::fromLatin1(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
        };
        write("tips.txt", "今晚升级");
        fixture.world.center.post(ClientNotification::Tips);
        QTRY_COMPARE(find<QLabel>(line, "tipsLab")->text(), u"今晚升级"_s);
        write("tips.txt", "");
        write("c_qen_mark@2x.png", "no picture");
        fixture.world.center.post(ClientNotification::Tips);
        fixture.world.center.post(ClientNotification::Logo);
        QTest::qWait(30);
        QCOMPARE(find<QLabel>(line, "tipsLab")->text(), u"今晚升级"_s);
        auto* mark = find<QLabel>(line, "organisationMark");
        QVERIFY(mark->isHidden());
        // Logos are mostly drawn with few colours; scaled as they are, at twice their size, they end the program.
        QColor colour(Qt::red);
        for (const QImage::Format format : {QImage::Format_RGB32, QImage::Format_Indexed8, QImage::Format_Mono}) {
            colour = colour.darker();
            QImage image(200, 40, format);
            if (format != QImage::Format_RGB32)
                image.setColorTable({colour.rgb(), colour.rgb()});
            image.fill(format == QImage::Format_RGB32 ? colour.rgb() : 1U);
            QVERIFY(image.save(fixture.world.folder.agent() + u"/c_qen_mark@2x.png"_s));
            fixture.world.center.post(ClientNotification::Logo);
            QTRY_VERIFY(!mark->isHidden() && mark->pixmap().toImage().pixel(50, 10) == colour.rgb());
            QCOMPARE(mark->pixmap().deviceIndependentSize(), QSizeF(100, 20));
        }
    }

    void changedNetworkAccessIsFollowed_data() {
        QTest::addColumn<QString>("method");
        QTest::addColumn<bool>("isSignedIn");
        QTest::addColumn<bool>("isNecessary");
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QStringList>("calls");
        const QStringList asked{u"ask https://nac"_s};
        const QStringList fetched = asked + QStringList{u"certificate lin T Office https://nac"_s};
        const QStringList installed = asked + QStringList{u"static"_s};
        const bool isThere = true;
        QTest::newRow("certificate, none there") << "3" << true << !isThere << "3" << fetched;
        QTest::newRow("certificate, one there") << "3" << true << isThere << "3" << asked;
        QTest::newRow("certificate over static") << "3" << true << isThere << "2" << fetched;
        QTest::newRow("nobody signed in") << "3" << false << !isThere << "" << asked;
        QTest::newRow("static, one there") << "2" << false << isThere << "2" << asked;
        QTest::newRow("static over certificate") << "2" << false << isThere << "3" << installed;
        QTest::newRow("another") << "1" << true << !isThere << "3" << QStringList();
    }
    void changedNetworkAccessIsFollowed() {
        QFETCH(QString, method);
        QFETCH(bool, isSignedIn);
        QFETCH(bool, isNecessary);
        QFETCH(QString, stored);
        QFETCH(QStringList, calls);
        Fixture fixture({u"ok"_s});
        fixture.access.isNecessary = isNecessary;
        if (isSignedIn) {
            AccountModel record = recordOf(u"lin"_s);
            record.setUsername(u"林"_s);
            fixture.world.client.store(record);
        }
        const NetworkPolicyFollower follower({.log = fixture.world.client.log,
            .center = fixture.world.center,
            .networkAccess = fixture.access,
            .localCerAuthMethod = [stored] { return stored; },
            .session = fixture.world.client.session,
            .agentState = fixture.world.folder.agent()});
        fixture.agentFile("inacSSIDInfo.archive",
            QVariantMap{{"auth_method", method}, {"inac_addr", "https://nac"}, {"ssidlist", QVariantList{"Office"}}});
        fixture.world.center.post(ClientNotification::InacSsid);
        QTRY_COMPARE(fixture.access.calls().size(), calls.size());
        QTest::qWait(30);
        QCOMPARE(fixture.access.calls(), calls);
        if (calls.size() > 1)
            QTRY_VERIFY(fixture.world.client.logText().contains(
                u"[QenMainViewController] inac type change to %1"_s.arg(method)));
    }

private:
    ReferenceServer m_server;
};

QTEST_MAIN(tst_QenMainViewController)
#include "tst_QenMainViewController.moc"
