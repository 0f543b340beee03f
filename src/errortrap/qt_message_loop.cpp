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
    posted_.push_back(std::move(event));
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
  std::deque<std::function<void()>> events;
  {
    const std::lock_guard lock(mutex_);
    events.swap(posted_);
  }
  for (const auto& event : events) {
    if (ended_) return;
    event();
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
