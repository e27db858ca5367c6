#pragma once

#include <QString>

/// How tools are found by what a person types. Main thread.
namespace ToolNames {

/// The letters that a name is typed with: the first letter of the sound of each common Chinese sign, other signs as
/// they are, in small letters. "OA审批" gives "oasp".
QString initials(const QString& name);

/// How well @p typed finds a tool; more is better.
enum class Match { None, Within, Beginning };
/// By name or by its initials, whatever the case.
Match match(const QString& name, const QString& typed);

} // namespace ToolNames
