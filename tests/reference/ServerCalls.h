#pragma once

#include "ReferenceServer.h"
#include "WireCodec.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

/// Stands for a number that an answer does not have.
constexpr int absent = -1000;

inline QString pathOf(const QString& operation) {
    return (operation == "getcert"_L1 ? u"/api/inac/ca/"_s : u"/api/public/clientlogin/"_s) + operation;
}
inline QJsonObject parse(const char* json) {
    return QJsonDocument::fromJson(json).object();
}
inline int number(const QJsonValue& value) {
    return value.isDouble() ? value.toInt() : absent;
}
/// @param changes  null takes a field out
QJsonObject with(QJsonObject fields, const QJsonObject& changes);
/// What a client sends with an operation when nothing is wrong: account "lin" on device "D1".
QJsonObject rightFields(const QString& operation);

/// A reference server with the accounts of its tests, and a client's calls without the client.
class ServerCalls : public ReferenceServer {
public:
    /// Forgets everything and makes the accounts "lin", "code" (123456) and "wait" (needs approval), all with
    /// "Abc123!@".
    bool makeAnew();
    QJsonObject call(const QString& operation, const QJsonObject& changes = {});
    /// Signs in. @return the ticket
    QString ticketOf(const QString& userid, const QString& deviceid = u"D1"_s);
    int stateOfTicket(const QString& ticket, const QString& userid = u"lin"_s, const QString& deviceid = u"D1"_s);
    /// The address in the QR code.
    static QString codeAddress();
    /// Presses a button on the page behind it. @param origin  of the page, as browsers send it
    Reply decide(const QString& decision, const QString& userid, const QByteArray& origin = {});
};
