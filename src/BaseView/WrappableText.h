#pragma once

#include <QString>

/// @p text with places to wrap inside of words that are longer than a line, cut with an ellipsis after @p longest
/// characters: for texts of others, so that none of them grows a window beyond the screen.
QString wrappable(const QString& text, qsizetype longest);
