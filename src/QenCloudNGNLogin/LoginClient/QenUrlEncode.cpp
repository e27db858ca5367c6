#include "QenUrlEncode.h"

QString QenUrlEncode::urlencodWithData(const QByteArray& data) {
    constexpr char Digits[] = "0123456789ABCDEF";
    QByteArray text;
    text.reserve(data.size() * 3);
    for (const char c : data) {
        if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) {
            text += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        text += '%';
        text += Digits[byte >> 4];
        text += Digits[byte & 15];
    }
    return QString::fromLatin1(text);
}
