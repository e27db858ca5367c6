#include "StringExtension.h"

#include <algorithm>

// In a file of its own: small programs need this one without the fonts and ciphers of the others.
bool StringExtension::isHexadecimal(QStringView text, qsizetype count) {
    return text.size() == count && std::all_of(text.begin(), text.end(), [](QChar digit) {
        return (digit >= u'0' && digit <= u'9') || (digit >= u'A' && digit <= u'F');
    });
}
