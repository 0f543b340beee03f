#pragma once

#include <QApplication>

#include "platform/interrupts.h"

namespace hq {

class global;

// The application object of the window program. It ends the program at once - no question, nothing saved, the
// logs closed, exit code InterruptWatch::ExitCode - when the user's session or a signal ends it, wherever the
// program is then: in a run, in a dialog, in a message box. An error that comes out of an event handler is
// brought before the error trap and goes no farther: it would leave the windows' own loop in disorder.
class Application final : public QApplication {
 public:
  // As QApplication: argc and argv outlive the object.
  Application(int& argc, char** argv);

  // From now on wishes to end the program come here. watch goes before the application does.
  void Listen_To(InterruptWatch& watch);
  // From now on the end is that of this program, whose trap is told of errors. Outlived by the application;
  // call Forget before it goes.
  void Serve(global& program);
  void Forget() { program_ = nullptr; }

  bool notify(QObject* receiver, QEvent* event) override;

 protected:
  bool event(QEvent* event) override;

 private:
  // Does not return while there is no program that has ended by itself.
  void End_Session();

  global* program_ = nullptr;
};

}  // namespace hq
