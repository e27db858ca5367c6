#include "LogLine.h"

#include <QStringEncoder>

#include <chrono>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// Every line names this writing block and these two line numbers, never its caller; readers of the files know them so.
constexpr char WritingBlock[] = "-[QenLogHelper writeLog:type:]_block_invoke";
constexpr int FileLineNumber = 148;
constexpr int ConsoleLineNumber = 150;

constexpr std::time_t ZoneSeconds = 28800;
constexpr char LineEnd[] = " \n";
/// A buffer that one long message has blown up is given back.
constexpr qsizetype KeptCapacity = 1 << 20;

std::time_t now() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return time.tv_sec;
}

} // namespace

QString LogLine::dateString(std::time_t secondsSinceEpoch) {
    using namespace std::chrono;
    const sys_seconds time{seconds(secondsSinceEpoch + ZoneSeconds)};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    char text[64];
    const int length = std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
        static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    return QString::fromLatin1(text, length);
}

QString LogLine::currentDateString() {
    return dateString(now());
}

void LogLine::startSecond(std::time_t second) {
    m_second = second;
    const QString prefix =
        u"%1 : %2:[%3] : "_s.arg(dateString(second), QLatin1StringView(WritingBlock)).arg(FileLineNumber);
    m_prefix = prefix.toLatin1();
    m_consolePrefix = u"%1 [Line %2] %3"_s.arg(QLatin1StringView(WritingBlock)).arg(ConsoleLineNumber).arg(prefix);
}

QByteArrayView LogLine::format(const QString& message) {
    const std::time_t second = now();
    if (second != m_second)
        startSecond(second);
    if (m_line.capacity() > KeptCapacity)
        m_line = QByteArray();
    if (m_console.capacity() > KeptCapacity)
        m_console = QString();

    // Without state: half a character at the end of a message must not turn up in the next line.
    QStringEncoder encoder(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    m_line.resize(m_prefix.size() + encoder.requiredSpace(message.size()) + qsizetype(sizeof LineEnd));
    char* const begin = m_line.data();
    char* end = std::copy(m_prefix.cbegin(), m_prefix.cend(), begin);
    end = encoder.appendToBuffer(end, message);
    end = std::copy(LineEnd, LineEnd + sizeof LineEnd - 1, end);

    m_console.resize(0);
    m_console += m_consolePrefix;
    m_console += message;
    m_console += QLatin1StringView(LineEnd);
    return {begin, end - begin};
}
