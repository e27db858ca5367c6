#pragma once

#include "HttpSession.h"
#include "LoopbackServer.h"
#include "Tally.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>

constexpr int Soon = 10000;

/// What a completion got, and how often it was called.
struct Outcome {
    Tally called;
    std::atomic<int> calls{0};
    QJsonObject object;
    Platform::Error error;
    qint64 elapsed = 0;

    void wait() { QVERIFY(called.tryAcquire(1, Soon)); }
};

inline Platform::HttpSession::JsonCompletion into(const std::shared_ptr<Outcome>& outcome) {
    QElapsedTimer timer;
    timer.start();
    return [outcome, timer](const QJsonObject& answer, const Platform::Error& error) {
        outcome->object = answer;
        outcome->error = error;
        outcome->elapsed = timer.elapsed();
        ++outcome->calls;
        outcome->called.release();
    };
}

inline std::shared_ptr<Outcome> send(Platform::HttpSession& session, const Platform::HttpRequest& request) {
    const auto outcome = std::make_shared<Outcome>();
    session.sendForJson(request, into(outcome));
    outcome->wait();
    return outcome;
}

inline std::shared_ptr<Outcome> get(Platform::HttpSession& session, const QString& url) {
    return send(session, {.url = url});
}

inline const QByteArray Success = LoopbackServer::ok(R"({"ret":0})");
inline const QJsonObject SuccessObject{{"ret", 0}};
