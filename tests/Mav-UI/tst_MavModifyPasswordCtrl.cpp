#include "ViewWorld.h"

#include "MavModifyPasswordCtrl.h"
#include "QenCheckPasswordFormat.h"
#include "SpinnerButton.h"

using namespace Qt::StringLiterals;

namespace {

const QString ResetPath = u"/api/public/clientlogin/resetpass"_s;
const QString Password = u"Abcdefg1!"_s;
const QString NewPassword = u"newpass2?"_s;

QJsonObject refusal(int ret, int errorcode, const QString& msg) {
    return {{"kind", "errorcode"}, {"ret", ret}, {"errorcode", errorcode}, {"msg", msg}};
}

QJsonObject status(int value) {
    return {{"kind", "state"}, {"state", value}};
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
        m_world.emplace();
        m_world->folder.configure(m_server.httpPort());
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

    void refusalsAreToldInOrderAndNothingIsSent_data() {
        QTest::addColumn<QStringList>("entry");
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("tip");
        const auto row = [](const char* name, const QStringList& entry, const char* key, const char* user = "lin") {
            QTest::newRow(name) << entry << user << textFor(key);
        };
        row("all empty", {"", "", ""}, "PwdNotEmpty");
        row("no old password, bad new one", {"", "abc", "abd"}, "PwdNotEmpty");
        row("rule before difference", {"old", "Abcdefgh", "abc"}, "PwdRuleTips");
        row("33 characters", {"old", QString(31, u'a') + "1!", QString(31, u'a') + "1!"}, "PwdRuleTips");
        row("no new one", {"old", "", ""}, "PwdRuleTips");
        row("differ", {"old", NewPassword, Password}, "PwdInconsistent");
        row("same as old", {Password, Password, Password}, "NOUseOldPwd");
    }
    void refusalsAreToldInOrderAndNothingIsSent() {
        QFETCH(QStringList, entry);
        QFETCH(QString, user);
        QFETCH(QString, tip);
        fill(entry[0], entry[1], entry[2]);
        // From a field that the keyboard may have to leave.
        edit("fnewPassWordLab")->setFocus();
        press(*m_sheet, "savebtn");
        QCOMPARE(shownTip(), tip);
        if (tip == textFor("PwdInconsistent"))
            QCOMPARE(m_sheet->focusWidget(), edit("confirmPassWordLab"));
        QVERIFY(!button()->isBusy() && button()->isEnabled());
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
        QTRY_COMPARE(m_world->alerts(),
            QStringList(localizedString(u"PasswordChanged"_s) + u'\n' + localizedString(u"SessionNotStored"_s)));
    }

    void changeClosesTheSheetAndSignsInAgain() {
        Outcome login;
        m_world->client.helper.login({{"userid", "lin"}, {"password", Password}, {"otp", ""}}, login.completion());
        QVERIFY(login.wait());
        const QString before = AccountModel::currentModel(m_world->folder.support())->decryptTicket();
        fill(Password, NewPassword, NewPassword);
        QTest::mouseDClick(button(), Qt::LeftButton);
        press(*m_sheet, "savebtn");
        enter(*m_sheet, "confirmPassWordLab");
        QVERIFY(button()->isBusy());
        QTRY_COMPARE(m_results, QList<int>{1});
        QVERIFY(!m_sheet->isVisible());
        QCOMPARE(m_server.requests(ResetPath).size(), 1);
        const auto record = AccountModel::currentModel(m_world->folder.support());
        QVERIFY(record && record->decryptTicket() != before && !record->decryptTicket().isEmpty());
        QCOMPARE(record->userid(), u"lin"_s);
        const QString log = m_world->client.logText();
        QVERIFY(log.contains(u"Mav start modify PassWord !!!!"_s));
        QVERIFY(!log.contains(Password) && !log.contains(NewPassword));
        for (const char* field : {"oldPassWordLab", "fnewPassWordLab", "confirmPassWordLab"})
            QCOMPARE(edit(field)->text(), QString());
        // The server has the new one, as it was typed.
        Outcome again;
        m_world->client.helper.login({{"userid", "lin"}, {"password", NewPassword}, {"otp", ""}}, again.completion());
        QVERIFY(again.wait());
        QCOMPARE(again.answer.value(u"ret").toInt(-1), 0);
    }

    void sheetThatHasLostItsSessionCloses() {
        m_world->client.store(std::nullopt);
        QTRY_VERIFY(!m_sheet->isVisible());
        QCOMPARE(m_results, QList<int>{0});
    }

    void answersAreShown_data() {
        QTest::addColumn<QJsonObject>("fault");
        QTest::addColumn<QString>("tip");
        const QString words = u"服务器说"_s;
        const auto state = [](int value, const char* key) { QTest::newRow(key) << status(value) << textFor(key); };
        QTest::newRow("wrong old password") << refusal(-1, 21, words) << textFor("OldPwdError");
        QTest::newRow("other code") << refusal(-1, 7, words) << words;
        QTest::newRow("other ret") << refusal(3, 21, words) << words;
        QTest::newRow("no words") << refusal(-1, 7, QString()) << QString();
        state(-8, "Deviceapproved");
        state(-7, "Devicelogout");
        state(-6, "Devicerejected");
        state(-5, "Devicereview");
        state(-4, "DevicenoRegister");
        state(-3, "Faillogin");
        state(-2, "NotLogin");
        QTest::newRow("scanned") << status(-1) << u"二维码已扫描"_s;
        QTest::newRow("-9") << status(-9) << QString();
        for (const char* name : {"array", "empty_object"})
            QTest::newRow(name) << QJsonObject{{"kind", "shape"}, {"shape", name}} << textFor("AnswerUnusable");
        for (const char* name : {"no_data", "data_list", "state_null"})
            QTest::newRow(name) << QJsonObject{{"kind", "shape"}, {"shape", name}} << QString();
    }
    void answersAreShown() {
        QFETCH(QJsonObject, fault);
        QFETCH(QString, tip);
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
        press(*m_sheet, "savebtn");
        QVERIFY(m_server.waitForRequests(ResetPath, 2));
    }

    void errorIsShownInWords() {
        m_server.fault(ResetPath, {{"kind", "close"}});
        fill(Password, NewPassword, NewPassword);
        enter(*m_sheet, "confirmPassWordLab");
        QTRY_VERIFY(!button()->isBusy());
        QVERIFY(!shownTip().isEmpty());
        QVERIFY(m_results.isEmpty());
    }

    void longWordsOfTheServerStayInTheSheet() {
        QVERIFY(m_server.fault(ResetPath, refusal(-1, 7, QString(5000, u'w'))));
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
        QTest::keyClick(m_sheet->focusWidget(), Qt::Key_Escape);
        QCOMPARE(m_results, QList<int>{0});
        open();
        press(*m_sheet, "cancelbtn");
        open();
        m_sheet->close();
        QCOMPARE(m_results, (QList<int>{0, 0, 0}));
        open();
        // Enter confirms from the other fields and cancels on the button that says so.
        enter(*m_sheet, "oldPassWordLab");
        QCOMPARE(shownTip(), textFor("PwdNotEmpty"));
        find<QPushButton>(*m_sheet, "cancelbtn")->setFocus(Qt::TabFocusReason);
        QTest::keyClick(find<QPushButton>(*m_sheet, "cancelbtn"), Qt::Key_Return);
        QCOMPARE(m_results, (QList<int>{0, 0, 0, 0}));
        open();
        QCOMPARE(shownTip(), QString());
    }

    void enterInTheNewPasswordMovesOnWhenItIsGood() {
        type(*m_sheet, "fnewPassWordLab", u"Abcdefgh"_s);
        enter(*m_sheet, "fnewPassWordLab");
        QCOMPARE(shownTip(), textFor("PwdFormatError"));
        QCOMPARE(m_sheet->focusWidget(), edit("fnewPassWordLab"));
        for (const QString& good : {u"abcdefg1!"_s, u"Abcdef1！"_s, QString()}) {
            edit("fnewPassWordLab")->setFocus();
            edit("fnewPassWordLab")->setText(good);
            enter(*m_sheet, "fnewPassWordLab");
            QCOMPARE(shownTip(), QString());
            QCOMPARE(m_sheet->focusWidget(), edit("confirmPassWordLab"));
        }
        QVERIFY(m_server.requests(ResetPath).isEmpty());
    }

    void leavingAFieldChecksIt_data() {
        QTest::addColumn<QString>("field");
        for (const char* field : {"oldPassWordLab", "fnewPassWordLab", "confirmPassWordLab"})
            QTest::newRow(field) << QString::fromLatin1(field);
    }
    void leavingAFieldChecksIt() {
        QFETCH(QString, field);
        const auto tipAfterLeaving = [&](const QString& text) {
            type(*m_sheet, qPrintable(field), text);
            QTest::keyClick(m_sheet->focusWidget(), Qt::Key_Tab);
            return shownTip();
        };
        QCOMPARE(tipAfterLeaving(u"abc"_s), textFor("PwdRuleTips"));
        QVERIFY(m_sheet->focusWidget() != edit(qPrintable(field)));
        QCOMPARE(tipAfterLeaving(u"abcdefg1!"_s), QString());
        QCOMPARE(tipAfterLeaving(u"abc"_s), textFor("PwdRuleTips"));
        QCOMPARE(tipAfterLeaving(QString()), QString());
    }

    void balloonGoesWithItsField() {
        QVERIFY(!m_sheet->findChild<QenCheckPasswordFormat*>());
        edit("fnewPassWordLab")->setFocus();
        auto* balloon = m_sheet->findChild<QenCheckPasswordFormat*>();
        QVERIFY(balloon && balloon->isVisible());
        auto* ground = find<QWidget>(*balloon, "tipsGround");
        const auto isBeside = [&](const char* field) {
            const QWidget* beside = edit(field);
            const QRect shown(ground->mapToGlobal(QPoint()), ground->size());
            const QRect taken(beside->mapToGlobal(QPoint()), beside->size());
            return !shown.intersects(taken) && shown.top() < taken.bottom() && shown.bottom() > taken.top();
        };
        QCOMPARE(balloon->tipsLab()->text(), textFor("PwdRuleTips"));
        QCOMPARE(ground->height(), 67);
        QVERIFY(isBeside("fnewPassWordLab"));
        QVERIFY(balloon->tipsLab()->heightForWidth(balloon->tipsLab()->width()) <= balloon->tipsLab()->height());
        edit("confirmPassWordLab")->setFocus();
        QCOMPARE(m_sheet->findChildren<QenCheckPasswordFormat*>().size(), 1);
        QCOMPARE(balloon->tipsLab()->text(), textFor("PwdInconsistent"));
        QCOMPARE(ground->height(), 32);
        QVERIFY(balloon->isVisible() && isBeside("confirmPassWordLab"));
        m_sheet->move(m_sheet->pos() + QPoint(-60, 40));
        QTRY_VERIFY(isBeside("confirmPassWordLab"));
        m_sheet->move(QGuiApplication::primaryScreen()->availableGeometry().right() - m_sheet->width(), 40);
        QTRY_VERIFY(ground->mapToGlobal(QPoint()).x() < m_sheet->x());
        QVERIFY(isBeside("confirmPassWordLab"));

        edit("oldPassWordLab")->setFocus();
        QVERIFY(!balloon->isVisible());
        edit("confirmPassWordLab")->setFocus();
        QVERIFY(balloon->isVisible());
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
        QCOMPARE(QColor(image.pixel(x, ground.top())), Theme::color(Theme::Color::Card));
        int before = 255;
        for (int distance = 1; distance <= 6; ++distance) {
            const QRgb above = image.pixel(x, ground.top() - distance);
            // As far on each side, as the shadow has no offset.
            QVERIFY(qAbs(qAlpha(above) - qAlpha(image.pixel(x, ground.bottom() + distance))) <= 2);
            QVERIFY(qAbs(qAlpha(above) - qAlpha(image.pixel(ground.right() + distance, ground.top() + 20))) <= 2);
            QVERIFY2(qAlpha(above) < before, qPrintable(QString::number(qAlpha(above))));
            before = qAlpha(above);
            // Faint pixels round too much to tell a colour.
            if (distance <= 3)
                QVERIFY2(qAbs(qRed(above) - 0x66) <= 4, qPrintable(QString::number(qRed(above), 16)));
        }
        QVERIFY(qAlpha(image.pixel(x, ground.top() - 1)) > 60);
        QVERIFY(qAlpha(image.pixel(x, ground.top() - 6)) < 8);
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
            "confirmPassWordLab", "confirmPassWordLabEye", "cancelbtn", "savebtn"};
        QStringList reached;
        for (qsizetype step = 0; step < wanted.size(); ++step) {
            reached << m_sheet->focusWidget()->objectName();
            QVERIFY2(!spokenName(m_sheet->focusWidget()).isEmpty(), qPrintable(reached.constLast()));
            QTest::keyClick(m_sheet->focusWidget(), Qt::Key_Tab);
        }
        QCOMPARE(reached, wanted);
        QCOMPARE(m_sheet->focusWidget()->objectName(), wanted.constFirst());
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
