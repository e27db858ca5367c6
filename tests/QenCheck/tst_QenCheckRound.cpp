#include "QenCheckRound.h"

#include "Bundle.h"
#include "CheckWorld.h"
#include "MavResources.h"
#include "PropertyList.h"

#include <future>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

constexpr std::chrono::milliseconds ClosingDelay{40};
const QString Disk = u"磁盘已加密"_s;

} // namespace

/// Rounds over catalogues of files, with checks that are "ok", "bad", "silent" or not included ("other").
class tst_QenCheckRound : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_world.emplace();
        m_signals.clear();
        m_world->policy({{"is_disk_encrypt", "1"}}, ".archive");
    }
    void cleanupTestCase() { Platform::HostTools::setFolders({}); }

    void rounds_data() {
        QTest::addColumn<QList<QStringList>>("categories");
        QTest::addColumn<QString>("outcome"); // needed, failed, level and unreported; the closing texts
        const auto row = [](const char* name, const QList<QStringList>& categories, const char* outcome) {
            QTest::newRow(name) << categories << QString::fromUtf8(outcome);
        };
        const QString ok = u"ok"_s;
        const QString bad = u"bad"_s;
        row("3 failures", {{bad, ok, bad, bad}}, "4 3 2 0 中度危险|4项实时合规检测|发现3个问题");
        row("not included", {{ok, "other", bad}}, "2 1 1 0 轻度危险|2项实时合规检测|发现1个问题");
        row("of two categories the last counts", {{ok, bad}, {ok, ok, ok}},
            "3 1 1 0 轻度危险|3项实时合规检测|发现1个问题");
        row("an empty category ends the round", {{"other"}}, "0 0 0 0 电脑安全|合规检测项全部正常|");
        row("an empty one first", {{}, {bad}}, "1 1 1 0 轻度危险|1项实时合规检测|发现1个问题");
        row("an empty one ends what cannot end", {{"silent", bad}, {}}, "0 1 1 1 轻度危险|0项实时合规检测|发现1个问题");
        row("one check is silent", {{ok, "silent"}}, "2 0 0 1 ");
        row("no category", {}, "0 0 0 0 ");
    }
    void rounds() {
        QFETCH(QList<QStringList>, categories);
        write(categories);
        QenCheckRound round(world());
        listen(round);
        load(round);
        QTEST(u"%1 %2 %3 %4 %5"_s.arg(round.needCheckCount())
                  .arg(round.warnCount())
                  .arg(round.currentLevel())
                  .arg(m_unreported)
                  .arg(m_closing),
            "outcome");
        QCOMPARE(round.dataSource().size(), size_t(categories.size()));
        QCOMPARE(round.isChecking(), m_closing.isEmpty());
        for (const auto& node : round.dataSource()) {
            const auto failed = std::count_if(
                node->leafArr().begin(), node->leafArr().end(), [](const auto& check) { return check->isWarn(); });
            QCOMPARE(node->repairNum(), qint64(failed));
            QCOMPARE(node->isWarn(), failed > 0);
        }
    }

    void tellsTheViewInOrder() {
        write({{"ok"}, {"bad", "ok"}});
        QenCheckRound round(world());
        listen(round);
        load(round);
        QCOMPARE(m_signals,
            QStringList({"tree", "started", "row 0", "count 1", "detail shown", "row 1", "count 2", "level 1", "row 1",
                "count 3", "level 1", "detail shown", "passed", "detail shown", "completed"}));
        QVERIFY(m_world->lines().contains("[QenMainViewController]change UI with level : 1"));
        // The second round starts from nothing; the failed check has been repaired.
        m_signals.clear();
        m_results["bad"] = false;
        round.startCheck();
        QTRY_VERIFY(m_signals.contains("completed"));
        QCOMPARE(round.warnCount(), 0);
        QCOMPARE(round.currentLevel(), 0);
        QVERIFY(!round.dataSource()[1]->isWarn());
        QCOMPARE(m_signals.filter("detail").last(), u"detail hidden"_s);
    }

    void badCatalogues_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("nodes");
        QTest::addColumn<int>("checks");
        const auto row = [](const char* name, const QByteArray& body, int nodes, int checks = 0) {
            QTest::newRow(name) << QByteArray("<plist version=\"1.0\"><array>") + body + "</array></plist>" << nodes
                                << checks;
        };
        QTest::newRow("missing") << QByteArray() << -1 << 0;
        QTest::newRow("a dictionary") << QByteArray("<plist version=\"1.0\"><dict/></plist>") << -1 << 0;
        row("empty", "", 0);
        row("elements of wrong types", "<string>a</string><dict/><array/>", 0);
        row("category without list", "<dict><key>a</key><integer>5</integer></dict>", 1);
        row("checks of wrong types",
            "<dict><key>a</key><array><string>磁盘已加密</string><dict><key>title</key><integer>1</integer></dict>"
            "</array></dict>",
            1);
        const QByteArray check = "<array><dict><key>title</key><string>磁盘已加密</string></dict></array></dict>";
        row("no selector and no key", "<dict><key>a</key>" + check, 1, 1);
        row("first key of two", "<dict><key>a</key><array/><key>b</key>" + check, 1);
    }
    void badCatalogues() {
        QFETCH(QByteArray, content);
        QFETCH(int, nodes);
        if (!content.isEmpty())
            m_world->write("QenCheck.plist", content);
        QenCheckRound round(world());
        listen(round);
        round.getDataFromPlist();
        if (nodes < 0) {
            QTest::qWait(20);
            QVERIFY(m_signals.isEmpty());
            QCOMPARE(m_world->lines(), QStringList{"can not find QenCheck.plist"});
            return;
        }
        QTRY_VERIFY(m_signals.contains("passed"));
        QCOMPARE(int(round.dataSource().size()), nodes);
        if (nodes > 0)
            QTEST(int(round.dataSource()[0]->leafArr().size()), "checks");
    }

    void policies_data() {
        QTest::addColumn<QVariantMap>("access");
        QTest::addColumn<bool>("asksForAll");
        QTest::newRow("all") << QVariantMap{{"is_disk_encrypt", "1"}, {"firewall", "1"}, {"ent_domain", "d"},
                                    {"ent_qen", "1"}}
                             << true;
        QTest::newRow("none") << QVariantMap{{"is_disk_encrypt", "0"}, {"firewall", ""}, {"ent_domain", ""}} << false;
        QTest::newRow("numbers are no strings")
            << QVariantMap{{"is_disk_encrypt", 1}, {"ent_qen", 2}, {"firewall", true}} << false;
    }
    /// Also that the catalogue that the client brings names each check and what runs it.
    void policies() {
        QFETCH(QVariantMap, access);
        QFETCH(bool, asksForAll);
        initMavResources();
        m_world->policy(access, ".archive");
        m_world->policy({{"is_disk_encrypt", "1"}}, {}); // is for others
        auto places = world();
        places.catalogue = ":/bundle/QenCheck.plist";
        QStringList checked;
        places.checkWithModel = [&](const QenCheckModelPointer& check) {
            const bool isWhole =
                !check->detail().isEmpty() && !check->mainKey().isEmpty() && !check->keyword().isEmpty();
            checked << check->title() + u' ' + (isWhole ? check->selectorName() : u"incomplete"_s);
        };
        QenCheckRound round(places);
        listen(round);
        load(round);
        const QStringList all{"磁盘已加密 checkFileVault:", "已开启主机防火墙 checkFireWall:",
            "Qen安装检测 checkQenVersion:", "域检测 checkJoinDomain:"};
        QCOMPARE(checked, asksForAll ? all : QStringList());
    }

    void newPolicyDuringARound() {
        write({{"bad", "bad", "bad"}});
        auto places = world();
        std::atomic<QenCheckRound*> loaded{nullptr};
        places.checkWithModel = [this, &loaded, check = places.checkWithModel](const QenCheckModelPointer& model) {
            check(model);
            if (QenCheckRound* const round = loaded.exchange(nullptr)) {
                m_world->policy({}, ".archive"); // the agent requires nothing any more
                std::promise<void> read;
                Platform::mainQueue().async([&] {
                    round->getDataFromPlist();
                    read.set_value();
                });
                read.get_future().wait();
            }
        };
        QenCheckRound round(places);
        listen(round);
        loaded = &round;
        round.getDataFromPlist();
        QTRY_COMPARE(m_signals.count("passed"), 1); // that of the newer round
        // Results of the older tree are nobody's.
        QCOMPARE(round.needCheckCount(), 0);
        QCOMPARE(round.warnCount(), 0);
        QCOMPARE(round.currentLevel(), 0);
        QCOMPARE(m_closing, u"电脑安全|合规检测项全部正常|"_s);
    }

    void aCategoryTellsHowMuchIsToRepair() {
        QCOMPARE(CheckLook::categoryRow(true, 2).repairText, u"2项待修复"_s);
        QVERIFY(CheckLook::categoryRow(true, 0).repairText.isNull() &&
            CheckLook::categoryRow(false, 2).repairText.isNull());
    }

