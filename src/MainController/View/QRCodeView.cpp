#include "QRCodeView.h"

#include "Theme.h"

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

QRCodeView::QRCodeView(QWidget* parent) : QFrame(parent), m_ring(new Spinner(RingSide, this)) {
    m_ui.setupUi(this);
    constexpr int Side = CodeSide + 2 * QuietMargin;
    setFixedSize(Side, Side);
    m_ring->setFixedSize(DiscSide, DiscSide);
    m_ring->move((Side - DiscSide) / 2, (Side - DiscSide) / 2);

    connect(m_ui.renewCodeBtn, &SpinnerButton::clicked, this, &QRCodeView::wantsRenewal);
    m_patience.setSingleShot(true);
    m_patience.setInterval(PatienceMilliseconds);
    connect(&m_patience, &QTimer::timeout, this, &QRCodeView::follow);
    m_patience.start();
    follow();
}

QRCodeView::State QRCodeView::state() const {
    return m_offline ? State::Offline : m_failed ? State::Failed : m_image.isNull() ? State::Loading : State::Shown;
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
    const bool isFailed = state() == State::Failed;
    const bool isWaiting = !m_patience.isActive() && (m_renewing || state() == State::Loading);
    const bool turns = isWaiting && !m_offline;
    const bool hasReason = m_offline || (isFailed && !turns);
    m_ring->setVisible(turns);
    m_ui.renewCodeBtn->setVisible(isFailed && !turns);
    m_ui.reasonPicture->setVisible(hasReason);
    m_ui.reasonLab->setVisible(hasReason);
    Theme::setPicture(m_ui.reasonPicture, m_offline ? u"offline"_s : u"alert"_s, PictureSide,
        Theme::color(m_offline ? Theme::Color::SecondText : Theme::Color::Attention));
    m_ui.reasonLab->setText(m_offline ? u"网络未连接\n连接后自动恢复"_s : u"二维码获取失败"_s);
    const bool isShown = state() == State::Shown;
    setAccessibleDescription(hasReason ? m_ui.reasonLab->text() : isShown ? u"已显示"_s : u"正在获取"_s);
    update();
}

void QRCodeView::paintEvent(QPaintEvent* event) {
    QFrame::paintEvent(event);
    QPainter painter(this);
    painter.setOpacity(state() == State::Shown ? 1 : PaleCode);
    // At one pixel a point the modules come out uneven without smoothing, and some phones then refuse them.
    painter.setRenderHint(QPainter::SmoothPixmapTransform, m_image.devicePixelRatio() != devicePixelRatioF());
    painter.drawImage(QRect(QuietMargin, QuietMargin, CodeSide, CodeSide), m_image);
}
