// The window program.

#include <QApplication>
#include <QCommandLineParser>
#include <cstdlib>
#include <stdexcept>

#include "entry/system_folder_dialog.h"
#include "platform/mail.h"
#include "platform/open_address.h"
#include "platform/program.h"
#include "quotes/curl_transfer.h"
#include "quotes/request.h"
#include "server/make_source.h"
#include "server/quote_server.h"
#include "shell/global.h"
#include "shell/server_settings.h"

namespace {

// Reads where quotes come from; starts the server inside when no other is named.
void Find_Quotes(hq::ProgramParts& parts, const QCommandLineParser& arguments,
                 std::unique_ptr<hq::server::QuoteServer>& server) {
  hq::QtMessageBoxes windows;
  hq::MessageBoxes& boxes = windows;
  hq::ServerSettings settings;
  try {
    settings = hq::Load_Server_Settings(parts.FileSystem, parts.ProgramFolder);
  } catch (const hq::RunTimeError& error) {
    boxes.Show(error.Detail() + "\nThe program's own quote server is used.");
  }
  parts.RequestTemplate = settings.RequestTemplate;
  parts.SymbolSearchAddress = settings.SymbolSearchAddress;
  if (!parts.RequestTemplate.empty() && !parts.SymbolSearchAddress.empty() && !arguments.isSet("source"))
    return;
  try {
    const std::string spec = arguments.isSet("source") ? hq::To_Text(arguments.value("source")) : "simulated";
    const std::shared_ptr<hq::server::QuoteSource> source = hq::server::Make_Source(spec);
    server = std::make_unique<hq::server::QuoteServer>(source);
    const int port = server->Start();
    if (parts.SymbolSearchAddress.empty()) parts.SymbolSearchAddress = server->Symbol_Search_Address();
    if (parts.RequestTemplate.empty() || arguments.isSet("source")) {
      parts.RequestTemplate = hq::Default_Request_Template(port);
      if (!source->Real_Quotes()) parts.QuotesNote = "Simulated market, not real quotes";
    }
  } catch (const std::exception& error) {
    boxes.Show(std::string("The program's own quote server can't be started: ") + error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QApplication::setApplicationName("history-quotes");
  QApplication::setApplicationDisplayName("");
  QApplication::setApplicationVersion(HQ_VERSION);

  QCommandLineParser arguments;
  arguments.setApplicationDescription("Downloads historical stock quotes, one text file for each symbol.");
  arguments.addHelpOption();
  arguments.addVersionOption();
  arguments.addOption({"program-folder", "Where user.cfg, server.ini and FSCLIENT.INI lie.", "DIR"});
  arguments.addOption({"source", "What the server inside serves: simulated or csv:FOLDER.", "SPEC"});
  arguments.process(application);

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
  parts.ProgramFolder = arguments.isSet("program-folder") ? hq::To_Text(arguments.value("program-folder"))
                                                          : hq::Program_Folder();
  parts.Version = HQ_VERSION;
  parts.WatchesCrashes = true;
  parts.MajorVersion = HQ_VERSION_MAJOR;
  parts.MinorVersion = HQ_VERSION_MINOR;
  std::unique_ptr<hq::server::QuoteServer> server;
  Find_Quotes(parts, arguments, server);

  hq::global program(std::move(parts));
  program.Main();
  // A start that failed has ended the program before there is a loop to end.
  return program.Loop.Ended() ? EXIT_FAILURE : QApplication::exec();
}
