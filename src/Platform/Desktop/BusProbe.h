#pragma once

#include <QString>

#include <chrono>

/// Whether a message bus lets anybody in, asked without the library, whose own question has no limit of ours.
namespace Platform::BusProbe {

enum class Answer { There, Absent, Silent };

/// Where the environment said at the first call that the session bus is; empty when it said nothing.
QString sessionAddress();
/// Signs in to the bus at @p address and away again; at most @p limit. An address that names no socket of this machine
/// is left to the library: There.
Answer ask(const QString& address, std::chrono::milliseconds limit);

} // namespace Platform::BusProbe
