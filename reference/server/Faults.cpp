#include "Faults.h"

#include "AccountRoutes.h"
#include "Sealing.h"

#include <QHash>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

using Kind = Fault::Kind;

constexpr double usualDelay = 3; // seconds, as the next
constexpr double longestDelay = 600;
constexpr int largestCount = 100000;

const QList<QPair<QString, Kind>>& kinds() {
    static const QList<QPair<QString, Kind>> list{{u"delay"_s, Kind::Delay}, {u"silent"_s, Kind::Silent},
        {u"close"_s, Kind::Close}, {u"status"_s, Kind::Status}, {u"text"_s, Kind::Text}, {u"shape"_s, Kind::Shape},
        {u"json"_s, Kind::Json}, {u"errorcode"_s, Kind::ErrorCode}, {u"state"_s, Kind::State}, {u"data"_s, Kind::Data},
        {u"seal"_s, Kind::Seal}};
    return list;
}

/// Answers that parse, or nearly, and hold other types than a reader expects.
const QHash<QString, QByteArray>& shapes() {
    static const QHash<QString, QByteArray> list{
        {u"array"_s, "[]"},
        {u"number"_s, "42"},
        {u"null"_s, "null"},
        {u"string"_s, "\"ok\""},
        {u"empty"_s, ""},
        {u"empty_object"_s, "{}"},
        {u"no_data"_s, R"({"ret":0,"msg":""})"},
        {u"data_list"_s, R"({"ret":0,"code":0,"msg":"","data":[],"office_data":[]})"},
        {u"data_text"_s, R"({"ret":0,"code":0,"msg":"","data":"text","office_data":"text"})"},
        {u"data_number"_s, R"({"ret":0,"code":0,"msg":"","data":7,"office_data":7})"},
        {u"ret_text"_s, R"({"ret":"zero","code":"zero","msg":7,"data":{"state":"zero","status":"zero","ticket":7}})"},
        {u"state_null"_s, R"({"ret":0,"msg":null,"data":{"state":null,"status":null,"ticket":null}})"},
        {u"truncated"_s, R"({"ret":0,"msg":"","data":{"state":0,"sta)"},
    };
    return list;
}

/// Ways to seal an answer wrongly.
const QHash<QString, QByteArray (*)(const QByteArray& plain)>& layers() {
    using Bytes = QByteArray;
    static const QHash<QString, QByteArray (*)(const QByteArray& plain)> list{
        {u"base64"_s, [](const Bytes&) { return Bytes("!!!!"); }},
        {u"cipher"_s,
            [](const Bytes& plain) {
                Bytes secret = Bytes::fromBase64(sealed(plain));
                secret[0] = char(secret[0] ^ 0x5a);
                return secret.toBase64();
            }},
        {u"packing"_s, [](const Bytes& plain) { return encipher(plain); }},
        {u"cut"_s, [](const Bytes& plain) { return encipher(pack(plain).chopped(8)); }},
        {u"json"_s, [](const Bytes& plain) { return sealed(plain.chopped(1)); }},
    };
    return list;
}

Answer withData(const Answer& real, const QJsonObject& values) {
    QJsonObject answer = QJsonDocument::fromJson(real.body).object();
    QJsonObject data = answer[u"data"_s].toObject();
    for (auto it = values.begin(); it != values.end(); ++it) {
        if (it.value().isNull())
            data.remove(it.key());
        else
            data[it.key()] = it.value();
    }
    answer[u"data"_s] = data;
    return jsonAnswer(answer);
}

bool readValues(const QJsonObject& json, Fault* fault, QString* why) {
    switch (fault->kind) {
    case Kind::Shape:
        fault->shape = json.value(u"shape"_s).toString();
        *why = u"shape"_s;
        return shapes().contains(fault->shape);
    case Kind::Json: {
        const QJsonValue value = json.value(u"json"_s);
        *why = u"json"_s;
        fault->body = value.isArray() ? QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact)
                                      : QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
        return value.isArray() || value.isObject();
    }
    case Kind::Data:
        *why = u"data"_s;
        fault->values = json.value(u"data"_s).toObject();
        return !fault->values.isEmpty();
    case Kind::Seal:
        *why = u"layer"_s;
        fault->shape = json.value(u"layer"_s).toString();
        return layers().contains(fault->shape);
    case Kind::ErrorCode:
        *why = u"errorcode"_s;
        fault->values = {{u"ret"_s, json.value(u"ret"_s).toInt(1)}, {u"errorcode"_s, json.value(u"errorcode"_s)},
            {u"msg"_s, json.value(u"msg"_s).toString(u"操作失败"_s)}};
        return json.value(u"errorcode"_s).isDouble();
    case Kind::State: {
        *why = u"state"_s;
        QJsonObject data = json.value(u"data"_s).toObject();
        const QJsonObject states = stateData(json.value(u"state"_s).toInt());
        for (auto it = states.begin(); it != states.end(); ++it)
            data[it.key()] = it.value();
        fault->values = {
            {u"ret"_s, json.value(u"ret"_s).toInt(0)}, {u"msg"_s, json.value(u"msg"_s).toString()}, {u"data"_s, data}};
        return json.value(u"state"_s).isDouble();
    }
    default:
        return true;
    }
}

} // namespace

