#pragma once

#include "Fields.h"
#include "Http.h"

#include <QHash>

#include <functional>
#include <map>

namespace Reference {

/// In which form an operation's parameters arrive.
enum class Form {
    None,
    Sealed,     ///< the whole body
    Json,       ///< the whole body, in the clear
    SealedCode, ///< "v" of the query, or of the form body when posted
};

struct Route {
    Form form = Form::None;
    FieldRules rules;
    std::function<Answer(const Request&, const QJsonObject& fields)> handle;
    /// The whole answer travels compressed and enciphered, refusals too.
    bool sealsAnswer = false;
};

/// Finds the operation of a request, opens its parameters and checks them before the operation sees them.
class Router final {
public:
    struct Opened {
        const Route* route = nullptr;
        QJsonObject fields;
        Answer refused; ///< what to answer when `accepted` is false
        bool accepted = false;
    };

    void add(const QByteArray& method, const QString& path, Route route);
    /// Never runs the operation. The fields are filled even when one of them is wrong.
    Opened open(const Request& request) const;

private:
    std::map<QString, std::map<QByteArray, Route>> m_routes;
};

/// Name and value pairs of an "application/x-www-form-urlencoded" body.
QHash<QString, QString> formValues(const QByteArray& body);

} // namespace Reference
