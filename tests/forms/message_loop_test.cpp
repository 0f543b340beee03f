// The loop that window and transfer events go through.

#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>
#include <QTimer>
#include <memory>
#include <stdexcept>
#include <thread>

#include "errortrap/qt_message_loop.h"
#include "forms/form_support.h"

namespace hq::test {

using namespace std::chrono_literals;

class MessageLoopTest : public QObject {
  Q_OBJECT

 private slots:
  void init() { Loop_ = std::make_unique<QtMessageLoop>(); }
  void cleanup() { Loop_.reset(); }

  void APostedEventRunsInDoEvents() {
    int runs = 0;
    Loop_->Post([&] { ++runs; });
    QCOMPARE(runs, 0);
    Loop_->DoEvents();
    QCOMPARE(runs, 1);
    Loop_->DoEvents();
    QCOMPARE(runs, 1);
  }

  void EventsRunInTheOrderOfTheirComing() {
    QString order;
    for (const char c : {'a', 'b', 'c'}) {
      Loop_->Post([&order, c] { order += c; });
    }
    Loop_->DoEvents();
    QCOMPARE(order, QString("abc"));
  }

  void DoEventsLetsTheWindowsHaveTheirs() {
    bool window_event = false;
    QTimer::singleShot(0, this, [&] { window_event = true; });
    Loop_->DoEvents();
    QVERIFY(window_event);
  }

  void AnEventPostedWhileNothingWaitsRunsWhenTheWindowsAreIdle() {
    int runs = 0;
    Loop_->Post([&] { ++runs; });
    QTRY_COMPARE(runs, 1);
  }

  void SleepRunsNoPostedEvent() {
    int runs = 0;
    QTimer::singleShot(0, this, [&] { Loop_->Post([&] { ++runs; }); });
    Loop_->Sleep(1h);
    QCOMPARE(runs, 0);
    Loop_->Sleep(1h);
    QCOMPARE(runs, 0);
    Loop_->DoEvents();
    QCOMPARE(runs, 1);
  }

