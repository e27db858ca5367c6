#include "PageCard.h"

#include "Theme.h"

PageCard::PageCard(QWidget* parent) : QFrame(parent) {
    setFixedWidth(Theme::CardWidth);
}
