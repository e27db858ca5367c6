#include "Http.h"

#include <QCryptographicHash>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace Reference {

QByteArray Request::header(const QByteArray& name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

Answer jsonAnswer(const QJsonObject& object, int status) {
    Answer answer;
    answer.status = status;
    answer.body = QJsonDocument(object).toJson(QJsonDocument::Compact);
    return answer;
}

Answer pageAnswer(const QByteArray& html, int status) {
    Answer answer;
    answer.status = status;
    answer.type = "text/html; charset=utf-8";
    answer.body = html;
    // The referrer must stay visible to ourselves: without it browsers send a form with the origin "null".
    answer.headers = {{"Referrer-Policy", "same-origin"}, contentPolicy({})};
    return answer;
}

QPair<QByteArray, QByteArray> contentPolicy(const QByteArray& script) {
    const QByteArray allowed = script.isEmpty()
        ? QByteArray("'none'")
        : "'sha256-" + QCryptographicHash::hash(script, QCryptographicHash::Sha256).toBase64() + '\'';
    return {"Content-Security-Policy",
        "default-src 'none'; style-src 'unsafe-inline'; connect-src 'self'; form-action 'self';"
        " base-uri 'none'; frame-ancestors 'none'; script-src " +
            allowed};
}

Answer success(const QJsonObject& data, const QString& msg) {
    return jsonAnswer({{u"ret"_s, 0}, {u"msg"_s, msg.isNull() ? u""_s : msg}, {u"data"_s, data}});
}

Answer refusal(const Refusal& refusal) {
    return jsonAnswer({{u"ret"_s, refusal.ret}, {u"errorcode"_s, refusal.errorcode}, {u"msg"_s, refusal.msg}});
}

Answer badParameters(const QString& why) {
    return refusal({-1, 11, why.isEmpty() ? u"请求参数错误"_s : u"请求参数错误："_s + why});
}

} // namespace Reference
