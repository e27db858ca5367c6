#pragma once

#include "PrivateBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QTest>

/// A system bus of the test's own at the socket below a root, which everybody may use.
class FakeSystemBus : public PrivateBus {
public:
    explicit FakeSystemBus(const QString& root) : PrivateBus(root + u"/run/dbus/system_bus_socket"_s) {}
    ~FakeSystemBus() { QDBusConnection::disconnectFromBus(address()); }

    QDBusConnection connection() const { return QDBusConnection::connectToBus(address(), address()); }
    /// All below @p path is @p object, in the name of @p service.
    void serve(QDBusVirtualObject* object, const QString& service, const QString& path = u"/"_s) const {
        QVERIFY(connection().registerVirtualObject(path, object, QDBusConnection::SubPath));
        QVERIFY(connection().registerService(service));
    }
};

/// Answers questions for properties, by "path name", and calls of other methods, by their names.
class FakeObjects final : public QDBusVirtualObject {
public:
    QMap<QString, QVariant> answers;
    /// Takes every question and says nothing.
    bool isSilent = false;
    /// How many properties have been asked for.
    int properties = 0;

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        const bool isProperty = message.member() == u"Get"_s;
        properties += isProperty;
        const QString name =
            isProperty ? message.path() + QChar(u' ') + message.arguments().value(1).toString() : message.member();
        const QVariant answer = answers.value(name);
        if (isSilent || !answer.isValid())
            return isSilent;
        connection.send(message.createReply(isProperty ? QVariant::fromValue(QDBusVariant(answer)) : answer));
        return true;
    }
    QString introspect(const QString&) const override { return {}; }
};
