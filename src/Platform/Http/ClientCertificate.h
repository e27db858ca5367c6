#pragma once

#include "HttpSession.h"

struct ssl_ctx_st;

namespace Platform {

/// Lets connections made from @p context ask @p identity for a certificate when their server wants one, and only then.
///
/// An identity that cannot be read leaves the server without a certificate, with a line in the system log. @p identity
/// must outlive the context.
void presentOnChallenge(ssl_ctx_st* context, const std::function<ClientIdentity()>* identity);

} // namespace Platform
