#pragma once

#include "Facts.h"

#include <QByteArray>

/// Whether a rule file of nftables, once loaded, refuses incoming IPv4 traffic that nothing allows: the first rule
/// without a condition, or else the policy, of a filter chain hooked at the input of the family ip or inet drops or
/// rejects.
///
/// Unknown where the file does not tell in its usual form: a policy in a variable, a jump to nowhere, rules added one
/// by one, something taken away again.
/// @param text  with its included files in place, see nftablesFile()
Finding nftablesRefuseByDefault(const QByteArray& text);

/// A rule file and what it includes, one after the other. Not Read when any part is missing, unreadable or too much.
Facts::Text nftablesFile(const Facts& facts, const QString& path);
