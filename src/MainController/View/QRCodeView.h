#pragma once

#include "ui_QRCodeView.h"

#include <QFrame>
#include <QImage>
#include <QTimer>

/// The sign-in code at 180 points with a quiet white margin, or why there is none.
///
/// A ring turns over it while the code is renewed, if that takes long enough to be noticed. Main thread.
class QRCodeView final : public QFrame {
    Q_OBJECT
public:
    static constexpr int CodeSide = 180;
    enum class State { Loading, Shown, Failed, Offline };

    explicit QRCodeView(QWidget* parent = nullptr);

    State state() const;
    /// Shows @p image; a null one tells that there is none now, over the pale last one if there was one.
    void setImage(const QImage& image);
    const QImage& image() const { return m_image; }
    void setRenewing(bool renewing);
    /// Without a network a code can be drawn but not confirmed.
    void setOffline(bool offline);

Q_SIGNALS:
    void wantsRenewal();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void follow();

    Ui::QRCodeView m_ui;
    QImage m_image;
    bool m_failed = false;
    bool m_offline = false;
    bool m_renewing = false;
    QTimer m_patience;
    Spinner* m_ring;
};
