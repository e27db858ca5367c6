#include "ArchiveDate.h"

#include <charconv>
#include <chrono>
#include <cmath>

namespace Platform::ArchiveDate {

namespace {

using namespace std::chrono;

constexpr sys_days Reference = sys_days{year{2001} / January / 1};
constexpr sys_days Earliest = sys_days{year{1} / January / 1};
constexpr sys_days Latest = sys_days{year{10000} / January / 1};

/// The digits after the point of 1 - 0.digits.
QByteArray complement(QByteArray digits) {
    qsizetype last = digits.size() - 1;
    for (; last >= 0 && digits[last] == '0'; --last)
        ;
    for (qsizetype i = 0; i <= last; ++i)
        digits[i] = static_cast<char>('0' + (i == last ? 10 : 9) - (digits[i] - '0'));
    return digits;
}

bool hasFraction(const QByteArray& digits) {
    return digits.count('0') != digits.size();
}

/// Seconds below the value and the decimals above them, from the shortest text that gives the value again.
struct Parts {
    qint64 seconds = 0;
    QByteArray decimals;
};

Parts split(double value) {
    char buffer[512];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, std::fabs(value), std::chars_format::fixed).ptr;
    const QByteArray text(buffer, end - buffer);
    const qsizetype point = text.indexOf('.');
    Parts parts;
    parts.seconds = (point < 0 ? text : text.left(point)).toLongLong();
    if (point >= 0)
        parts.decimals = text.mid(point + 1);
    if (std::signbit(value)) {
        parts.seconds = -parts.seconds;
        if (hasFraction(parts.decimals)) {
            --parts.seconds;
            parts.decimals = complement(parts.decimals);
        }
    }
    return parts;
}

bool isInRange(double value) {
    return value >= static_cast<double>(seconds(Earliest - Reference).count()) &&
        value < static_cast<double>(seconds(Latest - Reference).count());
}

QString calendarText(qint64 value) {
    const sys_seconds moment = Reference + seconds(value);
    const sys_days day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss time(moment - day);
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
    return QString::fromLatin1(text);
}

/// The number of exactly @p length digits at @p position, which moves on; then @p separator.
std::optional<int> number(QByteArrayView text, qsizetype& position, qsizetype length, char separator) {
    if (position + length + (separator ? 1 : 0) > text.size())
        return std::nullopt;
    int value = 0;
    for (qsizetype i = 0; i < length; ++i) {
        const char digit = text[position++];
        if (digit < '0' || digit > '9')
            return std::nullopt;
        value = value * 10 + (digit - '0');
    }
    if (separator && text[position++] != separator)
        return std::nullopt;
    return value;
}

std::optional<double> joined(qint64 whole, QByteArray decimals) {
    const bool isNegative = whole < 0;
    if (isNegative && hasFraction(decimals)) {
        ++whole;
        decimals = complement(decimals);
    }
    const QByteArray text = QByteArray::number(std::abs(whole)) + '.' + (decimals.isEmpty() ? "0" : decimals);
    double value = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc())
        return std::nullopt;
    return isNegative ? -value : value;
}

} // namespace

QString isoText(double seconds) {
    if (!isInRange(seconds))
        return {};
    const Parts parts = split(seconds);
    QString text = calendarText(parts.seconds);
    if (hasFraction(parts.decimals))
        text += u'.' + QString::fromLatin1(parts.decimals);
    return text + u'Z';
}

QString wholeSecondText(double seconds) {
    return isInRange(seconds) ? calendarText(static_cast<qint64>(std::floor(seconds))) + u'Z' : QString();
}

std::optional<double> fromIsoText(QStringView wide) {
    constexpr qsizetype LongestText = 400; // the smallest number needs some 330 decimals
    const QByteArray text = wide.toLatin1();
    if (text.size() > LongestText)
        return std::nullopt;
    qsizetype position = 0;
    const auto years = number(text, position, 4, '-');
    const auto months = years ? number(text, position, 2, '-') : std::nullopt;
    const auto daysOfMonth = months ? number(text, position, 2, 'T') : std::nullopt;
    const auto hour = daysOfMonth ? number(text, position, 2, ':') : std::nullopt;
    const auto minute = hour ? number(text, position, 2, ':') : std::nullopt;
    const auto second = minute ? number(text, position, 2, 0) : std::nullopt;
    if (!second || *hour > 23 || *minute > 59 || *second > 59 || !text.endsWith('Z'))
        return std::nullopt;
    QByteArray decimals = text.mid(position, text.size() - 1 - position);
    if (!decimals.isEmpty()) {
        if (decimals[0] != '.' || decimals.size() == 1)
            return std::nullopt;
        decimals = decimals.mid(1);
        for (const char digit : decimals) {
            if (digit < '0' || digit > '9')
                return std::nullopt;
        }
    }
    const year_month_day date{
        year{*years}, month{static_cast<unsigned>(*months)}, day{static_cast<unsigned>(*daysOfMonth)}};
    if (!date.ok() || *years == 0)
        return std::nullopt;
    const auto moment = sys_days(date) - Reference + hours(*hour) + minutes(*minute) + seconds(*second);
    return joined(duration_cast<std::chrono::seconds>(moment).count(), decimals);
}

} // namespace Platform::ArchiveDate
