#include "cli/console_message_loop.h"

#include <chrono>
#include <exception>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

namespace hq {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

// Long enough that a test which really waits it fails by its time limit.
constexpr hours Very_Long{1};

TEST(ConsoleMessageLoop, RunsEventsInTheOrderOfPosting) {
  ConsoleMessageLoop loop;
  std::vector<int> ran;
  for (int number = 1; number <= 3; ++number) loop.Post([&ran, number] { ran.push_back(number); });
  EXPECT_TRUE(ran.empty());
  loop.DoEvents();
  EXPECT_EQ(ran, (std::vector{1, 2, 3}));
  loop.DoEvents();
  EXPECT_EQ(ran.size(), 3U);
}

TEST(ConsoleMessageLoop, RunsOnTheCallingThread) {
  ConsoleMessageLoop loop;
  std::thread::id ran_on;
  std::thread([&] { loop.Post([&ran_on] { ran_on = std::this_thread::get_id(); }); }).join();
  loop.DoEvents();
  EXPECT_EQ(ran_on, std::this_thread::get_id());
}

TEST(ConsoleMessageLoop, LeavesEventsPostedByEventsForTheNextCall) {
  ConsoleMessageLoop loop;
  int runs = 0;
  std::function<void()> event = [&] {
    ++runs;
    loop.Post(event);
  };
  loop.Post(event);
  loop.DoEvents();
  EXPECT_EQ(runs, 1);
  loop.DoEvents();
  EXPECT_EQ(runs, 2);
}

TEST(ConsoleMessageLoop, AnEventMayCallDoEvents) {
  ConsoleMessageLoop loop;
  std::vector<int> ran;
  loop.Post([&] {
    ran.push_back(1);
    loop.Post([&] { ran.push_back(4); });
    loop.DoEvents();
    ran.push_back(5);
    loop.Post([&] { ran.push_back(6); });
  });
  loop.Post([&] { ran.push_back(2); });
  loop.Post([&] { ran.push_back(3); });
  loop.DoEvents();
  EXPECT_EQ(ran, (std::vector{1, 2, 3, 4, 5}));
  loop.DoEvents();
  EXPECT_EQ(ran, (std::vector{1, 2, 3, 4, 5, 6}));
}

TEST(ConsoleMessageLoop, KeepsTheEventsBehindOneThatThrows) {
  ConsoleMessageLoop loop;
  bool ran = false;
  loop.Post([] { throw std::runtime_error("failed"); });
  loop.Post([&ran] { ran = true; });
  EXPECT_THROW(loop.DoEvents(), std::runtime_error);
  EXPECT_FALSE(ran);
  loop.DoEvents();
  EXPECT_TRUE(ran);
}

struct PostsWhenDestroyed {
  explicit PostsWhenDestroyed(MessageLoop& loop) : Loop(loop) {}
  ~PostsWhenDestroyed() {
    Loop.Post([] {});
  }
  MessageLoop& Loop;
};

TEST(ConsoleMessageLoop, WhatAnEventOwnsMayPostWhenItIsDestroyed) {
  ConsoleMessageLoop loop;
  loop.Post([owned = std::make_shared<PostsWhenDestroyed>(loop)] {});
  loop.DoEvents();
  loop.Sleep(Very_Long);
  loop.DoEvents();
}

TEST(ConsoleMessageLoop, SleepLastsItsTimeWhenNothingComes) {
  ConsoleMessageLoop loop;
  const auto start = std::chrono::steady_clock::now();
  loop.Sleep(milliseconds(30));
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(30));
  loop.Sleep(milliseconds(0));
  loop.Sleep(milliseconds(-1));
}

TEST(ConsoleMessageLoop, SleepEndsAtAnEventThatAlreadyWaitsAndDoesNotRunIt) {
  ConsoleMessageLoop loop;
  bool ran = false;
  loop.Post([&ran] { ran = true; });
  loop.Sleep(Very_Long);
  loop.Sleep(milliseconds::max());
  EXPECT_FALSE(ran);
}

TEST(ConsoleMessageLoop, SleepEndsWhenAnEventIsPosted) {
  ConsoleMessageLoop loop;
  bool ran = false;
  std::thread poster([&] {
    std::this_thread::sleep_for(milliseconds(20));
    loop.Post([&ran] { ran = true; });
  });
  loop.Sleep(Very_Long);
  loop.DoEvents();
  EXPECT_TRUE(ran);
  poster.join();
}

TEST(ConsoleMessageLoop, LosesNoEventOfManyThreads) {
  ConsoleMessageLoop loop;
  constexpr int threads = 4;
  constexpr int events = 500;
  int ran = 0;
  std::vector<std::thread> posters;
  for (int thread = 0; thread < threads; ++thread)
    posters.emplace_back([&] {
      for (int event = 0; event < events; ++event) loop.Post([&ran] { ++ran; });
    });
  while (ran < threads * events) {
    loop.Sleep(Very_Long);
    loop.DoEvents();
  }
  for (std::thread& poster : posters) poster.join();
  EXPECT_EQ(ran, threads * events);
}

static_assert(!std::is_base_of_v<std::exception, Interrupted>);

TEST(ConsoleMessageLoop, InterruptMakesEveryCallThrow) {
  ConsoleMessageLoop loop;
  bool ran = false;
  loop.Post([&ran] { ran = true; });
  loop.Interrupt();
  EXPECT_THROW(loop.DoEvents(), Interrupted);
  EXPECT_THROW(loop.Sleep(Very_Long), Interrupted);
  EXPECT_THROW(loop.DoEvents(), Interrupted);
  loop.Post([] {});
  EXPECT_FALSE(ran);
}

TEST(ConsoleMessageLoop, InterruptEndsASleep) {
  ConsoleMessageLoop loop;
  std::thread interrupter([&loop] {
    std::this_thread::sleep_for(milliseconds(20));
    loop.Interrupt();
  });
  EXPECT_THROW(loop.Sleep(Very_Long), Interrupted);
  interrupter.join();
}

TEST(ConsoleMessageLoop, InterruptBetweenTwoEventsKeepsTheSecondFromRunning) {
  ConsoleMessageLoop loop;
  bool ran = false;
  loop.Post([&loop] { loop.Interrupt(); });
  loop.Post([&ran] { ran = true; });
  EXPECT_THROW(loop.DoEvents(), Interrupted);
  EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace hq
