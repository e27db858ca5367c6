#pragma once

#include <QByteArray>
#include <QString>

/// Escapes bytes for the query of a URL.
class QenUrlEncode {
public:
    /// ASCII letters and digits stay; every other byte, "-", ".", "_" and "~" included, becomes "%" and two upper-case
    /// hexadecimal digits.
    static QString urlencodWithData(const QByteArray& data);
};
