#pragma once

#include "ArchiveValue.h"

/// A property list as people read it: a text, number or date alone as it is, containers in their old text form with
/// sorted keys, four blanks a level, and characters beyond ASCII as \U and four hexadecimal digits.
QString propertyListText(const Platform::ArchiveValue& value);
