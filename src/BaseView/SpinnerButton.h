#pragma once

#include "Spinner.h"

#include <QPushButton>

/// A button that can be busy: it keeps its width, shows a small spinner in place of its text and takes no press.
class SpinnerButton final : public QPushButton {
    Q_OBJECT
public:
    explicit SpinnerButton(QWidget* parent = nullptr);

    bool isBusy() const { return !m_spinner->isHidden(); }
    void setBusy(bool busy);
    /// True while the spinner costs time.
    bool isTurning() const { return m_spinner->isTurning(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Spinner* m_spinner;
    bool m_hadFocus = false;
};
