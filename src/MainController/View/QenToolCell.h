#pragma once

#include "QenToolModel.h"

#include <QAbstractButton>

#include <functional>

class ToolPictures;

/// One tool as a tile: its picture above its name, which takes at most two lines; a tool tip tells one that is cut. The
/// pointer lifts it.
class QenToolCell final : public QAbstractButton {
    Q_OBJECT
public:
    static constexpr int Side = 112;

    /// @param pictures  must outlive the tile
    QenToolCell(QenToolModel model, ToolPictures& pictures, QWidget* parent = nullptr);

    const QenToolModel& toolModel() const { return m_model; }
    /// Shows another tool in this place.
    void setToolModel(const QenToolModel& model);
    /// Called with this tile when it is pressed.
    void setCompletion(std::function<void(QenToolCell*)> completion);
    int tag() const { return m_tag; }
    void setTag(int tag) { m_tag = tag; }

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void toolButtonAction();
    void paintTile(QPainter& painter) const;
    void paintPicture(QPainter& painter) const;
    void paintName(QPainter& painter);

    QenToolModel m_model;
    ToolPictures& m_pictures;
    std::function<void(QenToolCell*)> m_completion;
    /// The name as it is drawn; made when first painted.
    QStringList m_lines;
    int m_tag = 0;
};
