#include "DispatchTimer.h"
#include "NotificationCenter.h"
#include "Queue.h"
#include "Tally.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTest>

#include <future>
#include <thread>

using namespace Qt::StringLiterals;

using namespace std::chrono_literals;
using Platform::DispatchTimer;
using Platform::NotificationCenter;
using Platform::SerialQueue;

namespace {

constexpr int Soon = 10000;

qsizetype threadCount() {
    return QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

} // namespace

class tst_Queue : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void blocksKeepTheirOrder();
    void idleQueueRunsHereInItsTurn();
    void drainWaitsForWhatWasThere();
    void destructionWaits();
    void idleQueuesCostNoThread();
    void blocksMayWaitForEachOther();
    void afterWaitsItsDelay();

    void firstTickIsAtOnce();
    void ticksThatAreMissedBecomeOne();
    void noTickAfterCancel();
    void tickMayCancelItsTimer();

    void deliveryIsSynchronousAndInOrder();
    void observerEndsWhileDelivering();
    void endWaitsForRunningHandler();
    void handlersPostingToEachOtherDoNotStall();
};

void tst_Queue::blocksKeepTheirOrder() {
    SerialQueue queue(u"order"_s);
    std::vector<std::pair<int, int>> ran;
    std::atomic<bool> overlapped{false};
    std::atomic<int> inside{0};
    std::vector<std::thread> senders;
    for (int sender = 0; sender < 4; ++sender) {
        senders.emplace_back([&, sender] {
            for (int i = 0; i < 500; ++i) {
                const auto block = [&, sender, i] {
                    overlapped = overlapped || inside++ != 0 || !queue.isCurrent();
                    ran.emplace_back(sender, i);
                    --inside;
                };
                if (i % 3 == 0)
                    queue.asyncOrHere(block);
                else
                    queue.async(block);
            }
        });
    }
    for (auto& sender : senders)
        sender.join();
    queue.drain();
    QVERIFY(!overlapped);
    QVERIFY(!queue.isCurrent());
    QCOMPARE(ran.size(), size_t(2000));
    std::stable_sort(ran.begin(), ran.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    QVERIFY(std::is_sorted(ran.begin(), ran.end()));
}

void tst_Queue::idleQueueRunsHereInItsTurn() {
    SerialQueue queue(u"here"_s);
    const auto here = std::this_thread::get_id();
    std::vector<int> order;
    std::vector<std::thread::id> threads;
    const auto note = [&](int number) {
        return [&, number] {
            order.push_back(number);
            threads.push_back(std::this_thread::get_id());
        };
    };
    queue.asyncOrHere([&] {
        QVERIFY(queue.isCurrent());
        note(1)();
        // Handed over from inside: neither nested nor on this thread.
        queue.asyncOrHere(note(2));
        queue.async(note(3));
    });
    queue.drain();
    QCOMPARE(order, (std::vector{1, 2, 3}));
    QCOMPARE(threads[0], here);
    QVERIFY(threads[1] != here && threads[2] != here);

    std::promise<void> goOn;
    queue.async([&] { goOn.get_future().wait(); });
    // A busy queue holds nobody up.
    queue.asyncOrHere(note(4));
    QCOMPARE(order.size(), size_t(3));
    goOn.set_value();
    queue.drain();
    QCOMPARE(order.back(), 4);
    QVERIFY(threads.back() != here && !queue.isCurrent());
}

void tst_Queue::drainWaitsForWhatWasThere() {
    SerialQueue queue(u"drain"_s);
    Tally more;
    std::atomic<int> ran{0};
    queue.async([&] {
        std::this_thread::sleep_for(20ms);
        ++ran;
        queue.async([&] {
            more.acquire();
            ++ran;
        });
    });
    queue.drain();
    // The block that was added meanwhile is not waited for, else this would never return.
    QCOMPARE(ran.load(), 1);
    more.release();
    queue.drain();
    QCOMPARE(ran.load(), 2);
}

void tst_Queue::destructionWaits() {
    const auto held = std::make_shared<int>(0);
    {
        SerialQueue queue(u"end"_s);
        for (int i = 0; i < 5; ++i) {
            queue.async([held] {
                std::this_thread::sleep_for(5ms);
                ++*held;
            });
        }
    }
    QCOMPARE(*held, 5);
    QCOMPARE(held.use_count(), 1L);
}

void tst_Queue::idleQueuesCostNoThread() {
    std::vector<std::unique_ptr<SerialQueue>> queues;
    const qsizetype before = threadCount();
    for (int i = 0; i < 40; ++i)
        queues.push_back(std::make_unique<SerialQueue>(u"idle"_s));
    QCOMPARE(threadCount(), before);
    // One after the other they share threads; few of them, but on a busy machine the one that just ended may not have
    // come back yet.
    for (auto& queue : queues) {
        queue->async([] {});
        queue->drain();
    }
    QVERIFY(threadCount() <= before + 20);
}

void tst_Queue::blocksMayWaitForEachOther() {
    Tally started;
    Tally release;
    for (int i = 0; i < 30; ++i) {
        Platform::globalQueue().async([&] {
            started.release();
            release.acquire();
            started.release();
        });
    }
    QVERIFY(started.tryAcquire(30, Soon));
    release.release(30);
    QVERIFY(started.tryAcquire(30, Soon));
}

void tst_Queue::afterWaitsItsDelay() {
    SerialQueue queue(u"after"_s);
    Tally ran;
    std::vector<int> order;
    QElapsedTimer timer;
    timer.start();
    for (const int delay : {240, 80, 160}) {
        Platform::after(queue, std::chrono::milliseconds(delay), [&, delay] {
            if (timer.elapsed() >= delay)
                order.push_back(delay);
            ran.release();
        });
    }
    QVERIFY(ran.tryAcquire(3, Soon));
    QCOMPARE(order, (std::vector<int>{80, 160, 240}));
}

void tst_Queue::firstTickIsAtOnce() {
    SerialQueue queue(u"timer"_s);
    Tally ticks;
    DispatchTimer hourly(queue, 1h, [&] { ticks.release(); });
    QVERIFY(!ticks.tryAcquire(1, 20));
    hourly.start();
    QVERIFY(ticks.tryAcquire(1, Soon));
}

void tst_Queue::ticksThatAreMissedBecomeOne() {
    SerialQueue queue(u"late"_s);
    std::atomic<int> ticks{0};
    DispatchTimer timer(queue, 300ms, [&] {
        if (++ticks == 1)
            std::this_thread::sleep_for(1000ms);
    });
    timer.start();
    std::this_thread::sleep_for(50ms);
    queue.drain();
    // The three that fell due are one, and it does not wait for the fourth.
    queue.drain();
    QCOMPARE(ticks.load(), 2);
    // One that waits when the timer ends never comes.
    queue.async([] { std::this_thread::sleep_for(600ms); });
    std::this_thread::sleep_for(450ms);
    const int before = ticks;
    timer.cancel();
    queue.drain();
    QCOMPARE(ticks.load(), before);
}

void tst_Queue::noTickAfterCancel() {
    for (int round = 0; round < 200; ++round) {
        SerialQueue queue(u"cancel"_s);
        std::atomic<bool> cancelled{false};
        std::atomic<bool> late{false};
        DispatchTimer timer(queue, 1ms, [&] {
            late = late || cancelled;
            std::this_thread::yield();
            late = late || cancelled;
        });
        timer.start();
        std::this_thread::sleep_for(std::chrono::microseconds(round * 20));
        timer.cancel();
        cancelled = true;
        timer.start();
        queue.drain();
        QVERIFY(!late);
    }
}

void tst_Queue::tickMayCancelItsTimer() {
    SerialQueue queue(u"self"_s);
    std::atomic<int> ticks{0};
    Tally done;
    std::unique_ptr<DispatchTimer> timer;
    timer = std::make_unique<DispatchTimer>(queue, 1ms, [&] {
        if (++ticks == 3) {
            timer.reset();
            done.release();
        }
    });
    timer->start();
    QVERIFY(done.tryAcquire(1, Soon));
    std::this_thread::sleep_for(20ms);
    queue.drain();
    QCOMPARE(ticks.load(), 3);
}

void tst_Queue::deliveryIsSynchronousAndInOrder() {
    NotificationCenter center;
    QStringList got;
    std::vector<NotificationCenter::Observer> added;
    const auto outer = center.observe(u"outer"_s, [&](const auto& n) {
        center.post(u"inner"_s);
        got << n.name + n.object.toString();
        added.push_back(center.observe(u"outer"_s, [&](const auto&) { got << u"added"_s; }));
    });
    auto second = center.observe(u"outer"_s, [&](const auto&) { got << u"second"_s; });
    const auto inner = center.observe(u"inner"_s, [&](const auto&) { got << u"inner"_s; });
    center.post(u"outer"_s, 7);
    center.post(u"nobody"_s);
    QCOMPARE(got, (QStringList{"inner", "outer7", "second"}));
    got.clear();
    second = {};
    center.post(u"outer"_s);
    QCOMPARE(got, (QStringList{"inner", "outer", "added"}));
    added.clear();
}

void tst_Queue::observerEndsWhileDelivering() {
    NotificationCenter center;
    QStringList got;
    NotificationCenter::Observer next;
    NotificationCenter::Observer self;
    self = center.observe(u"a"_s, [&](const auto&) {
        next = {};
        self = {};
        got << u"self"_s;
    });
    next = center.observe(u"a"_s, [&](const auto&) { got << u"next"_s; });
    center.post(u"a"_s);
    center.post(u"a"_s);
    QCOMPARE(got, (QStringList{"self"}));
}

void tst_Queue::endWaitsForRunningHandler() {
    NotificationCenter center;
    SerialQueue queue(u"post"_s);
    for (int round = 0; round < 100; ++round) {
        std::atomic<bool> inside{false};
        Tally entered;
        auto observer = center.observe(u"a"_s, [&](const auto&) {
            inside = true;
            entered.release();
            std::this_thread::sleep_for(50us);
            inside = false;
        });
        queue.async([&] {
            for (int i = 0; i < 20; ++i)
                center.post(u"a"_s);
        });
        QVERIFY(entered.tryAcquire(1 + round % 3, Soon));
        observer = {};
        QVERIFY(!inside);
        const int calls = entered.available();
        queue.drain();
        QCOMPARE(entered.available(), calls);
    }
}

void tst_Queue::handlersPostingToEachOtherDoNotStall() {
    NotificationCenter center;
    Tally bothInside;
    Tally done;
    // Each handler posts to the other's name once both threads are inside.
    const auto handle = [&](const QString& to) {
        return [&, to](const Platform::Notification& notification) {
            if (notification.object.isValid())
                return;
            bothInside.release();
            while (bothInside.available() < 2)
                std::this_thread::yield();
            center.post(to, true);
            done.release();
        };
    };
    const auto a = center.observe(u"a"_s, handle(u"b"_s));
    const auto b = center.observe(u"b"_s, handle(u"a"_s));
    SerialQueue one(u"1"_s);
    SerialQueue two(u"2"_s);
    one.async([&] { center.post(u"a"_s); });
    two.async([&] { center.post(u"b"_s); });
    QVERIFY(done.tryAcquire(2, Soon));
}

QTEST_GUILESS_MAIN(tst_Queue)
#include "tst_Queue.moc"
