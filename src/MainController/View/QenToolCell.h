#pragma once

#include "QenToolModel.h"

#include <QAbstractButton>

#include <functional>

/// One tool as a tile: its picture above its name, which takes at most two lines. The pointer lifts it.
class QenToolCell final : public QAbstractButton {
    Q_OBJECT
public:
    static constexpr int Side = 112;

    explicit QenToolCell(QenToolModel model, QWidget* parent = nullptr);

    const QenToolModel& toolModel() const { return m_model; }
    /// Called with this tile when it is pressed.
    void setCompletion(std::function<void(QenToolCell*)> completion);
    int tag() const { return m_tag; }
    void setTag(int tag) { m_tag = tag; }

    QSize sizeHint() const override { return {Side, Side}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void toolButtonAction();

    QenToolModel m_model;
    std::function<void(QenToolCell*)> m_completion;
    /// The name as it is drawn; made when first painted.
    QStringList m_lines;
    int m_tag = 0;
    bool m_isHovered = false;
};
