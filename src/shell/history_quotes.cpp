// The window program.

#include <QCommandLineParser>
#include <cstdlib>
#include <optional>
#include <utility>
#include <vector>

#include "entry/system_folder_dialog.h"
#include "errortrap/qt_message_loop.h"
#include "platform/interrupts.h"
#include "platform/mail.h"
#include "platform/open_address.h"
#include "platform/program_places.h"
#include "quotes/curl_transfer.h"
#include "shell/application.h"
#include "shell/global.h"
#include "shell/quote_server_form.h"
#include "shell/quote_service.h"

int main(int argc, char** argv) {
  hq::Application application(argc, argv);
  hq::InterruptWatch watch;
  QApplication::setApplicationName("history-quotes");
  QApplication::setApplicationDisplayName("");
  QApplication::setApplicationVersion(HQ_VERSION);

  QCommandLineParser arguments;
  arguments.setApplicationDescription("Downloads historical stock quotes, one text file for each symbol.");
  arguments.addHelpOption();
  arguments.addVersionOption();
  arguments.addOption(
      {"program-folder",
       "Where user.cfg, server.ini and FSCLIENT.INI lie; by default beside the program, or with "
       "the user's own data in an installed copy.",
       "DIR"});
  arguments.addOption(
      {"source",
       "What the server inside serves, whatever the settings say: simulated, csv:FOLDER, live, or the "
       "names of services, with commas between them.",
       "SPEC"});
  // What is wrong with them is told below.
  arguments.parse(QApplication::arguments());
  const hq::ProgramPlaces places = hq::Places_Of_Program(
      arguments.isSet("program-folder") ? std::optional(hq::To_Text(arguments.value("program-folder")))
                                        : std::nullopt);
  // The version option prints this text.
  QApplication::setApplicationVersion(HQ_VERSION "\n" + hq::To_QString("Program folder: " + places.Program));
  arguments.process(application);
  QApplication::setApplicationVersion(HQ_VERSION);
  const std::string folder_fault = hq::Prepare_Program_Folder(places);

  hq::SystemFiles files;
  const hq::SystemClock clock;
  hq::SystemFolderDialog folders;
  hq::SystemMail mail;
  hq::ProgramParts parts{files,
                         clock,
                         folders,
                         mail,
                         [](hq::MessageLoop& loop) {
                           return std::make_unique<hq::CurlTransfer>(
                               loop, hq::CurlTransferOptions{.Version = HQ_VERSION});
                         },
                         hq::Open_Address};
  parts.ProgramFolder = places.Program;
  parts.IconFolder = hq::Folder_With(places, "t8.ico");
  parts.Version = HQ_VERSION;
  parts.WatchesCrashes = true;
  parts.MajorVersion = HQ_VERSION_MAJOR;
  parts.MinorVersion = HQ_VERSION_MINOR;
  hq::QtMessageBoxes boxes;
  hq::ServerSettingsFile settings(files, hq::Join_Path(parts.ProgramFolder, hq::ServerSettingsFileName));
  hq::QuoteService quotes(
      settings, hq::server::Places_In(parts.ProgramFolder, "history-quotes/" HQ_VERSION, places.Package),
      arguments.isSet("source") ? std::optional(hq::To_Text(arguments.value("source"))) : std::nullopt);
  parts.Set_Up_Quotes = [&](QWidget* parent) -> std::optional<hq::QuotePlace> {
    const hq::InnerLoop inner;
    return hq::Set_Up_Quotes(quotes, boxes, parent);
  };

  // Before anything that may fail, so that its trap tells of it.
  hq::global program(std::move(parts));
  application.Serve(program);
  int code = EXIT_FAILURE;
  try {
    application.Listen_To(watch);
    program.Use_Quotes(quotes.Start(boxes));
    std::string& note = program.Parts.FirstStartNote;
    note = quotes.First_Start_Note();
    std::vector<std::string> lines = quotes.Told();
    if (!folder_fault.empty()) lines.insert(lines.begin(), folder_fault);
    for (const std::string& line : lines) note += (note.empty() ? "" : "\n") + line;
    program.Main();
    // A start that failed has ended the program before there is a loop to end.
    if (!program.Loop.Ended()) code = QApplication::exec();
  } catch (const std::exception&) {
    program.Tell_Error(hq::Current_Error());
  }
  application.Forget();
  return code;
}
