#include "QRCodeView.h"

#include "SpinnerButton.h"
#include "Theme.h"

#include <QHash>
#include <QPainter>

using namespace Qt::StringLiterals;

namespace {

constexpr int QuietMargin = Theme::Space12;
constexpr int RingSide = Theme::Space32;
constexpr int DiscSide = RingSide + Theme::Space24;
constexpr int PictureSide = Theme::Space32;
/// A renewal that is over before this is no cause for motion.
constexpr int PatienceMilliseconds = 250;
constexpr qreal PaleCode = 0.12;

} // namespace

QRCodeView::QRCodeView(QWidget* parent) : QWidget(parent), m_turn(this), m_again(new SpinnerButton(this)) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    m_again->setObjectName(u"renewCodeBtn"_s);
    m_again->setProperty("kind", u"text"_s);
    m_again->setFocusPolicy(Qt::TabFocus);
    m_again->setText(u"重新获取"_s);
    m_again->setAccessibleName(u"重新获取二维码"_s);
    connect(m_again, &SpinnerButton::clicked, this, &QRCodeView::wantsRenewal);
    m_patience.setSingleShot(true);
    m_patience.setInterval(PatienceMilliseconds);
    connect(&m_patience, &QTimer::timeout, this, &QRCodeView::follow);
    m_patience.start();
    follow();
}

QSize QRCodeView::sizeHint() const {
    const int side = CodeSide + 2 * QuietMargin;
    return {side, side};
}

QRect QRCodeView::codeRect() const {
    return {QuietMargin, QuietMargin, CodeSide, CodeSide};
}

void QRCodeView::setImage(const QImage& image) {
    m_failed = image.isNull();
    if (!m_failed)
        m_image = image;
    follow();
}

void QRCodeView::setRenewing(bool renewing) {
    m_renewing = renewing;
    if (renewing)
        m_patience.start();
    else
        m_patience.stop();
    follow();
}

void QRCodeView::setOffline(bool offline) {
    m_offline = offline;
    follow();
}

void QRCodeView::follow() {
    m_state = m_offline ? State::Offline : m_failed ? State::Failed : m_image.isNull() ? State::Loading : State::Shown;
    const bool isWaiting = !m_patience.isActive() && (m_renewing || m_state == State::Loading);
    const bool turns = isWaiting && m_state != State::Offline && isVisible();
    m_turn.setOn(turns);
    m_again->setVisible(m_state == State::Failed && !turns);
    m_again->adjustSize();
    m_again->move((width() - m_again->width()) / 2, codeRect().bottom() - Theme::Space32 - m_again->height() / 2);

    setAccessibleName(u"登录二维码"_s);
    static const QHash<State, QString> told{{State::Loading, u"正在获取"_s}, {State::Shown, u"已显示"_s},
        {State::Failed, u"二维码获取失败"_s}, {State::Offline, u"网络未连接"_s}};
    setAccessibleDescription(told.value(m_state));
    update();
}

void QRCodeView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    follow();
}

void QRCodeView::hideEvent(QHideEvent* event) {
    m_turn.setOn(false);
    QWidget::hideEvent(event);
}

void QRCodeView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Theme::color(Theme::Color::Line));
    painter.setBrush(Theme::color(Theme::Color::Card));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), Theme::CardRadius, Theme::CardRadius);
    if (!m_image.isNull()) {
        const bool isPale = m_state != State::Shown;
        painter.setOpacity(isPale ? PaleCode : 1);
        // At one pixel a point the modules come out uneven without smoothing, and some phones then refuse them.
        painter.setRenderHint(QPainter::SmoothPixmapTransform, m_image.devicePixelRatio() != devicePixelRatioF());
        painter.drawImage(codeRect(), m_image);
        painter.setOpacity(1);
    }
    if (m_turn.isOn())
        paintRing(painter);
    else if (m_state == State::Failed || m_state == State::Offline)
        paintReason(painter);
}

void QRCodeView::paintRing(QPainter& painter) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::color(Theme::Color::Card));
    const QPointF middle = QRectF(rect()).center();
    painter.drawEllipse(middle, DiscSide / 2.0, DiscSide / 2.0);
    m_turn.paint(painter, middle, RingSide, Theme::color(Theme::Color::Brand));
}

void QRCodeView::paintReason(QPainter& painter) {
    const bool isOffline = m_state == State::Offline;
    const QPoint top(rect().center().x(), codeRect().top() + Theme::Space32);
    painter.drawPixmap(top - QPoint(PictureSide / 2, 0),
        Theme::picture(isOffline ? u"offline"_s : u"alert"_s, {PictureSide, PictureSide}, devicePixelRatioF(),
            Theme::color(isOffline ? Theme::Color::SecondText : Theme::Color::Attention)));
    const QRect words(codeRect().left(), top.y() + PictureSide + Theme::Space8, CodeSide, CodeSide);
    painter.setFont(Theme::font(Theme::TextSize::Body));
    painter.setPen(Theme::color(Theme::Color::Text));
    painter.drawText(
        words, Qt::AlignHCenter | Qt::AlignTop, isOffline ? u"网络未连接\n连接后自动恢复"_s : u"二维码获取失败"_s);
}
