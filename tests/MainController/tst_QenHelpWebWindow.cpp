#include "CheckCatalogue.h"
#include "MavResources.h"
#include "QenHelpWebWindowController.h"
#include "Theme.h"

#include <QListWidget>
#include <QScreen>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>

#include <memory>

using namespace Qt::StringLiterals;

class tst_QenHelpWebWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        initMavResources();
        Theme::apply(*qApp);
    }
    void init() {
        m_window = std::make_unique<QenHelpWebWindowController>();
        m_topics = m_window->findChild<QListWidget*>(u"helpTopics"_s);
        m_page = m_window->findChild<QTextBrowser*>(u"helpPage"_s);
        QVERIFY(m_topics && m_page);
    }
    void cleanup() { m_window.reset(); }

    void everyRepairButtonHasItsTopic() {
        const auto catalogue = readCatalogue(u":/bundle/QenCheck.plist"_s);
        QVERIFY(catalogue);
        QSet<QString> pages;
        const RequiredChecks titles{u"磁盘已加密"_s, u"已开启主机防火墙"_s, u"域检测"_s, u"Qen安装检测"_s};
        for (const QenRootModelPointer& node : checkTree(*catalogue, titles).nodes) {
            for (const QenCheckModelPointer& check : node->leafArr()) {
                m_window->loadHelpWithTag(check->keyword());
                QVERIFY2(m_topics->currentRow() > 0, qPrintable(check->keyword()));
                QVERIFY2(m_page->toPlainText().size() > 200, qPrintable(check->keyword()));
                pages << m_page->toPlainText();
            }
        }
        QCOMPARE(pages.size(), titles.size());
    }

    void anUnknownTagShowsTheFirstTopic() {
        for (const QString& tag : {QString(), u"printer"_s, u"Disk"_s, u"../help/disk"_s}) {
            m_window->loadHelpWithTag(u"domain"_s);
            m_window->loadHelpWithTag(tag);
            QCOMPARE(m_topics->currentRow(), 0);
            QCOMPARE(m_page->document()->firstBlock().text(), m_topics->item(0)->text());
        }
    }

    void everyPageIsReachedByKeyboardAndShownFromItsTop() {
        m_window->resize(Theme::HelpWindowSize.width(), 200);
        m_window->show();
        m_window->loadHelpWithTag({});
        QSet<QString> titles;
        QScrollBar* bar = m_page->verticalScrollBar();
        for (int row = 0; row < m_topics->count(); ++row) {
            QCOMPARE(m_page->document()->firstBlock().text(), m_topics->item(row)->text());
            titles << m_page->document()->firstBlock().text();
            // A page never needs to be moved sideways.
            QCOMPARE(m_page->horizontalScrollBar()->maximum(), 0);
            QTRY_VERIFY(bar->maximum() > 0);
            bar->setValue(bar->maximum());
            QTest::keyClick(m_topics, Qt::Key_Down);
            QVERIFY(bar->value() == 0 || row + 1 == m_topics->count());
        }
        QCOMPARE(titles.size(), m_topics->count());
        // One that is shown already goes back to its top.
        m_window->loadHelpWithTag(u"problems"_s);
        QCOMPARE(bar->value(), 0);
    }

    void frameOver() {
        const QRect screen(0, 0, 1920, 1080);
        const auto over = QenHelpWebWindowController::frameOver;
        QCOMPARE(over({400, 200, 960, 640}, screen), QRect(470, 170, 920, 600));
        QCOMPARE(over({-700, 900, 960, 640}, screen), QRect(0, 480, 920, 600));
        QCOMPARE(over({-1500, 100, 960, 640}, {-1920, 30, 1920, 1050}), QRect(-1430, 70, 920, 600));
        QCOMPARE(over({0, 0, 800, 480}, {0, 24, 800, 456}), QRect(0, 24, 800, 456));
    }

    void opensOverTheMainWindow() {
        QWidget main;
        auto* button = new QWidget(&main);
        main.setGeometry(20, 120, 960, 640);
        main.show();
        QVERIFY(QTest::qWaitForWindowExposed(&main));
        m_window->showMaximized();
        m_window->loadHelpWithTag(u"firewall"_s);
        m_window->openOver(button);
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        QVERIFY(!m_window->isMaximized());
        QVERIFY(main.screen()->availableGeometry().contains(m_window->frameGeometry()));
        QCOMPARE(m_window->y(), main.geometry().y() + 20 - 50 - (main.geometry().y() - main.frameGeometry().y()));
        QCOMPARE(qApp->focusWidget(), m_topics);
    }

private:
    std::unique_ptr<QenHelpWebWindowController> m_window;
    QListWidget* m_topics = nullptr;
    QTextBrowser* m_page = nullptr;
};

QTEST_MAIN(tst_QenHelpWebWindow)
#include "tst_QenHelpWebWindow.moc"
