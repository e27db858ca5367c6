#include "Base64Text.h"

#include <algorithm>
#include <array>
#include <cstdint>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LettersPerLine = 64;

constexpr std::string_view Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

using Values = std::array<std::int32_t, 256>;

/// The six bits of each character, negative for one outside the alphabet.
constexpr Values makeValues() {
    Values values{};
    values.fill(-1);
    for (std::size_t i = 0; i < Alphabet.size(); ++i)
        values[static_cast<unsigned char>(Alphabet[i])] = static_cast<std::int32_t>(i);
    return values;
}

constexpr Values ValueOf = makeValues();

/// Takes whole groups of four letters as long as nothing else stands between them.
const char16_t* decodeGroups(const char16_t* in, const char16_t* end, unsigned char** out) {
    unsigned char* to = *out;
    for (; end - in >= 4; in += 4, to += 3) {
        if ((in[0] | in[1] | in[2] | in[3]) > 0xff)
            break;
        const std::int32_t group = ValueOf[in[0]] << 18 | ValueOf[in[1]] << 12 | ValueOf[in[2]] << 6 | ValueOf[in[3]];
        if (group < 0)
            break;
        to[0] = static_cast<unsigned char>(group >> 16);
        to[1] = static_cast<unsigned char>(group >> 8);
        to[2] = static_cast<unsigned char>(group);
    }
    *out = to;
    return in;
}

} // namespace

QString Base64Text::encode(const QByteArray& bytes) {
    const QByteArray letters = bytes.toBase64();
    QString text = u""_s;
    text.reserve(letters.size() + letters.size() / LettersPerLine * 2);
    for (qsizetype start = 0; start < letters.size(); start += LettersPerLine) {
        if (start > 0)
            text += "\r\n"_L1;
        text +=
            QLatin1StringView(QByteArrayView(letters).sliced(start, std::min(LettersPerLine, letters.size() - start)));
    }
    return text;
}

std::optional<QByteArray> Base64Text::decode(QStringView text) {
    QByteArray bytes(text.size() / 4 * 3 + 3, Qt::Uninitialized);
    auto* const begin = reinterpret_cast<unsigned char*>(bytes.data());
    unsigned char* out = begin;
    const char16_t* in = text.utf16();
    const char16_t* const end = in + text.size();
    std::uint32_t group = 0;
    int letters = 0;
    int padding = 0;
    while (in < end) {
        if (letters == 0 && padding == 0)
            in = decodeGroups(in, end, &out);
        if (in == end)
            break;
        const char16_t c = *in++;
        if (c == u'=') {
            if (++padding > 2)
                return std::nullopt;
            continue;
        }
        const std::int32_t value = c > 0xff ? -1 : ValueOf[c];
        if (value < 0)
            continue;
        if (padding > 0)
            return std::nullopt;
        group = group << 6 | static_cast<std::uint32_t>(value);
        if (++letters == 4) {
            *out++ = static_cast<unsigned char>(group >> 16);
            *out++ = static_cast<unsigned char>(group >> 8);
            *out++ = static_cast<unsigned char>(group);
            letters = 0;
        }
    }
    if ((letters + padding) % 4 != 0)
        return std::nullopt;
    if (letters >= 2)
        *out++ = static_cast<unsigned char>(letters == 2 ? group >> 4 : group >> 10);
    if (letters == 3)
        *out++ = static_cast<unsigned char>(group >> 2);
    bytes.truncate(out - begin);
    return bytes;
}
