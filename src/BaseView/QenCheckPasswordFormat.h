#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;

/// The tips balloon beside a field that has the keyboard: one text on a white ground with a soft shadow around it.
///
/// A window of its own, so that it can stand outside of a narrow sheet; it takes neither keyboard nor mouse. It goes
/// with its field: when that loses the keyboard, is hidden or ends. Main thread.
class QenCheckPasswordFormat final : public QWidget {
    Q_OBJECT
public:
    explicit QenCheckPasswordFormat(QWidget* parent);

    /// Shows @p tips beside @p field: at its right where the screen has room, else at its left.
    /// @param height  of the ground without its shadow, in points
    void showTips(const QString& tips, QWidget* field, double height);
    /// The field that it stands beside; null when it is not shown.
    QWidget* field() const { return m_field; }
    QLabel* tipsLab() const { return m_tipsLab; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void place(double height);

    const bool m_hasShadow;
    bool m_pointsLeft = true;
    QWidget* m_ground;
    QLabel* m_tipsLab;
    QPointer<QWidget> m_field;
};
