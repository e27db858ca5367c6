#include "FactsService.h"
#include "PacketFilters.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QTimer>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

/// Without a question the service ends.
constexpr int IdleLimit = 20000; // milliseconds
/// Whoever asks more often hears the same answer.
constexpr int AnswerLife = 1000; // milliseconds

/// Answers the one question that the service knows, to anybody; takes nothing from who asks.
class Answerer final : public QDBusVirtualObject {
public:
    Answerer() {
        m_idle.setInterval(IdleLimit);
        m_idle.setSingleShot(true);
        m_idle.callOnTimeout([] { QCoreApplication::quit(); });
        m_idle.start();
    }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        m_idle.start();
        if (message.interface() != QLatin1StringView(FactsProtocol::Interface) ||
            message.member() != QLatin1StringView(FactsProtocol::Question) || !message.arguments().isEmpty())
            return false;
        connection.send(message.createReply(QVariant::fromValue(answer())));
        return true;
    }
    QString introspect(const QString&) const override {
        return u"<interface name=\"%1\"><method name=\"%2\"><arg direction=\"out\" type=\"a{ss}\"/></method></interface>"_s
            .arg(QLatin1StringView(FactsProtocol::Interface), QLatin1StringView(FactsProtocol::Question));
    }

private:
    QMap<QString, QString> answer() {
        if (m_answer.isEmpty() || m_age.elapsed() > AnswerLife) {
            m_answer = PacketFilters(m_facts).find().texts();
            m_age.start();
        }
        return m_answer;
    }

    const Facts m_facts{QString()};
    QTimer m_idle;
    QElapsedTimer m_age;
    QMap<QString, QString> m_answer;
};

int failBecause(const char* what, const QDBusConnection& bus) {
    std::fprintf(stderr, "mav-facts: %s: %s\n", what, qPrintable(bus.lastError().message()));
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QDBusConnection bus = QDBusConnection::systemBus();
    Answerer answerer;
    qDBusRegisterMetaType<QMap<QString, QString>>();
    if (!bus.isConnected())
        return failBecause("there is no system bus", bus);
    if (!bus.registerVirtualObject(QString::fromLatin1(FactsProtocol::Path), &answerer) ||
        !bus.registerService(QString::fromLatin1(FactsProtocol::Name)))
        return failBecause("the system bus does not give the service its name", bus);
    return QCoreApplication::exec();
}
