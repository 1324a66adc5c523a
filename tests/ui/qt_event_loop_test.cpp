#include "ui/qt_event_loop.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QTest>
#include <atomic>
#include <thread>

#include "tests/ui/qt_app.h"

namespace tw::ui {
namespace {

// Counts the events the loop runs inside its wrapper, and whether anything ran outside it.
struct Wrapped {
    int depth = 0;
    int events = 0;
    QtEventLoop::EventWrapper wrapper() {
        return [this](const std::function<void()>& fn) {
            ++depth;
            ++events;
            fn();
            --depth;
        };
    }
};

class QtEventLoopTest : public ::testing::Test {
  protected:
    test::QtApp qt;
    Wrapped wrapped;
    QtEventLoop loop{wrapped.wrapper()};
};

TEST_F(QtEventLoopTest, TimerRunsRepeatedlyInsideTheEventWrapper) {
    int ticks = 0;
    bool outside = false;
    const int id = loop.startTimer(10, [&] {
        ++ticks;
        outside = outside || wrapped.depth != 1;
    });
    EXPECT_GT(id, 0);
    QTest::qWait(200);
    EXPECT_GE(ticks, 5);
    EXPECT_FALSE(outside);
    EXPECT_EQ(wrapped.events, ticks);
}

TEST_F(QtEventLoopTest, StoppedTimerNoLongerFires) {
    int ticks = 0;
    const int id = loop.startTimer(5, [&] { ++ticks; });
    QTest::qWait(60);
    loop.stopTimer(id);
    const int atStop = ticks;
    EXPECT_GT(atStop, 0);
    QTest::qWait(60);
    EXPECT_EQ(ticks, atStop);
    EXPECT_FALSE(loop.timerActive(id));
    loop.stopTimer(id);  // a second stop of the same id is ignored
    loop.stopTimer(12345);
}

TEST_F(QtEventLoopTest, TimerCanStopItselfFromItsOwnCallback) {
    int ticks = 0;
    int id = 0;
    id = loop.startTimer(5, [&] {
        ++ticks;
        loop.stopTimer(id);
    });
    QTest::qWait(80);
    EXPECT_EQ(ticks, 1);
    EXPECT_EQ(loop.timerCount(), 0u);
}

TEST_F(QtEventLoopTest, CallbackThatYieldsDoesNotRunItselfAgainInside) {
    int depth = 0, deepest = 0, ticks = 0;
    loop.startTimer(2, [&] {
        ++ticks;
        deepest = std::max(deepest, ++depth);
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < 20) {
            loop.processPending();
        }
        --depth;
    });
    QTest::qWait(150);
    EXPECT_GE(ticks, 2);
    EXPECT_EQ(deepest, 1);
}

TEST_F(QtEventLoopTest, WorkPostedFromAnotherThreadRunsOnTheConsoleThreadInOrder) {
    const auto consoleThread = std::this_thread::get_id();
    std::vector<int> order;
    bool onConsoleThread = true;
    bool wrappedEach = true;
    std::thread worker([&] {
        for (int i = 0; i < 3; ++i) {
            loop.post([&, i] {
                order.push_back(i);
                onConsoleThread = onConsoleThread && std::this_thread::get_id() == consoleThread;
                wrappedEach = wrappedEach && wrapped.depth == 1;
            });
        }
    });
    worker.join();
    EXPECT_TRUE(order.empty());  // nothing runs until the console thread lets events run
    loop.processPending();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
    EXPECT_TRUE(onConsoleThread);
    EXPECT_TRUE(wrappedEach);
}

TEST_F(QtEventLoopTest, WorkQueuedWhenTheLoopIsDestroyedIsDropped) {
    bool ran = false;
    {
        QtEventLoop shortLived;
        shortLived.post([&] { ran = true; });
    }
    QTest::qWait(20);
    EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace tw::ui
