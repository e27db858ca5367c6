#pragma once

#include <QString>

/// The content of one quoted string of a property list in its old text form: \U and up to four hexadecimal digits are a
/// UTF-16 unit, up to three octal digits a character, and the usual letters control characters; a backslash before
/// anything else is dropped. Null when @p text is not exactly one such string.
QString unescapedQuotedText(const QString& text);
