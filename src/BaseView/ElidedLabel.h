#pragma once

#include <QLabel>

/// One line of plain text that is cut with an ellipsis when it does not fit; the tool tip then has all of it.
class ElidedLabel : public QLabel {
    Q_OBJECT
    Q_PROPERTY(Qt::TextElideMode elideMode MEMBER m_elideMode)
public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    /// Its text on one line.
    QString line() const;

    /// Where it is cut.
    Qt::TextElideMode m_elideMode = Qt::ElideRight;
};
