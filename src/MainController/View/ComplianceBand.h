#pragma once

#include <QFrame>

/// The band that tells the computer's state: a card with the level's picture behind and its colour at the left edge.
class ComplianceBand final : public QFrame {
    Q_OBJECT
public:
    explicit ComplianceBand(QWidget* parent = nullptr);

    /// @param background  name of a picture
    void setLook(const QString& background, const QColor& edge);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_background;
    QColor m_edge;
};
