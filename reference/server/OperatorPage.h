#pragma once

namespace Reference {

class Router;
struct OperatorDesk;

/// The operator's page for people: "/operator", and "/operator/parts" with which it keeps itself up to date.
void addOperatorPage(Router& router, const OperatorDesk& desk);

} // namespace Reference
