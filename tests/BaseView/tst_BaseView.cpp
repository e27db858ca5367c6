#include "CustomMessageBox.h"
#include "FormField.h"
#include "MavResources.h"
#include "SpinnerButton.h"
#include "Theme.h"
#include "WrappableText.h"

#include <QDirIterator>
#include <QFocusFrame>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextDocument>
#include <QToolButton>
#include <QTranslator>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

using Theme::Color;

namespace {

double luminance(const QColor& color) {
    const auto linear = [](double channel) {
        return channel <= 0.03928 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& one, const QColor& other) {
    const std::pair<double, double> order = std::minmax({luminance(one), luminance(other)});
    return (order.second + 0.05) / (order.first + 0.05);
}

} // namespace

class tst_BaseView : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        initMavResources();
        QVERIFY(m_texts.load(u":/i18n/mav_zh_CN.qm"_s) && QCoreApplication::installTranslator(&m_texts));
        Theme::apply(*qApp);
    }

    void styleSheetIsComplete() {
        const auto left = QRegularExpression(u"%\\w+%"_s).match(Theme::styleSheet());
        QVERIFY2(!left.hasMatch(), qPrintable(left.captured()));
    }

    void whatMustBeReadHasContrast() {
        for (const auto& [text, ground] : {std::pair(Color::Text, Color::Ground), {Color::SecondText, Color::Card},
                 {Color::SecondText, Color::Ground}, {Color::Danger, Color::Card}, {Color::SafeText, Color::Card},
                 {Color::Card, Color::Brand}, {Color::BrandPressed, Color::BrandTint}, {Color::Card, Color::Text}}) {
            const QColor one = Theme::color(text);
            const QColor other = Theme::color(ground);
            QVERIFY2(contrast(one, other) >= 4.5, qPrintable(one.name() + u" on "_s + other.name()));
        }
    }

    void picturesAreDrawn() {
        const QString folder = u":/images/"_s;
        QDirIterator pictures(folder, {u"*.svg"_s}, QDir::Files, QDirIterator::Subdirectories);
        QVERIFY(pictures.hasNext());
        while (pictures.hasNext()) {
            const QString name = pictures.next().mid(folder.size()).chopped(4);
            const QImage image = Theme::picture(name, {16, 16}, 2, Qt::black).toImage();
            QCOMPARE(image.size(), QSize(32, 32));
            int inked = 0;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    inked += qAlpha(image.pixel(x, y)) > 128 ? 1 : 0;
            QVERIFY2(inked > 20, qPrintable(name));
        }
        // An icon gives the same sharp drawing for a dense screen.
        QCOMPARE(Theme::icon(u"mark"_s).pixmap({16, 16}, 2.0).size(), QSize(32, 32));
        QVERIFY(Theme::picture(u"no/such"_s, {16, 16}, 1).isNull());
    }

    void boxAnswersToKeys() {
        QWidget window;
        window.setGeometry(100, 100, 960, 640);
        window.show();
        // Enter and space press what has the keyboard.
        for (const auto& [key, focusFirst, button] : {std::tuple(Qt::Key_Escape, false, 0), {Qt::Key_Return, false, 2},
                 {Qt::Key_Return, true, 1}, {Qt::Key_Space, true, 1}}) {
            QPointer<CustomMessageBox> box = new CustomMessageBox(&window);
            QSignalSpy finished(box, &QDialog::finished);
            box->setTitle(u"提示"_s, u"连接失败"_s, CustomMessageBox::BoxStyle::Warning, u"取消"_s, u"确定"_s);
            box->attach();
            QVERIFY(QTest::qWaitForWindowActive(box));
            QVERIFY(window.isEnabled());
            QCOMPARE(box->geometry().center().x(), window.geometry().center().x());
            auto* first = box->findChild<QPushButton*>(u"firstButton"_s);
            if (focusFirst)
                first->setFocus();
            QTest::keyClick(focusFirst ? static_cast<QWidget*>(first) : box.data(), key);
            QCOMPARE(finished.value(0), QVariantList{button});
            QVERIFY(CustomMessageBox::shown().isEmpty());
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QVERIFY(!box);
        }
    }

    void boxShowsForeignTextPlainly() {
        CustomMessageBox box(nullptr);
        const QString message = u"<b>x</b>"_s + QString(400, u'w');
        box.setTitle(u"提示"_s, message, CustomMessageBox::BoxStyle::Warning, {}, u"确定"_s);
        const auto* label = box.findChild<QLabel*>(u"messageLabel"_s);
        QCOMPARE(label->textFormat(), Qt::PlainText);
        QCOMPARE(box.message(), message);
        box.show();
        // A word without end wraps instead of being cut.
        QVERIFY(label->minimumSizeHint().width() < Theme::BoxWidth);
    }

    void boxFitsItsScreen() {
        QWidget window;
        window.setGeometry(3000, 3000, 960, 640);
        window.show();
        for (const auto& [message, scrolls] : {std::pair(u"连接管理服务器失败，请检查网络。"_s.repeated(6), false),
                 {u"line\n"_s.repeated(300), true}, {QString(1000000, u'w'), true}}) {
            auto* box = new CustomMessageBox(&window);
            box->setTitle(u"提醒"_s, message, CustomMessageBox::BoxStyle::Warning, u"确定"_s, {});
            box->attach();
            QVERIFY(QTest::qWaitForWindowActive(box));
            QVERIFY(box->screen()->availableGeometry().contains(box->geometry()));
            const auto* button = box->findChild<QPushButton*>(u"firstButton"_s);
            const auto* area = box->findChild<QScrollArea*>(u"messageArea"_s);
            QVERIFY(box->rect().contains(QRect(button->mapTo(box, QPoint()), button->size())));
            QVERIFY(box->accessibleDescription().size() <= 400);
            QCOMPARE(area->verticalScrollBar()->maximum() > 0, scrolls);
            QCOMPARE(box->height() > box->screen()->availableGeometry().height() * 3 / 4, scrolls);
            QCOMPARE(area->focusPolicy() == Qt::TabFocus, scrolls);
            QTest::keyClick(box, Qt::Key_PageDown);
            QCOMPARE(area->verticalScrollBar()->value() > 0, scrolls);
            box->close();
        }
    }

    void textsOfOthers() {
        QCOMPARE(shortened(u"会议"_s), u"会议"_s);
        QCOMPARE(shortened(u"abcdefghij"_s, 10), u"abcdefghij"_s);
        QCOMPARE(shortened(u"abcdefghijk"_s, 10), u"abcde…hijk"_s);
        // A sign of two units stays whole or goes.
        const QString pairs = u"😀"_s.repeated(20);
        for (const qsizetype longest : {8, 9, 10, 11})
            QVERIFY(shortened(pairs, longest).isValidUtf16() && shortened(pairs, longest).size() <= longest);
        QTextDocument tip;
        tip.setHtml(toolTipText(u"Q&A <b>&amp;"_s));
        QCOMPARE(tip.toPlainText(), u"Q&A <b>&amp;"_s);
        QVERIFY(toolTipText(QString(100000, u'<')).size() < 2000);
    }

    void fieldTellsItsErrorAndItsSecret() {
        FormField field;
        field.setFieldName(u"passwordLb"_s);
        field.setSecret(true);
        field.show();
        auto* eye = field.findChild<QToolButton*>(u"passwordLbEye"_s);
        auto* error = field.findChild<QLabel*>(u"passwordLbError"_s);
        QCOMPARE(field.edit()->echoMode(), QLineEdit::Password);
        QTest::mouseClick(eye, Qt::LeftButton);
        QCOMPARE(field.edit()->echoMode(), QLineEdit::Normal);
        QCOMPARE(eye->accessibleName(), u"隐藏密码"_s);
        field.setError(u"密码不能为空"_s);
        QVERIFY(error->isVisible());
        QCOMPARE(field.edit()->accessibleDescription(), u"密码不能为空"_s);
        field.clear();
        QVERIFY(!error->isVisible());
        QCOMPARE(field.edit()->echoMode(), QLineEdit::Password);
    }

    void busyButtonWaitsQuietly() {
        QWidget window;
        auto* layout = new QVBoxLayout(&window);
        auto* button = new SpinnerButton;
        button->setText(u"连接"_s);
        layout->addWidget(button);
        window.show();
        const int width = button->width();
        int presses = 0;
        connect(button, &QPushButton::clicked, this, [&presses] { ++presses; });
        button->setFocus();
        button->setBusy(true);
        QTest::mouseClick(button, Qt::LeftButton);
        QTest::keyClick(button, Qt::Key_Return);
        QCOMPARE(presses, 0);
        QCOMPARE(button->width(), width);
        QVERIFY(button->isTurning());
        window.hide();
        QVERIFY(!button->isTurning());
        window.show();
        QVERIFY(button->isTurning());
        button->setBusy(false);
        QVERIFY(!button->isTurning());
        QTest::keyClick(button, Qt::Key_Return);
        QCOMPARE(presses, 1);
        // Whoever wants less motion gets none.
        qputenv("MAV_REDUCED_MOTION", "1");
        button->setBusy(true);
        QVERIFY(!button->isTurning());
        qunsetenv("MAV_REDUCED_MOTION");
    }

    void focusRingFollowsTheKeyboard() {
        QWidget window;
        auto* layout = new QVBoxLayout(&window);
        auto* one = new QLineEdit;
        auto* other = new QPushButton(u"登录"_s);
        layout->addWidget(one);
        layout->addWidget(other);
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        for (QWidget* widget : QWidgetList{one, other}) {
            widget->setFocus();
            const auto* ring = window.findChild<QFocusFrame*>(u"focusRing"_s);
            QVERIFY(ring && ring->isVisible());
            QCOMPARE(ring->widget(), widget);
            const QRect control(widget->mapTo(&window, QPoint()), widget->size());
            QVERIFY(QRect(ring->mapTo(&window, QPoint()), ring->size()).contains(control.adjusted(-3, -3, 3, 3)));
        }
    }

private:
    QTranslator m_texts;
};

QTEST_MAIN(tst_BaseView)
#include "tst_BaseView.moc"
