#pragma once

#include <QFrame>

/// White card with a thin line and round corners; its look comes from the style sheet, its width from the theme.
class PageCard : public QFrame {
    Q_OBJECT
public:
    explicit PageCard(QWidget* parent = nullptr);
};
