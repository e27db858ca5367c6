#pragma once

#include "Facts.h"
#include "Finding.h"

#include <chrono>

/// How the host tools and the facts service meet on the system bus.
namespace FactsProtocol {

inline constexpr const char* Name = "com.qencloud.mav.HostFacts";
inline constexpr const char* Path = "/com/qencloud/mav/HostFacts";
inline constexpr const char* Interface = "com.qencloud.mav.HostFacts1";
/// Takes nothing and gives a dictionary of texts: Version, then "ip" and "ip6", each "refused", "open" or "unknown",
/// and for what is not refused "ip.code", "ip.subject" and the like: those of a Finding.
inline constexpr const char* Question = "PacketFilter";
inline constexpr const char* Version = "1";
/// The user that the package makes for the service.
inline constexpr const char* User = "mav-facts";

} // namespace FactsProtocol

/// What the facts service says of the packet filters that are loaded.
struct FilterAnswer {
    /// Why there is no answer: one of the "service." codes. Empty with an answer.
    QString failure;
    /// Yes: unasked incoming traffic of the family is refused.
    Finding ip;
    Finding ip6;
};

/// Asks the facts service, which the bus may have to start. Takes its word only if it is root's or the service's own
/// user. Blocks for at most @p limit.
FilterAnswer askFactsService(const Facts& facts, std::chrono::milliseconds limit);
