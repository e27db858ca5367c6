#pragma once

#include <QByteArray>
#include <QString>

#include <ctime>

/// Builds log lines and remembers what does not change within a second. For one thread.
class LogLine final {
public:
    /// The line of @p message in UTF-8, stamped now. Valid until the next call.
    QByteArrayView format(const QString& message);
    /// The line last formatted, as the system console gets it.
    const QString& consoleText() const { return m_console; }

    /// "yyyy-MM-dd HH:mm:ss" in the fixed zone GMT+8, whatever the machine's own zone.
    static QString dateString(std::time_t secondsSinceEpoch);
    static QString currentDateString();

private:
    void startSecond(std::time_t second);

    std::time_t m_second = -1;
    QByteArray m_prefix;
    QString m_consolePrefix;
    QByteArray m_line;
    QString m_console;
};
