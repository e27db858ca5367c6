#pragma once

#include "Facts.h"

#include <chrono>

/// What a command of the system printed.
struct CommandOutput {
    enum class End {
        Done,    ///< ended well and said nothing on standard error
        Failed,  ///< ended otherwise
        Missing, ///< stands at none of the places
        Late,    ///< ended by us: too slow
        TooMuch, ///< ended by us: printed more than wanted
    };
    End end = End::Missing;
    /// Empty unless Done.
    QByteArray output;
};

/// Runs the command @p name from the system's fixed places below the root, with an environment of nothing but a
/// language and nothing on its standard input. Blocks for at most about @p limit.
CommandOutput runHostCommand(const Facts& facts, const QString& name, const QStringList& arguments,
    std::chrono::milliseconds limit, qsizetype mostBytes = Facts::Limit);
