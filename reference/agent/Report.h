#pragma once

#include <QString>

namespace ReferenceAgent {

/// One line on standard output: what was done, to what.
void tell(const char* what, const QString& name);
/// One line on standard error.
void complain(const QString& about, const QString& why);

} // namespace ReferenceAgent
