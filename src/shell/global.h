#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "entry/filebrowse.h"
#include "errortrap/modFailSafe.h"
#include "errortrap/qt_error_dialog.h"
#include "errortrap/qt_message_boxes.h"
#include "errortrap/qt_message_loop.h"
#include "errortrap/trap_session.h"
#include "platform/files.h"
#include "platform/mail.h"
#include "quotes/transfer_control.h"
#include "run/download_run.h"
#include "run/frmlog.h"
#include "shell/frmicon.h"
#include "shell/frmmain1.h"
#include "shell/frmtest.h"
#include "shell/program_icon.h"
#include "shell/quote_service.h"
#include "shell/settings_file.h"

namespace hq {

// What the window program is started with.
struct ProgramParts {
  Files& FileSystem;
  const Clock& Time;
  FolderDialog& Folders;
  MailSender& Mail;
  // Makes the transfer control that the main window holds.
  std::function<std::unique_ptr<TransferControl>(MessageLoop&)> Make_Inet;
  // Opens an address in the user's browser. Its failure is not told.
  std::function<void(std::intptr_t owner, const std::string& address)> Open_Address;
  std::string ProgramFolder = {};    // without a separator at its end
  std::string IconFolder = {};       // that of t8.ico; empty: the program folder
  std::string RequestTemplate = {};  // plain
  std::string SymbolSearchAddress = {};
  std::string QuotesNote = {};  // what the user must know about the quotes, empty for nothing
  // Lets the user choose where quotes come from, in a form above the window. Empty: there is nothing to
  // choose. It gives nothing when the user left all as it was.
  std::function<std::optional<QuotePlace>(QWidget* parent)> Set_Up_Quotes = {};
  std::string FirstStartNote = {};  // what is to be said at the start below the window, empty for nothing
  std::string Version = {};
  bool WatchesCrashes = false;  // leaves a record of a crash of the process
  int MajorVersion = 0;
  int MinorVersion = 0;
  MessageBoxes* Boxes = nullptr;  // in place of the message boxes of the desktop; null for those
};

// The window program: its shared state, its windows, its start and its end. Made after the application
// object; one at a time in a process, because its end ends the application.
class global {
 public:
  explicit global(ProgramParts parts);
  global(const global&) = delete;
  global& operator=(const global&) = delete;
  ~global();

  // Shows the splash, reads the settings and shows the main window.
  void Main();

  // Takes every window away and ends the program. Never reports an error.
  void Exit_Program();

  // Ends the process: asks nothing, saves nothing and closes the logs.
  [[noreturn]] void End_At_Once();

  // Brings an error that happened outside of every procedure before the trap.
  void Tell_Error(const RunTimeError& error);

  // Takes quotes from there from the next symbol on.
  void Use_Quotes(const QuotePlace& place);

  // The windows, each made when it is first asked for.
  [[nodiscard]] frmtest& Test();
  [[nodiscard]] frmlog& Log();
  [[nodiscard]] frmmain1& MainWindow();

  ProgramParts Parts;
  ProgramIcon Icon{Parts.FileSystem, Parts.IconFolder.empty() ? Parts.ProgramFolder : Parts.IconFolder};
  QtMessageLoop Loop;
  MessageBoxes& Boxes = Parts.Boxes != nullptr ? *Parts.Boxes : boxes_;
  modFailSafe Trap{&Loop};
  TrapSession Session;
  SharedState State;
  SavedChoices Saved;

 private:
  [[nodiscard]] static ErrorDialogParts Error_Dialog_Parts();

  QtMessageBoxes boxes_;
  QtErrorDialog error_dialog_{Trap, Error_Dialog_Parts()};

  template <class Form, class... Arguments>
  Form& Loaded(std::unique_ptr<Form>& form, Arguments&&... arguments);

  std::unique_ptr<frmicon> icon_;
  std::unique_ptr<frmtest> test_;
  std::unique_ptr<frmlog> log_;
  std::unique_ptr<frmmain1> main_;
  std::vector<QWidget*> loaded_;  // in the order of their making
};

}  // namespace hq
