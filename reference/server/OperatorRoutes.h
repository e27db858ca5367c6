#pragma once

#include <QJsonObject>
#include <QString>

namespace Reference {

class Faults;
class RequestLog;
class Router;
struct Stores;

/// What the operator works with. All parts outlive the routers that hold a copy of it.
struct OperatorDesk {
    Stores& stores;
    Faults& faults;
    RequestLog& log;
};

/// The operator's interface for scripts: state.json, requests.json, action and faults under "/operator".
void addOperatorRoutes(Router& router, const OperatorDesk& desk);

/// Everything the server knows but passwords and tickets.
QJsonObject stateJson(const OperatorDesk& desk);

/// Carries one action out, all of it or nothing. @return what is wrong, empty when it is done
QString runAction(const OperatorDesk& desk, const QJsonObject& action);

} // namespace Reference
