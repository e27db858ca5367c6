#pragma once

#include <curl/curl.h>

namespace Platform {

/// The transport's call for each new connection's @p context of TLS: lets it ask @p identity, a function that gives a
/// ClientIdentity, for a certificate when the server wants one, and only then.
///
/// An identity that cannot be read leaves the server without a certificate, with a line in the system log. @p identity
/// must outlive the context.
CURLcode presentOnChallenge(CURL* easy, void* context, void* identity);

} // namespace Platform