QString kindName(Fault::Kind kind) {
    for (const auto& [name, value] : kinds()) {
        if (value == kind)
            return name;
    }
    return {};
}

std::optional<Fault> faultFromJson(const QJsonObject& json, QString* why) {
    Fault fault;
    const QString wanted = json.value(u"kind"_s).toString();
    bool known = false;
    for (const auto& [name, kind] : kinds()) {
        if (name == wanted) {
            fault.kind = kind;
            known = true;
        }
    }
    *why = u"kind"_s;
    if (!known)
        return {};
    fault.path = json.value(u"path"_s).toString(u"*"_s);
    fault.count = json.value(u"count"_s).toInt(1);
    fault.status = json.value(u"status"_s).toInt(fault.kind == Kind::Status ? 500 : 200);
    fault.body = json.value(u"body"_s).toString(u"<html>Service</html>"_s).toUtf8();
    const double seconds = json.value(u"seconds"_s).toDouble(fault.kind == Kind::Delay ? usualDelay : 0);
    fault.delayMs = int(seconds * 1000);
    // These make something of the right answer.
    const bool needsAnswer = fault.kind == Kind::Delay || fault.kind == Kind::Data || fault.kind == Kind::Seal;
    fault.performs = json.value(u"perform"_s).toBool(needsAnswer);
    if (fault.path != "*"_L1 && !fault.path.startsWith(u'/'))
        *why = u"path"_s;
    else if (fault.count < 1 || fault.count > largestCount)
        *why = u"count"_s;
    else if (fault.status < 200 || fault.status > 599)
        *why = u"status"_s;
    else if (!(seconds >= 0 && seconds <= longestDelay))
        *why = u"seconds"_s;
    else if (readValues(json, &fault, why))
        return fault;
    return {};
}

Answer spoiled(const Fault& fault, const Answer& real) {
    Answer answer;
    answer.status = fault.status;
    switch (fault.kind) {
    case Kind::Delay:
    case Kind::Silent:
    case Kind::Close:
    case Kind::Seal:
        return real;
    case Kind::Data:
        return withData(real, fault.values);
    case Kind::Status:
        answer.body = jsonAnswer({{u"ret"_s, -1}, {u"msg"_s, u"服务器内部错误"_s}}).body;
        break;
    case Kind::Text:
        answer.type = "text/html";
        answer.body = fault.body;
        break;
    case Kind::Shape:
        answer.body = shapes().value(fault.shape);
        break;
    case Kind::Json:
        answer.body = fault.body;
        break;
    case Kind::ErrorCode:
    case Kind::State:
        answer.body = jsonAnswer(fault.values).body;
        break;
    }
    return answer;
}

Answer wronglySealed(const Fault& fault, const Answer& answer) {
    if (fault.kind != Kind::Seal)
        return answer;
    Answer wrong = answer;
    wrong.type = "text/plain";
    wrong.body = layers().value(fault.shape)(answer.body);
    return wrong;
}

Answer sealedAnswer(Answer answer) {
    answer.type = "text/plain";
    answer.body = sealed(answer.body);
    return answer;
}

void Faults::add(Fault fault) {
    fault.id = ++m_lastId;
    m_faults.append(std::move(fault));
}

std::optional<Fault> Faults::take(const QString& path) {
    for (auto it = m_faults.begin(); it != m_faults.end(); ++it) {
        if (it->path != "*"_L1 && it->path != path)
            continue;
        const Fault fault = *it;
        if (--it->count == 0)
            m_faults.erase(it);
        return fault;
    }
    return {};
}

QJsonArray Faults::toJson() const {
    QJsonArray list;
    for (const Fault& fault : m_faults)
        list.append(QJsonObject{{u"id"_s, fault.id}, {u"path"_s, fault.path}, {u"count"_s, fault.count},
            {u"kind"_s, kindName(fault.kind)}, {u"seconds"_s, fault.delayMs / 1000.0}, {u"status"_s, fault.status},
            {u"shape"_s, fault.shape}, {u"values"_s, fault.values}, {u"perform"_s, fault.performs}});
    return list;
}

} // namespace Reference
