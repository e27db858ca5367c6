#include "TrayHost.h"

#include "BusConnection.h"
#include "X11Calls.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

const QString WatcherName = u"org.kde.StatusNotifierWatcher"_s;
const QString WatcherPath = u"/StatusNotifierWatcher"_s;
constexpr int AnswerLimit = 2000;

} // namespace

/// Follows the owner of the screen's tray selection. Without an X11 display there is never one.
class X11TrayOwner final : public QAbstractNativeEventFilter {
public:
    /// @param changed  called when an owner may have come or gone
    explicit X11TrayOwner(std::function<void()> changed) : m_changed(std::move(changed)) {
        if (!m_connection)
            return;
        m_manager = X11::atom(m_connection, "MANAGER");
        m_selection = X11::screenAtom(m_connection, "_NET_SYSTEM_TRAY_S");
        QCoreApplication::instance()->installNativeEventFilter(this);
        readOwner();
    }

    bool exists() const { return m_owner != 0; }

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
        if (eventType != "xcb_generic_event_t")
            return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        const int type = event->response_type & ~0x80;
        bool isOurs = false;
        if (type == XCB_CLIENT_MESSAGE) {
            // A new owner tells everybody; the toolkit listens at the root window for that.
            const auto* notice = reinterpret_cast<const xcb_client_message_event_t*>(event);
            isOurs = notice->type == m_manager && notice->data.data32[1] == m_selection;
        } else if (type == XCB_DESTROY_NOTIFY) {
            isOurs = m_owner && reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window == m_owner;
        }
        if (isOurs) {
            readOwner();
            m_changed();
        }
        return false;
    }

private:
    void readOwner() {
        m_owner = X11::selectionOwner(m_connection, m_selection);
        if (!m_owner)
            return;
        // Its end comes as an event. The toolkit wants the same of the same window, so that neither undoes the other's
        // choice.
        const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_connection, m_owner, XCB_CW_EVENT_MASK, &events);
        xcb_flush(m_connection);
    }

    const std::function<void()> m_changed;
    xcb_connection_t* const m_connection = X11::applicationConnection();
    xcb_atom_t m_manager = 0;
    xcb_atom_t m_selection = 0;
    xcb_window_t m_owner = 0;
};

TrayHost::TrayHost(BusConnection& bus) : m_bus(bus) {}

TrayHost::~TrayHost() = default;

void TrayHost::start(std::function<void(bool)> changed) {
    m_changed = std::move(changed);
    m_x11 = std::make_unique<X11TrayOwner>([this] { settle(); });
    m_bus.find(this, [this](const QDBusConnection& found) { follow(found); });
}

void TrayHost::follow(const QDBusConnection& bus) {
    m_found = bus;
    if (!m_found.isConnected()) {
        m_hasHost = false;
        settle();
        return;
    }
    // From any sender: naming one makes the library ask for its owner, blocking. A forged signal only makes us ask
    // again.
    for (const char16_t* signal : {u"StatusNotifierHostRegistered", u"StatusNotifierHostUnregistered"})
        m_found.connect({}, WatcherPath, WatcherName, QString::fromUtf16(signal), this, SLOT(ask()));
    m_owners.setConnection(m_found);
    m_owners.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    m_owners.addWatchedService(WatcherName);
    connect(&m_owners, &QDBusServiceWatcher::serviceOwnerChanged, this, &TrayHost::ask);
    ask();
}

void TrayHost::ask() {
    auto message =
        QDBusMessage::createMethodCall(WatcherName, WatcherPath, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    message.setAutoStartService(false);
    message.setArguments({WatcherName, u"IsStatusNotifierHostRegistered"_s});
    // Replacing the watcher drops the answer to an older question.
    m_question = std::make_unique<QDBusPendingCallWatcher>(m_found.asyncCall(message, AnswerLimit));
    connect(m_question.get(), &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* watcher) {
        const QDBusPendingReply<QVariant> reply = *watcher;
        m_hasHost = reply.isValid() && reply.value().toBool();
        settle();
    });
}

void TrayHost::settle() {
    if (!m_hasHost)
        return;
    const bool isAvailable = *m_hasHost || m_x11->exists();
    if (m_told == isAvailable)
        return;
    m_told = isAvailable;
    m_changed(isAvailable);
}

} // namespace Platform
