#include "Catalogue.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ReferenceAgent {

namespace {

/// A port as a number, or no value: 1 to 65535, written as a number or as decimal digits.
std::optional<int> portOf(const QJsonValue& value) {
    bool isNumber = value.isDouble();
    const int port = value.isString() ? value.toString().toInt(&isNumber) : value.toInt();
    if (!isNumber || port < 1 || port > 65535)
        return {};
    return port;
}

bool isPair(const QJsonValue& value) {
    const QJsonArray pair = value.toArray();
    return pair.size() == 2 && pair[0].isString() && portOf(pair[1]);
}

bool isCode(const QJsonValue& value) {
    return value.isBool() || (value.isDouble() && value.toDouble() == value.toInt());
}

/// Empty when @p value may stand under the key of @p entry.
QString faultOf(const Entry& entry, const QJsonValue& value) {
    switch (entry.form) {
    case Form::Text:
    case Form::Picture:
        return value.isString() ? QString() : u"\"%1\" takes a string"_s.arg(entry.key);
    case Form::Servers: {
        const QJsonArray pairs = value.toArray();
        if (value.isArray() && std::all_of(pairs.begin(), pairs.end(), isPair))
            return {};
        return u"\"%1\" takes a list of [address, port] pairs"_s.arg(entry.key);
    }
    case Form::Flag:
        return value.isBool() ? QString() : u"\"%1\" takes true or false"_s.arg(entry.key);
    case Form::Codes: {
        const QJsonObject codes = value.toObject();
        if (value.isObject() && std::all_of(codes.begin(), codes.end(), isCode))
            return {};
        return u"\"%1\" takes an object of numbers, true and false"_s.arg(entry.key);
    }
    case Form::Archive:
        break;
    }
    return {};
}

} // namespace

const QList<Entry>& catalogue() {
    const auto archive = [](const QString& name) {
        return Entry{name, Form::Archive, Place::AgentState, {name + u".archive"_s}};
    };
    const auto text = [](const QString& name) {
        return Entry{name, Form::Text, Place::AgentState, {name + u".txt"_s}};
    };
    static const QList<Entry> entries{
        {u"server"_s, Form::Servers, Place::AgentState, {u".QenConfig"_s}},
        archive(u"userlogin"_s),
        archive(u"hideqenswitch"_s),
        archive(u"appmgrlist"_s),
        archive(u"ngncloudlist"_s),
        // The client's checks read one name and its views the other one.
        {u"complianceInfo"_s, Form::Archive, Place::AgentState, {u"complianceInfo"_s, u"complianceInfo.archive"_s}},
        archive(u"inacSSIDInfo"_s),
        archive(u"joindomainSwitchStatus"_s),
        archive(u"switchngn"_s),
        text(u"tips"_s),
        text(u"restart"_s),
        text(u"joinDomainUpdate"_s),
        {u"mark"_s, Form::Picture, Place::AgentState, {u"c_qen_mark@2x.png"_s}},
        {u"vpn"_s, Form::Flag, Place::AgentState, {}},
        {u"vindor"_s, Form::Codes, Place::AgentState, {}},
        {u"ticketService"_s, Form::Codes, Place::AgentState, {}},
        {u"inacStatus"_s, Form::Archive, Place::UserState, {u"inacStatus.archive"_s}},
    };
    return entries;
}

std::optional<QJsonObject> parseAgentFile(const QByteArray& text, QString* why) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError) {
        *why = u"%1 at byte %2"_s.arg(error.errorString()).arg(error.offset);
        return {};
    }
    if (!document.isObject()) {
        *why = u"not an object"_s;
        return {};
    }
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        const auto& entries = catalogue();
        const auto entry =
            std::find_if(entries.begin(), entries.end(), [&it](const Entry& one) { return one.key == it.key(); });
        *why = entry == entries.end() ? u"unknown key \"%1\""_s.arg(it.key()) : faultOf(*entry, it.value());
        if (!why->isEmpty())
            return {};
    }
    return object;
}

QJsonValue archivedValue(const Entry& entry, const QJsonValue& value) {
    if (entry.form != Form::Servers)
        return value;
    QJsonArray pairs;
    const QJsonArray given = value.toArray();
    for (const auto& pair : given)
        pairs.append(QJsonArray{pair[0], portOf(pair[1]).value_or(0)});
    return pairs;
}

QJsonValue serversFromTyped(const QJsonValue& typed) {
    const QJsonArray pair = typed[0].toArray();
    if (pair.size() != 2 || pair[0].toString().isEmpty() || !pair[1].isString() || typed[1] != typed[0])
        return QJsonValue::Null;
    const auto port = pair[1].toString().isEmpty() ? std::optional(80) : portOf(pair[1]);
    if (!port)
        return QJsonValue::Null;
    const QJsonArray server{pair[0], *port};
    return QJsonArray{server, server, server};
}

} // namespace ReferenceAgent
