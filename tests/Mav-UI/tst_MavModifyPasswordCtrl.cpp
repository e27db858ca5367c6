#include "ViewWorld.h"

#include "MavModifyPasswordCtrl.h"
#include "QenCheckPasswordFormat.h"
#include "SpinnerButton.h"

using namespace Qt::StringLiterals;

namespace {

const QString ResetPath = u"/api/public/clientlogin/resetpass"_s;
const QString Password = u"Abcdefg1!"_s;
const QString NewPassword = u"newpass2?"_s;

QJsonObject refusal(int errorcode, const QString& msg, int ret = -1) {
    return {{"kind", "errorcode"}, {"ret", ret}, {"errorcode", errorcode}, {"msg", msg}};
}

} // namespace

class tst_MavModifyPasswordCtrl : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        ViewWorld::prepareApplication();
        QVERIFY2(m_server.start(), qPrintable(m_server.lastError()));
    }
    void init() {
        m_server.action(u"reset"_s);
        // "No such account" when there is none yet.
        m_server.action(u"remove_account"_s, {{"userid", "lin"}});
        QVERIFY(m_server.action(u"add_account"_s, {{"userid", "lin"}, {"password", Password}}));
        m_world.emplace(m_server.httpPort());
        m_world->signInAs(u"lin"_s);
        m_window = std::make_unique<QWidget>();
        m_window->resize(960, 640);
        m_window->show();
        m_sheet = new MavModifyPasswordCtrl(
            {.login = m_world->client.helper,
                .log = m_world->client.log,
                .work = m_world->client.work,
                .alert = [this](const QString& text) { m_world->showAlertTipForLogin(text); }},
            m_window.get());
        m_results.clear();
        connect(m_sheet, &QDialog::finished, this, [this](int result) { m_results << result; });
        open();
    }
    void cleanup() { m_window.reset(); }
    void refusalsAreToldInOrderAndNothingIsSent() {
        const auto refuses = [this](const QStringList& entry, const char* key) {
            fill(entry[0], entry[1], entry[2]);
            // From a field that the keyboard may have to leave.
            edit("fnewPassWordLab")->setFocus();
            press(*m_sheet, "savebtn");
            QCOMPARE(shownTip(), textFor(key));
            QVERIFY(!button()->isBusy() && button()->isEnabled());
        };
        refuses({"", "abc", "abd"}, "PwdNotEmpty");
        refuses({"old", "", ""}, "PwdRuleTips");
        refuses({"old", "Abcdefgh", "abc"}, "PwdRuleTips");
        refuses({Password, Password, Password}, "NOUseOldPwd");
        refuses({"old", NewPassword, QString()}, "PwdInconsistent");
        QCOMPARE(m_sheet->focusWidget(), edit("confirmPassWordLab"));
        QTest::qWait(50);
        QVERIFY(m_server.requests(ResetPath).isEmpty());
        QVERIFY(m_results.isEmpty());
        QVERIFY(!m_world->client.logText().contains(u"Mav start modify"_s));
    }

    void changeThatCannotBeStoredIsToldAsAChange() {
        QVERIFY(QDir().mkpath(m_world->folder.state(u"login.archive.aside"_s) + u"/in the way"_s));
        fill(Password, NewPassword, NewPassword);
        press(*m_sheet, "savebtn");
        QTRY_COMPARE(m_results, QList<int>{1});
        QTRY_COMPARE(m_world->alerts(), QStringList(textFor("PasswordChanged") + u'\n' + textFor("SessionNotStored")));
    }

    void changeClosesTheSheetAndSignsInAgain() {
        fill(Password, NewPassword, NewPassword);
        QTest::mouseDClick(button(), Qt::LeftButton);
        press(*m_sheet, "savebtn");
        enter(*m_sheet, "confirmPassWordLab");
        QVERIFY(button()->isBusy());
        QTRY_COMPARE(m_results, QList<int>{1});
        QVERIFY(!m_sheet->isVisible());
        QCOMPARE(m_server.requests(ResetPath).size(), 1);
        QCOMPARE(m_world->record()->userid(), u"lin"_s);
        QVERIFY(!m_world->record()->decryptTicket().isEmpty() && m_world->record()->decryptTicket() != u"T");
        const QString log = m_world->client.logText();
        QVERIFY(log.contains(u"Mav start modify PassWord !!!!"_s));
        QVERIFY(!log.contains(Password) && !log.contains(NewPassword));
        for (const char* field : {"oldPassWordLab", "fnewPassWordLab", "confirmPassWordLab"})
            QCOMPARE(edit(field)->text(), QString());
    }

    void sheetThatHasLostItsSessionCloses() {
        m_world->client.store(std::nullopt);
        QTRY_VERIFY(!m_sheet->isVisible());
        QCOMPARE(m_results, QList<int>{0});
    }

    void answersAreShown() {
        const QString words = u"服务器说"_s;
        QList<std::pair<QJsonObject, QString>> rows{{refusal(21, words), textFor("OldPwdError")},
            {refusal(21, words, 3), words}, {refusal(7, words), words}, {refusal(7, QString()), QString()}};
        for (const auto& [state, key] : {std::pair(-8, "Deviceapproved"), {-7, "Devicelogout"}, {-6, "Devicerejected"},
                 {-5, "Devicereview"}, {-4, "DevicenoRegister"}, {-3, "Faillogin"}, {-2, "NotLogin"}})
            rows.append({QJsonObject{{"kind", "state"}, {"state", state}}, textFor(key)});
        for (const auto& [fault, tip] : rows) {
            QVERIFY(m_server.fault(ResetPath, fault));
            fill(u"oldpass"_s, NewPassword, NewPassword);
            // Pressed by the keyboard, so that the button has to give it away and take it back.
            button()->setFocus(Qt::TabFocusReason);
            QTest::keyClick(button(), Qt::Key_Space);
            QVERIFY(button()->isBusy());
            QTRY_VERIFY(!button()->isBusy());
            QCOMPARE(shownTip(), tip);
            QCOMPARE(m_sheet->focusWidget(), button());
            QVERIFY(m_results.isEmpty() && m_sheet->isVisible());
        }
    }

    void longWordsOfTheServerStayInTheSheet() {
        QVERIFY(m_server.fault(ResetPath, refusal(7, QString(5000, u'w'))));
        fill(Password, NewPassword, NewPassword);
        const QSize before = m_sheet->size();
        enter(*m_sheet, "confirmPassWordLab");
        QTRY_VERIFY(!button()->isBusy());
        QVERIFY(shownTip().startsWith(u"wwww"_s));
        QCOMPARE(m_sheet->width(), before.width());
        QTRY_VERIFY(m_sheet->height() > before.height());
        QVERIFY2(m_sheet->height() < 600, qPrintable(QString::number(m_sheet->height())));
        edit("confirmPassWordLab")->clear();
        QTest::keyClick(edit("confirmPassWordLab"), Qt::Key_Tab);
        QTRY_COMPARE(m_sheet->size(), before);
    }

    void silentServerLeavesTheSheetUsable() {
        m_server.fault(ResetPath, {{"kind", "delay"}, {"seconds", 0.5}});
        fill(Password, NewPassword, NewPassword);
        enter(*m_sheet, "confirmPassWordLab");
        QVERIFY(m_server.waitForRequests(ResetPath, 1));
        QVERIFY(button()->isBusy());
        press(*m_sheet, "cancelbtn");
        QCOMPARE(m_results, QList<int>{0});
        open();
        QVERIFY(!button()->isBusy());
        type(*m_sheet, "oldPassWordLab", u"typed anew"_s);
        // The late success closes no sheet that was opened after it was asked for.
        QTest::qWait(900);
        QVERIFY(m_sheet->isVisible());
        QCOMPARE(m_results, QList<int>{0});
        QCOMPARE(edit("oldPassWordLab")->text(), u"typed anew"_s);
    }

    void sheetMayGoWhileItsAnswerIsOnItsWay() {
        m_server.fault(ResetPath, {{"kind", "delay"}, {"seconds", 0.3}});
        fill(Password, NewPassword, NewPassword);
        enter(*m_sheet, "confirmPassWordLab");
        QVERIFY(m_server.waitForRequests(ResetPath, 1));
        m_window.reset();
        QTest::qWait(500);
        QVERIFY(m_results.isEmpty());
    }

    void closingByKeyboardAndButton() {
        // Enter confirms from the other fields and cancels on the button that says so.
        enter(*m_sheet, "oldPassWordLab");
        QCOMPARE(shownTip(), textFor("PwdNotEmpty"));
        auto* cancel = find<QPushButton>(*m_sheet, "cancelbtn");
        cancel->setFocus(Qt::TabFocusReason);
        QTest::keyClick(cancel, Qt::Key_Return);
        open();
        QCOMPARE(shownTip(), QString());
        QTest::keyClick(m_sheet->focusWidget(), Qt::Key_Escape);
        QCOMPARE(m_results, (QList<int>{0, 0}));
    }

    void enterInTheNewPasswordMovesOnWhenItIsGood() {
        type(*m_sheet, "fnewPassWordLab", u"Abcdefgh"_s);
        enter(*m_sheet, "fnewPassWordLab");
        QCOMPARE(shownTip(), textFor("PwdFormatError"));
        QCOMPARE(m_sheet->focusWidget(), edit("fnewPassWordLab"));
        for (const QString& good : {u"Abcdef1！"_s, QString()}) {
            edit("fnewPassWordLab")->setFocus();
            edit("fnewPassWordLab")->setText(good);
            enter(*m_sheet, "fnewPassWordLab");
            QCOMPARE(shownTip(), QString());
            QCOMPARE(m_sheet->focusWidget(), edit("confirmPassWordLab"));
        }
        QVERIFY(m_server.requests(ResetPath).isEmpty());
    }

    void leavingAFieldChecksIt() {
        for (const char* field : {"oldPassWordLab", "fnewPassWordLab", "confirmPassWordLab"}) {
            for (const QString& text : {u"abc"_s, u"abcdefg1!"_s, u"abc"_s, QString()}) {
                type(*m_sheet, field, text);
                QTest::keyClick(m_sheet->focusWidget(), Qt::Key_Tab);
                QCOMPARE(shownTip(), text == u"abc" ? textFor("PwdRuleTips") : QString());
            }
        }
    }

    void balloonGoesWithItsField() {
        edit("fnewPassWordLab")->setFocus();
        auto* balloon = m_sheet->findChild<QenCheckPasswordFormat*>();
        auto* ground = find<QWidget>(*balloon, "tipsGround");
        const auto isBeside = [&](const char* field) {
            const QWidget* beside = edit(field);
            const QRect shown(ground->mapToGlobal(QPoint()), ground->size());
            const QRect taken(beside->mapToGlobal(QPoint()), beside->size());
            return !shown.intersects(taken) && shown.top() < taken.bottom() && shown.bottom() > taken.top();
        };
        QCOMPARE(balloon->tipsLab()->text(), textFor("PwdRuleTips"));
        QVERIFY(isBeside("fnewPassWordLab"));
        QVERIFY(balloon->tipsLab()->heightForWidth(balloon->tipsLab()->width()) <= balloon->tipsLab()->height());
        edit("confirmPassWordLab")->setFocus();
        QCOMPARE(balloon->tipsLab()->text(), textFor("PwdInconsistent"));
        QVERIFY(balloon->isVisible() && isBeside("confirmPassWordLab"));
        m_sheet->move(m_sheet->pos() + QPoint(-60, 40));
        QTRY_VERIFY(isBeside("confirmPassWordLab"));
        m_sheet->move(QGuiApplication::primaryScreen()->availableGeometry().right() - m_sheet->width(), 40);
        QTRY_VERIFY(ground->mapToGlobal(QPoint()).x() < m_sheet->x());
        QVERIFY(isBeside("confirmPassWordLab"));

        edit("oldPassWordLab")->setFocus();
        QVERIFY(!balloon->isVisible());
        edit("confirmPassWordLab")->setFocus();
        m_sheet->done(0);
        QVERIFY(!balloon->isVisible());
    }

    void balloonHasAnEvenShadow() {
        edit("fnewPassWordLab")->setFocus();
        auto* balloon = m_sheet->findChild<QenCheckPasswordFormat*>();
        QVERIFY(balloon);
        const QRect ground = find<QWidget>(*balloon, "tipsGround")->geometry();
        const QImage image = balloon->grab().toImage().convertToFormat(QImage::Format_ARGB32);
        const int x = ground.center().x();
        int before = 255;
        for (int distance = 1; distance <= 6; ++distance) {
            const int above = qAlpha(image.pixel(x, ground.top() - distance));
            // As far on each side, as the shadow has no offset.
            QVERIFY(qAbs(above - qAlpha(image.pixel(x, ground.bottom() + distance))) <= 2);
            QVERIFY(qAbs(above - qAlpha(image.pixel(ground.right() + distance, ground.top() + 20))) <= 2);
            QVERIFY2(above < before, qPrintable(QString::number(above)));
            before = above;
        }
        QVERIFY(qAlpha(image.pixel(x, ground.top() - 1)) > 60);
        QCOMPARE(qAlpha(image.pixel(x, 0)), 0);
    }

    void balloonOutlivesItsField() {
        QWidget window;
        auto* field = new QLineEdit(&window);
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        field->setFocus();
        QenCheckPasswordFormat balloon(&window);
        balloon.showTips(u"tip"_s, field, 32.0);
        QVERIFY(balloon.isVisible());
        delete field;
        QVERIFY(!balloon.isVisible());
        QVERIFY(!balloon.field());
    }

    void keyboardReachesEverythingInOrder() {
        const QStringList wanted{"oldPassWordLab", "oldPassWordLabEye", "fnewPassWordLab", "fnewPassWordLabEye",
            "confirmPassWordLab", "confirmPassWordLabEye", "cancelbtn", "savebtn", "oldPassWordLab"};
        QCOMPARE(tabOrder(*m_sheet, wanted.size()), wanted);
        QCOMPARE(edit("fnewPassWordLab")->accessibleDescription(), textFor("PwdRuleTips"));
        QVERIFY(!m_sheet->accessibleName().isEmpty());
    }

private:
    void open() {
        m_sheet->beginSheet();
        QVERIFY(QTest::qWaitForWindowActive(m_sheet));
        QCOMPARE(m_sheet->focusWidget(), edit("oldPassWordLab"));
    }
    QLineEdit* edit(const char* name) { return find<QLineEdit>(*m_sheet, name); }
    SpinnerButton* button() { return find<SpinnerButton>(*m_sheet, "savebtn"); }
    void fill(const QString& old, const QString& first, const QString& second) {
        type(*m_sheet, "oldPassWordLab", old);
        type(*m_sheet, "fnewPassWordLab", first);
        type(*m_sheet, "confirmPassWordLab", second);
    }
    /// What a person reads in the tip line; empty when it is hidden.
    QString shownTip() {
        const auto* label = find<QLabel>(*m_sheet, "resetPasswordTipsLab");
        return label->isVisible() ? label->text() : QString();
    }

    ReferenceServer m_server;
    std::optional<ViewWorld> m_world;
    std::unique_ptr<QWidget> m_window;
    MavModifyPasswordCtrl* m_sheet = nullptr;
    QList<int> m_results;
};

QTEST_MAIN(tst_MavModifyPasswordCtrl)
#include "tst_MavModifyPasswordCtrl.moc"
