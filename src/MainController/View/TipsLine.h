#pragma once

#include "ui_TipsLine.h"

#include <QWidget>

/// The organisation's line of advice and its mark, at the right of the head line.
class TipsLine final : public QWidget {
    Q_OBJECT
public:
    explicit TipsLine(QWidget* parent = nullptr);

    /// An empty text leaves the line as it is.
    void setTips(const QString& text);
    /// A null picture leaves the mark as it is.
    void setMark(const QImage& mark);

private:
    Ui::TipsLine m_ui;
};
