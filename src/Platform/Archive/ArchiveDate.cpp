#include "ArchiveDate.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QTimeZone>

#include <cmath>

using namespace Qt::StringLiterals;

namespace Platform::ArchiveDate {

namespace {

const QDateTime Reference(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc());

/// "" or as many decimals, with their point, as it takes to read @p seconds again.
QString decimalsOf(double seconds, double wholeSeconds) {
    constexpr int MostDecimals = 20;
    QString decimals;
    for (int count = 1; wholeSeconds + decimals.toDouble() != seconds && count <= MostDecimals; ++count)
        decimals = QString::number(seconds - wholeSeconds, 'f', count).mid(1);
    return decimals;
}

} // namespace

QString isoText(double seconds) {
    constexpr double MostSeconds = 1e12; // beyond any of these years, and what the calendar can take
    const double whole = std::floor(seconds);
    if (!(std::fabs(whole) < MostSeconds))
        return {};
    const QDateTime moment = Reference.addSecs(static_cast<qint64>(whole));
    const int year = moment.date().year();
    return year >= 1 && year <= 9999 ? moment.toString(u"yyyy-MM-ddTHH:mm:ss"_s) + decimalsOf(seconds, whole) + u'Z'
                                     : QString();
}

std::optional<double> fromIsoText(QStringView text) {
    static const QRegularExpression form(
        QRegularExpression::anchoredPattern(uR"((\d{4})-(\d\d)-(\d\d)T(\d\d):(\d\d):(\d\d)(\.\d{1,400})?Z)"_s));
    const QRegularExpressionMatch match = form.match(text.toString());
    const auto number = [&match](int group) { return match.capturedView(group).toInt(); };
    const QDate date(number(1), number(2), number(3));
    const QTime time(number(4), number(5), number(6));
    if (!match.hasMatch() || !date.isValid() || !time.isValid())
        return std::nullopt;
    return static_cast<double>(Reference.secsTo(QDateTime(date, time, QTimeZone::utc()))) +
        match.capturedView(7).toDouble();
}

} // namespace Platform::ArchiveDate
