#pragma once

#include "QenRootModel.h"
#include "ui_CheckRowView.h"

#include <QFrame>

/// One row of the check tree: a category with its count of repairs, or a check with its state or its repair button. A
/// check tells its outcome by a shape, a colour and a word, whatever its title sounds like.
class CheckRowView final : public QFrame {
    Q_OBJECT
public:
    static constexpr int Height = 56;

    explicit CheckRowView(QWidget* parent = nullptr);

    void show(const QenRootModel& category);
    void show(const QenCheckModel& check);
    /// Of a category: what it hides when it is folded.
    void setChecks(QWidget* checks) { m_checks = checks; }
    void setFolded(bool isFolded);

Q_SIGNALS:
    /// @param keyword  the help topic
    void repairWanted(const QString& keyword);

protected:
    void mousePressEvent(QMouseEvent* event) override;

private:
    void toggleFold();
    void showOutcome(const QenCheckModel& check);
    void setState(const QString& text, const QString& role);

    Ui::CheckRowView m_ui;
    QWidget* m_checks = nullptr;
    QString m_keyword;
};
