#pragma once

#include <QString>

#include <functional>

using namespace Qt::StringLiterals;

/// Takes the log lines of the checks: the text and its type (1 ordinary, 2 failure). Called on any thread.
///
/// The client passes its log; a tool passes one of its own, so that the client's log files stay the client's.
using CheckLog = std::function<void(const QString& message, int type)>;

inline constexpr int OrdinaryLine = 1;

/// The form that log lines print for %@ of a text.
inline QString orNull(const QString& text) {
    return text.isNull() ? u"(null)"_s : text;
}