  void SleepServesTheWindows() {
    int events = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] {
      if (++events == 5) Loop_->Post([] {});
    });
    timer.start(1);
    Loop_->Sleep(1h);
    QCOMPARE(events, 5);
  }

  void SleepEndsByItself() {
    QElapsedTimer clock;
    clock.start();
    Loop_->Sleep(30ms);
    QVERIFY(clock.elapsed() >= 29);
  }

  void AnEventThatWaitsAlreadyEndsASleepBeforeItBegins() {
    Loop_->Post([] {});
    Loop_->Sleep(1h);
    Loop_->DoEvents();
  }

  void APostFromAnotherThreadWakesASleepAndRunsOnThisOne() {
    QThread* ran_on = nullptr;
    for (int i = 0; i < 50; ++i) {
      ran_on = nullptr;
      std::thread other([&] { Loop_->Post([&] { ran_on = QThread::currentThread(); }); });
      Loop_->Sleep(1h);
      other.join();
      Loop_->DoEvents();
      QCOMPARE(ran_on, QThread::currentThread());
    }
  }

  void PostsFromManyThreadsAllRun() {
    constexpr int threads = 4;
    constexpr int posts = 200;
    int runs = 0;
    std::vector<std::thread> others;
    for (int i = 0; i < threads; ++i) {
      others.emplace_back([&] {
        for (int k = 0; k < posts; ++k) Loop_->Post([&] { ++runs; });
      });
    }
    QTRY_COMPARE(runs, threads * posts);
    for (std::thread& other : others) other.join();
  }

  void AnEventMayPostAnother() {
    int runs = 0;
    Loop_->Post([&] {
      ++runs;
      Loop_->Post([&] { ++runs; });
    });
    Loop_->DoEvents();
    QTRY_COMPARE(runs, 2);
  }

  void AnEventMayWaitItself() {
    QString order;
    Loop_->Post([&] {
      order += "a";
      Loop_->Post([&] { order += "b"; });
      Loop_->Sleep(1h);
      Loop_->DoEvents();
      order += "c";
    });
    Loop_->DoEvents();
    QCOMPARE(order, QString("abc"));
  }

  void NoEventOvertakesThoseBehindOneThatWaits() {
    QString order;
    const auto event = [&](char c) { return [&order, c] { order += c; }; };
    Loop_->Post([&] {
      order += '1';
      Loop_->Post(event('4'));
      Loop_->DoEvents();
      order += '5';
      Loop_->Post(event('6'));
    });
    Loop_->Post(event('2'));
    Loop_->Post(event('3'));
    Loop_->DoEvents();
    QVERIFY(order.startsWith("12345"));
    Loop_->DoEvents();
    QCOMPARE(order, QString("123456"));
  }

  void TheEventsBehindOneThatFailsAreKept() {
    int runs = 0;
    Loop_->Post([] { throw std::runtime_error("failed"); });
    Loop_->Post([&] { ++runs; });
    QVERIFY_EXCEPTION_THROWN(Loop_->DoEvents(), std::runtime_error);
    QCOMPARE(runs, 0);
    Loop_->DoEvents();
    QCOMPARE(runs, 1);
  }

  void WhatAnEventOwnsMayPostWhenItIsDestroyed() {
    struct PostsAtItsEnd {
      PostsAtItsEnd(MessageLoop& loop, int& runs) : Loop(loop), Runs(runs) {}
      ~PostsAtItsEnd() {
        Loop.Post([&runs = Runs] { ++runs; });
      }
      MessageLoop& Loop;
      int& Runs;
    };
    int runs = 0;
    Loop_->Post([owned = std::make_shared<PostsAtItsEnd>(*Loop_, runs)] {});
    Loop_->DoEvents();
    QTRY_COMPARE(runs, 1);
  }

  void NestedSleepsBothWake() {
    bool inner_done = false;
    QTimer::singleShot(0, this, [&] {
      QTimer::singleShot(0, this, [&] { Loop_->Post([] {}); });
      Loop_->Sleep(1h);
      inner_done = true;
    });
    Loop_->Sleep(1h);
    QVERIFY(inner_done);
    Loop_->DoEvents();
  }

  void AnOuterSleepThatIsOverWaitsForTheInnerOne() {
    QString order;
    QTimer::singleShot(0, this, [&] {
      QTimer::singleShot(30, this, [&] { Loop_->Post([] {}); });
      Loop_->Sleep(1h);
      order += "inner";
    });
    Loop_->Sleep(1ms);
    QCOMPARE(order, QString("inner"));
  }

  void AnOuterLoopThatWasToEndIsNotHeldByWhatAnInnerOneTook_data() {
    QTest::addColumn<bool>("sleeps");
    QTest::newRow("events") << false;
    QTest::newRow("sleep") << true;
  }
  void AnOuterLoopThatWasToEndIsNotHeldByWhatAnInnerOneTook() {
    QFETCH(bool, sleeps);
    QEventLoop outer;
    bool late = false;
    QTimer::singleShot(10'000, &outer, [&] {
      late = true;
      outer.quit();
    });
    QMetaObject::invokeMethod(
        &outer,
        [&] {
          outer.quit();
          for (int i = 0; i < 3; ++i) {
            if (sleeps)
              Loop_->Sleep(1ms);
            else
              Loop_->DoEvents();
          }
        },
        Qt::QueuedConnection);
    outer.exec();
    QVERIFY(!late);
  }

  void AfterTheEndEveryWaitThrows() {
    Loop_->End();
    QVERIFY_EXCEPTION_THROWN(Loop_->DoEvents(), Interrupted);
    QVERIFY_EXCEPTION_THROWN(Loop_->Sleep(1h), Interrupted);
    QVERIFY_EXCEPTION_THROWN(Loop_->Sleep(0ms), Interrupted);
  }

  void TheEndThrowsInASleepUnderWay() {
    QTimer::singleShot(0, this, [&] { Loop_->End(); });
    QVERIFY_EXCEPTION_THROWN(Loop_->Sleep(1h), Interrupted);
  }

  void TheEndThrowsInDoEventsUnderWay() {
    QTimer::singleShot(0, this, [&] { Loop_->End(); });
    QVERIFY_EXCEPTION_THROWN(Loop_->DoEvents(), Interrupted);
  }

  void TheEndThrowsInEveryNestedSleep() {
    int thrown = 0;
    QTimer::singleShot(0, this, [&] {
      QTimer::singleShot(0, this, [&] { Loop_->End(); });
      try {
        Loop_->Sleep(1h);
      } catch (const Interrupted&) {
        ++thrown;
      }
    });
    try {
      Loop_->Sleep(1h);
    } catch (const Interrupted&) {
      ++thrown;
    }
    QCOMPARE(thrown, 2);
  }

  void AfterTheEndNoPostedEventRuns() {
    int runs = 0;
    Loop_->Post([&] { ++runs; });
    Loop_->End();
    Loop_->Post([&] { ++runs; });
    Settle();
    QCOMPARE(runs, 0);
  }

  void AnEventThatEndsTheLoopIsTheLast() {
    int runs = 0;
    Loop_->Post([&] { Loop_->End(); });
    Loop_->Post([&] { ++runs; });
    QVERIFY_EXCEPTION_THROWN(Loop_->DoEvents(), Interrupted);
    QCOMPARE(runs, 0);
  }

  void AnEventInterruptedWhileTheWindowsAreIdleHarmsNothing() {
    bool began = false;
    Loop_->Post([&] {
      began = true;
      QTimer::singleShot(0, this, [&] { Loop_->End(); });
      Loop_->Sleep(1h);
      QFAIL("the sleep went on");
    });
    QTRY_VERIFY(began);
    Settle();
    QVERIFY_EXCEPTION_THROWN(Loop_->DoEvents(), Interrupted);
  }

 private:
  std::unique_ptr<QtMessageLoop> Loop_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::MessageLoopTest)
#include "message_loop_test.moc"
