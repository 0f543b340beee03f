#include "shell/application.h"

#include <QEvent>
#include <QThread>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <thread>

#include "base/run_time_error.h"
#include "shell/global.h"

namespace hq {

namespace {

// How long a wish waits for the user-interface thread, which may be busy, before it ends the program itself.
constexpr std::chrono::seconds LongestWait(2);

}  // namespace

Application::Application(int& argc, char** argv) : QApplication(argc, argv) {
  // What the system announces the end of the session by, where it lets a program do more than to hide.
  connect(this, &QCoreApplication::aboutToQuit, this, [this] { End_Session(); });
}

void Application::Listen_To(InterruptWatch& watch) {
  watch.Ask([this] {
    QMetaObject::invokeMethod(
        this, [this] { End_Session(); }, Qt::QueuedConnection);
    std::this_thread::sleep_for(LongestWait);
    std::_Exit(InterruptWatch::ExitCode);
  });
}

void Application::Serve(global& program) {
  program_ = &program;
}

void Application::End_Session() {
  if (program_ == nullptr) std::_Exit(InterruptWatch::ExitCode);
  if (!program_->Loop.Ended()) program_->End_At_Once();
}

bool Application::event(QEvent* event) {
  // Otherwise every window would be closed, and the main window ask its question.
  if (event->type() == QEvent::Quit) End_Session();
  return QApplication::event(event);
}

bool Application::notify(QObject* receiver, QEvent* event) {
  if (QThread::currentThread() != thread()) return QApplication::notify(receiver, event);
  try {
    return QApplication::notify(receiver, event);
  } catch (const Interrupted&) {
    // The program ends. Whoever waits is told by its own next wait.
    return true;
  } catch (const std::exception&) {
    if (program_ == nullptr) throw;
    program_->Tell_Error(Current_Error());
    return true;
  }
}

}  // namespace hq
