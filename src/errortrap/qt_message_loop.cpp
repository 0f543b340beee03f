#include "errortrap/qt_message_loop.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <utility>

namespace hq {

InnerLoop::~InnerLoop() {
  if (auto* dispatcher = QAbstractEventDispatcher::instance()) dispatcher->wakeUp();
}

void QtMessageLoop::DoEvents() {
  const InnerLoop inner;
  Check_Ended();
  Run_Posted();
  QCoreApplication::processEvents();
  Check_Ended();
}

void QtMessageLoop::Sleep(std::chrono::milliseconds time) {
  Check_Ended();
  if (!Has_Posted()) {
    const InnerLoop inner;
    QEventLoop wait;
    waits_.push_back(&wait);
    QTimer::singleShot(time, &wait, &QEventLoop::quit);
    wait.exec();
    waits_.pop_back();
  }
  Check_Ended();
}

void QtMessageLoop::Post(std::function<void()> event) {
  {
    const std::lock_guard lock(mutex_);
    posted_.push_back({++posts_, std::move(event)});
  }
  QMetaObject::invokeMethod(
      this, [this] { Wake(); }, Qt::QueuedConnection);
}

void QtMessageLoop::End() {
  ended_ = true;
  for (QEventLoop* wait : waits_) wait->quit();
}

void QtMessageLoop::Wake() {
  if (!waits_.empty()) {
    for (QEventLoop* wait : waits_) wait->quit();
    return;
  }
  try {
    Run_Posted();
  } catch (const Interrupted&) {
    // Nothing may be thrown through the windows' own loop. Whoever waits is told by its own next wait.
    return;
  }
}

void QtMessageLoop::Run_Posted() {
  std::unique_lock lock(mutex_);
  // Serial numbers and not a count: an event that waits itself takes events that this call would count again.
  // Those behind it stay in the queue meanwhile, so that none overtakes them.
  const std::uint64_t last = posts_;
  while (!ended_ && !posted_.empty() && posted_.front().Serial <= last) {
    {
      const std::function<void()> run = std::move(posted_.front().Run);
      posted_.pop_front();
      lock.unlock();
      run();
      // What the event owns is destroyed here, before the lock is taken again: its destructors may post.
    }
    lock.lock();
  }
}

bool QtMessageLoop::Has_Posted() {
  const std::lock_guard lock(mutex_);
  return !posted_.empty();
}

void QtMessageLoop::Check_Ended() const {
  if (ended_) throw Interrupted{};
}

}  // namespace hq
