#include "Router.h"

#include "Html.h"
#include "Sealing.h"

#include <QJsonDocument>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

std::optional<QJsonObject> openFields(const Request& request, Form form) {
    switch (form) {
    case Form::None:
        return QJsonObject();
    case Form::Sealed:
        return openSealed(request.body);
    case Form::SealedCode: {
        const QString code = request.method == "POST" ? formValues(request.body).value(u"v"_s)
                                                      : request.query.queryItemValue(u"v"_s, QUrl::FullyDecoded);
        return openSealed(code.toUtf8());
    }
    case Form::Json: {
        const auto document = QJsonDocument::fromJson(request.body);
        if (!document.isObject())
            return {};
        return document.object();
    }
    }
    return {};
}

Answer wrongForm(Form form, const QString& field) {
    if (form == Form::SealedCode)
        return pageAnswer(messagePage(u"二维码无效"_s, u"请在电脑上刷新二维码后重新扫描。"_s), 400);
    return badParameters(field);
}

} // namespace

void Router::add(const QByteArray& method, const QString& path, Route route) {
    m_routes[path][method] = std::move(route);
}

Router::Opened Router::open(const Request& request) const {
    Opened opened;
    const auto path = m_routes.find(request.path);
    if (path == m_routes.end()) {
        opened.refused = jsonAnswer({{u"ret"_s, -1}, {u"errorcode"_s, 404}, {u"msg"_s, u"接口不存在"_s}}, 404);
        return opened;
    }
    const auto route = path->second.find(request.method);
    if (route == path->second.end()) {
        opened.refused = jsonAnswer({{u"ret"_s, -1}, {u"errorcode"_s, 405}, {u"msg"_s, u"请求方法错误"_s}}, 405);
        return opened;
    }
    const Route& operation = route->second;
    opened.route = &operation;
    const auto fields = openFields(request, operation.form);
    if (!fields) {
        opened.refused = wrongForm(operation.form, {});
        return opened;
    }
    opened.fields = *fields;
    const QString wrong = firstWrongField(*fields, operation.rules);
    opened.accepted = wrong.isEmpty();
    if (!opened.accepted)
        opened.refused = wrongForm(operation.form, wrong);
    return opened;
}

QHash<QString, QString> formValues(const QByteArray& body) {
    QHash<QString, QString> values;
    for (const QByteArray& pair : body.split('&')) {
        const auto equals = pair.indexOf('=');
        if (equals < 1)
            continue;
        const auto decoded = [](QByteArray text) {
            return QString::fromUtf8(QByteArray::fromPercentEncoding(text.replace('+', ' ')));
        };
        values.insert(decoded(pair.left(equals)), decoded(pair.mid(equals + 1)));
    }
    return values;
}

} // namespace Reference
