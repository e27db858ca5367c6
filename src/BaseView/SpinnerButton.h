#pragma once

#include "SpinnerTurn.h"

#include <QPushButton>

/// A button that can be busy: it keeps its width, shows a small spinner in place of its text and takes no press.
///
/// The spinner turns only while the button can be seen.
class SpinnerButton : public QPushButton {
    Q_OBJECT
public:
    explicit SpinnerButton(QWidget* parent = nullptr);

    bool isBusy() const { return m_busy; }
    void setBusy(bool busy);
    /// True while the spinner costs time.
    bool isTurning() const { return m_turn.isTurning(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    bool m_busy = false;
    bool m_hadFocus = false;
    SpinnerTurn m_turn;
};