private:
    /// Writes a catalogue: for each category the selectors' names of its checks.
    void write(const QList<QStringList>& categories) const {
        ArchiveValue catalogue{ArchiveValue::Array()};
        for (const QStringList& category : categories) {
            ArchiveValue checks{ArchiveValue::Array()};
            for (const QString& selector : category)
                checks.append(ArchiveValue::Dictionary{{"title", selector == u"other" ? u"其他"_s : Disk},
                    {"selectorName", selector}, {"mainKey", selector}});
            catalogue.append(ArchiveValue::Dictionary{{u"类别"_s, checks}});
        }
        m_world->write("QenCheck.plist", Platform::PropertyList::xmlData(catalogue));
    }

    QenCheckRound::World world() {
        m_results = {{"ok", false}, {"bad", true}};
        return {.log = m_world->log(),
            .center = m_world->center,
            .checkWithModel =
                [this](const QenCheckModelPointer& check) {
                    if (!m_results.contains(check->selectorName()))
                        return;
                    check->setIsWarn(m_results.value(check->selectorName()));
                    const CheckResult result{{check->mainKey(), check}};
                    Platform::mainQueue().async([this, result] {
                        m_world->center.post("kCheckNotificationName", QVariant::fromValue(result));
                    });
                },
            .agentState = m_world->agent(),
            .catalogue = m_world->file("QenCheck.plist"),
            .closingDelay = ClosingDelay};
    }

    void listen(QenCheckRound& round) {
        m_closing.clear();
        m_unreported = -1;
        const auto note = [this](const QString& signal) { m_signals << signal; };
        connect(&round, &QenCheckRound::dataSourceChanged, &round, [=] { note("tree"); });
        connect(&round, &QenCheckRound::roundStarted, &round, [=] { note("started"); });
        connect(&round, &QenCheckRound::rowChanged, &round, [=](int row) { note(u"row %1"_s.arg(row)); });
        connect(&round, &QenCheckRound::resultCounted, &round,
            [=, &round] { note(u"count %1"_s.arg(round.hadCheckedCount())); });
        connect(&round, &QenCheckRound::levelApplied, &round, [=](int level) { note(u"level %1"_s.arg(level)); });
        connect(&round, &QenCheckRound::detailButtonHidden, &round,
            [=](bool isHidden) { note(isHidden ? "detail hidden" : "detail shown"); });
        connect(&round, &QenCheckRound::completed, &round, [=, this](const CheckLook::Closing& closing) {
            m_closing = closing.stateText + u'|' + closing.countText + u'|' + closing.smallStateText;
            note("completed");
        });
        connect(&round, &QenCheckRound::passEnded, &round, [=, this](int unreported) {
            m_unreported = unreported;
            note("passed");
        });
    }

    /// Until the checks have run and no closing is on its way.
    void load(QenCheckRound& round) {
        round.getDataFromPlist();
        QTRY_VERIFY(m_signals.contains("passed") && !round.isClosing());
    }

    std::optional<CheckWorld> m_world;
    QMap<QString, bool> m_results;
    QStringList m_signals;
    QString m_closing;
    int m_unreported = -1;
};

QTEST_GUILESS_MAIN(tst_QenCheckRound)
#include "tst_QenCheckRound.moc"
