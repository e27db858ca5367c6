#pragma once

namespace Reference {

class Router;
struct Stores;

/// Reachability probe, start configuration and gateway policy. `stores` outlives the router.
void addPolicyRoutes(Router& router, Stores& stores);

} // namespace Reference
