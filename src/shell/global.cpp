#include "shell/global.h"

#include <QApplication>
#include <cstdlib>
#include <utility>

#include "errortrap/procedure.h"
#include "errortrap/qt_screen_facts.h"
#include "platform/debugger.h"
#include "platform/interrupts.h"
#include "platform/machine.h"
#include "shell/form_looks.h"

namespace hq {

global::global(ProgramParts parts)
    : Parts(std::move(parts)),
      Session(Trap, {Parts.FileSystem, Parts.Time, error_dialog_, Parts.Mail,
                     ApplicationFacts{.Title = DefaultTitle,
                                      .ExeName = "history-quotes",
                                      .Version = Parts.Version,
                                      .Folder = Parts.ProgramFolder},
                     [] {
                       MachineFacts machine = Look_At_Machine();
                       Add_Screen_Facts(machine);
                       return machine;
                     },
                     Parts.WatchesCrashes}),
      icon_(std::make_unique<frmicon>(Icon.Icon())) {
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setWindowIcon(icon_->windowIcon());
  State.RequestTemplate = Parts.RequestTemplate;
}

ErrorDialogParts global::Error_Dialog_Parts() {
  ErrorDialogParts parts = System_Error_Dialog_Parts();
  parts.Break = Break_Into_Debugger;
  return parts;
}

// The main window holds the transfer, whose events go through the loop.
global::~global() {
  main_.reset();
}

void global::Main() {
  With_Own_Handler(
      Trap, {"global.bas", "Sub Main"},
      [&] {
        Test().Display_About();
        Loop.DoEvents();
        Test().Set_Caption("Creating application window...");
        Loop.DoEvents();
        Load_Config(Trap, Boxes, Parts.FileSystem, Parts.ProgramFolder, Saved, State.Settings);
        Test().Hide_Button();
        Test().Set_Caption("Finalizing settings...");
        Loop.DoEvents();
        Test().Display_About();
        Test().hide();
        MainWindow().show();
        // Where no window manager does it.
        MainWindow().activateWindow();
        MainWindow().Show_First_Start_Note();
      },
      [&](const RunTimeError& error) {
        Boxes.Show("Err " + error.Description() + " inside Main(). Report!");
        Exit_Program();
      });
}

void global::Use_Quotes(const QuotePlace& place) {
  State.RequestTemplate = place.RequestTemplate;
  State.NoServer = place.Fault;
  Parts.RequestTemplate = place.RequestTemplate;
  Parts.SymbolSearchAddress = place.SymbolSearchAddress;
  Parts.QuotesNote = place.Note;
}

void global::Exit_Program() {
  Skip_Failing_Statements(Trap, {"global.bas", "Sub Exit_Program"}, [&](SkippingStatements& statement) {
    const size_t count = loaded_.size();
    for (size_t i = 0; i < count; ++i) {
      statement([&] {
        QWidget* first = loaded_.at(0);
        loaded_.erase(loaded_.begin());
        first->hide();
      });
    }
    // Files are open within one procedure only; the end of every wait closes what one of them has open.
    statement([&] { Loop.End(); });
    statement([&] { QCoreApplication::quit(); });
  });
}

void global::End_At_Once() {
  Session.End_Logs();
  std::_Exit(InterruptWatch::ExitCode);
}

void global::Tell_Error(const RunTimeError& error) {
  try {
    Trap.Complain({}, {}, error);
  } catch (const Interrupted&) {
    // The program ended while the error was shown.
    return;
  }
}

template <class Form, class... Arguments>
Form& global::Loaded(std::unique_ptr<Form>& form, Arguments&&... arguments) {
  if (!form) {
    form = std::make_unique<Form>(std::forward<Arguments>(arguments)...);
    loaded_.push_back(form.get());
  }
  return *form;
}

frmtest& global::Test() {
  return Loaded(test_, Trap, Icon, Parts.ProgramFolder);
}

frmlog& global::Log() {
  const bool is_new = log_ == nullptr;
  frmlog& log = Loaded(log_, Trap);
  if (is_new) log.setFont(Form_Font());
  return log;
}

frmmain1& global::MainWindow() {
  return Loaded(main_, *this);
}

}  // namespace hq
