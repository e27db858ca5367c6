#pragma once

#include "SpinnerTurn.h"

#include <QImage>
#include <QTimer>
#include <QWidget>

class SpinnerButton;

/// The sign-in code at 180 points with a quiet white margin, or why there is none.
///
/// A ring turns over it while the code is renewed, if that takes long enough to be noticed. Main thread.
class QRCodeView final : public QWidget {
    Q_OBJECT
public:
    static constexpr int CodeSide = 180;
    enum class State { Loading, Shown, Failed, Offline };

    explicit QRCodeView(QWidget* parent = nullptr);

    State state() const { return m_state; }
    /// Shows @p image; a null one tells that there is none now, over the pale last one if there was one.
    void setImage(const QImage& image);
    const QImage& image() const { return m_image; }
    void setRenewing(bool renewing);
    /// Without a network a code can be drawn but not confirmed.
    void setOffline(bool offline);
    /// True while the ring costs time.
    bool isTurning() const { return m_turn.isTurning(); }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

Q_SIGNALS:
    void wantsRenewal();

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void follow();
    QRect codeRect() const;
    void paintRing(QPainter& painter);
    void paintReason(QPainter& painter);

    QImage m_image;
    bool m_failed = false;
    bool m_offline = false;
    bool m_renewing = false;
    State m_state = State::Loading;
    QTimer m_patience;
    SpinnerTurn m_turn;
    SpinnerButton* m_again;
};
