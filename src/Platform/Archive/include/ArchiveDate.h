#pragma once

#include <QString>

#include <optional>

/// Dates of archives: seconds since the first moment of 2001, UTC, as text and back.
namespace Platform::ArchiveDate {

/// "2021-05-18T08:41:53.98307Z" with as many decimals as the number needs; empty outside the years 1 to 9999.
QString isoText(double seconds);
/// Nothing unless all of @p text is a date of that form.
std::optional<double> fromIsoText(QStringView text);

} // namespace Platform::ArchiveDate
