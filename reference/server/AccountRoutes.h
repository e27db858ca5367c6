#pragma once

#include "Http.h"

namespace Reference {

class Router;
struct Stores;
struct Account;

/// Sign-in, ticket check, sign-out, password change and retrieval, domain accounts. `stores` outlives the router.
void addAccountRoutes(Router& router, Stores& stores);

/// Ends a sign-in whose credentials are right: looks at the device and either refuses, or answers the state that its
/// standing gives, with a new ticket when that is 0. Runs in the caller's transaction.
Answer signIn(Stores& stores, const Account& account, const QJsonObject& fields, const QString& kind);
/// {"state":state,"status":state}: both are read by clients.
QJsonObject stateData(int state);

} // namespace Reference
