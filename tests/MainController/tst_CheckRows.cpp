#include "ArchiveValue.h"
#include "CheckRowView.h"
#include "CheckTreeView.h"
#include "CheckVerdict.h"
#include "MavResources.h"
#include "Theme.h"

#include <QFile>
#include <QLabel>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <QToolButton>
#include <QTranslator>

using namespace Qt::StringLiterals;

using Outcome = QenCheckModel::Outcome;

Q_DECLARE_METATYPE(QenCheckModel::Outcome)

namespace {

QenCheckModelPointer makeCheck(const char* keyword) {
    auto check = std::make_shared<QenCheckModel>();
    QVariantMap texts{{"title", "磁盘已加密"}, {"detail", "说明"}};
    if (*keyword)
        texts.insert(u"keyword"_s, QString::fromLatin1(keyword));
    check->spreadDictToModel(Platform::ArchiveValue::fromVariant(texts));
    return check;
}

} // namespace

/// What a row of the check tree tells a person.
class tst_CheckRows : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        initMavResources();
        QVERIFY(m_texts.load(u":/i18n/mav_zh_CN.qm"_s) && QCoreApplication::installTranslator(&m_texts));
        Theme::apply(*qApp);
    }

    void init() {
        m_view = std::make_unique<CheckTreeView>();
        m_view->setNodes({std::make_shared<QenRootModel>(u"安全"_s, std::vector{m_check = makeCheck("disk")})});
        m_view->show();
    }

    void outcomes_data() {
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<QByteArray>("keyword");
        QTest::addColumn<bool>("isWarn");
        QTest::addColumn<QString>("verdict");
        QTest::addColumn<QString>("state");
        QTest::addColumn<bool>("hasRepair");
        const auto row = [](const char* name, Outcome outcome, const char* keyword, const char* verdict,
                             const char* state, bool hasRepair, bool isWarn = false) {
            QTest::newRow(name) << outcome << QByteArray(keyword) << isWarn << QString::fromUtf8(verdict)
                                << QString::fromUtf8(state) << hasRepair;
        };
        row("running", Outcome::Running, "disk", "", "检测中", false);
        row("passed", Outcome::Passed, "disk", "", "正常", false);
        row("failed", Outcome::Failed, "disk", "未通过", "", true);
        row("failed, nothing to repair", Outcome::Failed, "", "未通过", "异常", false);
        row("no result", Outcome::Unknown, "disk", "无法确定", "", false);
        row("not known and not met", Outcome::Unknown, "disk", "无法确定", "", true, true);
        row("the same, nothing to repair", Outcome::Unknown, "", "无法确定", "异常", false, true);
    }
    void outcomes() {
        QFETCH(Outcome, outcome);
        QFETCH(QByteArray, keyword);
        QFETCH(bool, isWarn);
        const auto check = makeCheck(keyword.constData());
        m_view->setNodes({std::make_shared<QenRootModel>(u"安全"_s, std::vector{check})});
        check->setOutcome(outcome);
        check->setIsWarn(isWarn);
        m_view->reload();
        QTEST(shownText("checkVerdict"), "verdict");
        QTEST(shownText("checkState"), "state");
        const auto rows = m_view->findChildren<QToolButton*>(u"repairBtn"_s);
        QTEST(rows.last()->isVisible(), "hasRepair");
        QCOMPARE(shownText("checkDetail"), u"说明"_s);
    }

    void eachOutcomeHasAShapeOfItsOwn() {
        QList<QImage> shapes;
        QStringList names;
        for (const Outcome outcome : {Outcome::Running, Outcome::Passed, Outcome::Failed, Outcome::Unknown}) {
            m_check->setOutcome(outcome);
            m_view->reload();
            const QPixmap mark = m_view->findChildren<QLabel*>(u"checkMark"_s).last()->pixmap();
            const QImage shape = mark.toImage().convertToFormat(QImage::Format_Alpha8);
            QVERIFY(!shapes.contains(shape));
            shapes << shape;
            names << m_view->findChildren<CheckRowView*>().last()->accessibleName();
        }
        QCOMPARE(names,
            (QStringList{"磁盘已加密，检测中", "磁盘已加密，正常", "磁盘已加密，未通过", "磁盘已加密，无法确定"}));
    }

    void aNoteTellsWhy() {
        m_check->setOutcome(Outcome::Unknown);
        m_check->setNote(u"没有权限读取加密状态"_s);
        m_view->reloadRow(0);
        QCOMPARE(shownText("checkDetail"), u"没有权限读取加密状态"_s);
        m_check->setOutcome(Outcome::Running);
        m_view->endRunning();
        QCOMPARE(m_check->outcome(), Outcome::Unknown);
        m_check->setOutcome(Outcome::Passed);
        m_view->endRunning();
        QCOMPARE(m_check->outcome(), Outcome::Passed);
    }

    void everyReasonOfTheHostToolsHasWords() {
        QFile source(QStringLiteral(HOST_TOOLS_REASONS));
        QVERIFY(source.open(QIODevice::ReadOnly));
        static const QRegularExpression code(u"\\{u\"([a-z.-]+)\"_s, \""_s);
        auto found = code.globalMatch(QString::fromUtf8(source.readAll()));
        QSet<QString> sentences;
        while (found.hasNext()) {
            const QString name = found.next().captured(1);
            const QString sentence = CheckReason{name, u"sdb1"_s, u"/data"_s}.note();
            QVERIFY2(sentence.endsWith(u"（/data）"), qPrintable(name));
            QVERIFY2(!sentences.contains(sentence) && !sentence.contains(u'%'), qPrintable(sentence));
            sentences.insert(sentence);
        }
        QVERIFY(sentences.size() > 30);
        QCOMPARE((CheckReason{u"disk.plain"_s, u"sdb1"_s, u"swap"_s}.note()), u"磁盘 sdb1 没有加密（交换空间）"_s);
    }

    void nothingToCheckIsSaid() {
        QVERIFY(shownText("nothingToCheckLab").isEmpty());
        m_view->setNodes({std::make_shared<QenRootModel>(u"安全"_s, std::vector<QenCheckModelPointer>())});
        QVERIFY(!shownText("nothingToCheckLab").isEmpty());
    }

private:
    /// Of the last row.
    QString shownText(const char* name) const {
        const auto labels = m_view->findChildren<QLabel*>(QString::fromLatin1(name));
        return !labels.isEmpty() && labels.last()->isVisible() ? labels.last()->text() : QString();
    }

    QTranslator m_texts;
    QenCheckModelPointer m_check;
    std::unique_ptr<CheckTreeView> m_view;
};

QTEST_MAIN(tst_CheckRows)
#include "tst_CheckRows.moc"
