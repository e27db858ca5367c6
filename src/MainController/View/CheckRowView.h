#pragma once

#include "QenRootModel.h"

#include <QWidget>

class ElidedLabel;
class HoverPictureButton;
class QLabel;
class QToolButton;

/// One row of the check tree: a category with its count of repairs, or a check with its state or its repair button. A
/// check tells its outcome by a shape, a colour and a word, whatever its title sounds like.
class CheckRowView final : public QWidget {
    Q_OBJECT
public:
    static constexpr int Height = 56;

    explicit CheckRowView(QWidget* parent = nullptr);

    void show(const QenRootModel& category);
    void show(const QenCheckModel& check);
    /// Of a category: whether its checks are hidden.
    void setFolded(bool isFolded);

Q_SIGNALS:
    /// @param keyword  the help topic
    void repairWanted(const QString& keyword);
    /// Of a category: its checks are to be shown or hidden.
    void foldWanted();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QToolButton* makeFold();
    HoverPictureButton* makeRepair();
    void showOutcome(const QenCheckModel& check);
    void setState(const QString& text, const QString& role);

    QToolButton* m_fold;
    QLabel* m_icon;
    QLabel* m_title;
    QLabel* m_verdict;
    ElidedLabel* m_detail;
    QLabel* m_state;
    HoverPictureButton* m_repair;
    QString m_keyword;
};
