#pragma once

#include <QString>

/// Texts of others, so that none of them grows a window beyond the screen or is taken for markup.

/// @p text with places to wrap inside of words that are longer than a line, cut with an ellipsis after @p longest
/// characters.
QString wrappable(const QString& text, qsizetype longest);

/// A name within a sentence, whose end must stay: what is more than @p longest characters goes from its middle.
QString shortened(const QString& name, qsizetype longest = 48);

/// A tool tip that shows @p text as it is, in lines.
QString toolTipText(const QString& text);
