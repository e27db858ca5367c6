#pragma once

namespace Reference {

class Router;
struct Stores;

/// QR sign-in: the page that a phone opens from the code, and the client's poll. `stores` outlives the router.
///
/// The page stands for the mobile application, whose user is signed in already: one picks an account there, without a
/// password.
void addScanRoutes(Router& router, Stores& stores);

} // namespace Reference
