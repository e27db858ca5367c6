// How soon the windows answer: from the press of "登录" to the painted signed-in page, less what the reference server
// takes for the same request; and from a changed list of the agent to the painted tools, less the latency with which
// files are followed. Without a display of its own it draws into memory, as the offscreen platform does.

#include "BenchHarness.h"
#include "ViewWorld.h"

#include "AppDelegate.h"
#include "BusConnection.h"
#include "Client.h"
#include "MavMianViewCtrl.h"
#include "QenMainWindow.h"
#include "QenToolsView.h"
#include "TrayHost.h"
#include "WindowContents.h"

#include <QStackedWidget>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

using Bench::Clock;

constexpr int Rounds = 11;
constexpr int SignedInPage = 2;
const QString Password = u"Abcdefg1!"_s;
const QString LoginPath = u"/api/public/clientlogin/account_login"_s;

double milliseconds(Clock::time_point since) {
    return Bench::secondsSince(since) * 1000;
}

/// Sees what is painted.
class Painting final : public QObject {
public:
    Painting() { qApp->installEventFilter(this); }
    /// Runs the event loop until a widget is painted that @p isWanted; the milliseconds since @p start.
    double wait(Clock::time_point start, std::function<bool(QWidget*)> isWanted) {
        m_isWanted = std::move(isWanted);
        m_isPainted = false;
        QTimer limit;
        limit.callOnTimeout([] { Bench::fail("nothing was painted"); });
        limit.start(std::chrono::seconds(20));
        while (!m_isPainted)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        m_isWanted = {};
        return milliseconds(start);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && m_isWanted && watched->isWidgetType())
            m_isPainted = m_isPainted || m_isWanted(static_cast<QWidget*>(watched));
        return false;
    }

private:
    std::function<bool(QWidget*)> m_isWanted;
    bool m_isPainted = false;
};

/// The running client in a home of its own, at the login page.
struct Running {
    explicit Running(ReferenceServer& server) {
        home.configure(server.httpPort());
        delegate.applicationDidFinishLaunching();
        window.setContentView(new MavMianViewCtrl(contents.world()));
        window.show();
        pages = find<QStackedWidget>(window, "mianTabView");
        type(window, "domainOrIPLab", u"127.0.0.1"_s);
        type(window, "PortLab", QString::number(server.httpPort()));
        press(window, "saveServerBtn");
        Bench::check(QTest::qWaitFor([this] { return pages->currentIndex() == 1; }), "no login page");
        type(window, "userIdLb", u"lin"_s);
        type(window, "passwordLb", Password);
        QTest::qWait(300); // what the page has begun comes to rest
    }

    RunningHome home;
    Client client;
    Platform::BusConnection bus{u"unix:path=/no/such/bus"_s};
    Platform::TrayHost trayHost{bus};
    Platform::Reachability reachability;
    QenMainWindow window{client.defaults};
    AppDelegate delegate{{client, window, trayHost, [](int) {}, std::chrono::seconds(30)}};
    WindowContents contents{client, delegate, window, reachability, bus};
    QStackedWidget* pages = nullptr;
};

/// What the server takes for a sign-in, sent by a client of nothing but a socket; @p body is an earlier one's.
double serversOwnTime(ReferenceServer& server, const QByteArray& body) {
    const auto start = Clock::now();
    const auto reply = server.post(LoginPath, body, {{"Content-Type", "text/plain"}});
    Bench::check(reply.status == 200, "the server does not take a request again");
    return milliseconds(start);
}

double changedList(Running& running, Painting& painting, int tools) {
    QVariantList list;
    for (int tool = 0; tool < tools; ++tool)
        list << QVariantMap{{u"appname"_s, u"工具%1"_s.arg(tool)}, {u"desturl"_s, u"https://a.example"_s}};
    const auto isThere = [tools](QWidget* widget) {
        const auto* view = qobject_cast<QenToolsView*>(widget->parentWidget());
        for (auto* at = widget; at && !view; at = at->parentWidget())
            view = qobject_cast<QenToolsView*>(at);
        return view && view->toolCells().size() == tools;
    };
    const auto start = Clock::now();
    Bench::check(
        archiveRootObject(Platform::ArchiveValue::fromVariant(list), running.home.agent() + u"/appmgrlist.archive"_s),
        "the list cannot be written");
    return painting.wait(start, isThere) - double(QenUIFileListener::Latency.count());
}

void print(const char* name, std::vector<double> samples, int goal) {
    const Bench::Result result = Bench::summarise(std::move(samples));
    std::printf("{\"case\": \"%s\", \"median_ms\": %.1f, \"spread\": %.2f, \"goal_ms\": %d}\n", name, result.median,
        result.spread, goal);
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    initMavResources();
    installStringTable();
    Theme::apply(application);
    ReferenceServer server;
    server.addAccount(u"lin"_s, Password);
    Bench::check(server.start(), "no server");
    Painting painting;
    std::vector<double> signIns;
    std::vector<double> lists;
    QByteArray body;
    // The first one warms up.
    for (int round = 0; round <= Rounds; ++round) {
        Running running(server);
        const double servers = round == 0 ? 0 : serversOwnTime(server, body);
        server.action(u"clear_requests"_s);
        const auto start = Clock::now();
        press(running.window, "loginBtn");
        const double taken = painting.wait(start, [&running](QWidget* widget) {
            return running.pages->currentIndex() == SignedInPage &&
                running.pages->currentWidget()->isAncestorOf(widget);
        });
        body = ReferenceServer::bodyOf(server.requests(LoginPath).first().toObject());
        press(running.window, "toolsTabBtn");
        // What the sign-in has written is reported by then: the latency counts from the first change.
        QTest::qWait(int(QenUIFileListener::Latency.count()) + 500);
        const double list = changedList(running, painting, 5 + round);
        if (round == 0)
            continue;
        signIns.push_back(taken - servers);
        lists.push_back(list);
    }
    print("press_to_signed_in_page", signIns, 30);
    print("changed_list_to_painted_tools", lists, 20);
    return 0;
}
