#pragma once

namespace Reference {

class Authority;
class Router;
struct Stores;

/// Network access: certificate request and certificate status. `stores` and `authority` outlive the router.
void addNacRoutes(Router& router, Stores& stores, const Authority& authority);

} // namespace Reference
