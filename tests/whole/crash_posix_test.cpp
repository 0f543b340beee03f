// What a crash of each program leaves behind.

#include <chrono>
#include <csignal>
#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "built_places.h"
#include "support/child_program.h"
#include "support/socket_server.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::ChildProgram;
using test::TempFolder;
using testing::AllOf;
using testing::HasSubstr;

void Leave_No_Core() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

// The program looks for its files beside itself.
TEST(ACrash, OfTheServerProgramLeavesARecord) {
  const TempFolder home;
  const std::string program = home / "quote-server";
  std::filesystem::copy_file(HQ_SERVER_PROGRAM, program);
  ChildProgram server({program}, Leave_No_Core);
  ASSERT_TRUE(server.Wait_For_Output("Press Ctrl-C to end.\n")) << server.Err();
  server.Signal(SIGSEGV);
  EXPECT_EQ(server.Wait(), -SIGSEGV) << server.Err();
  EXPECT_THAT(test::Bytes_Of(home / "error.log"),
              AllOf(HasSubstr("\r\nSource- quote-server "), HasSubstr("\r\nError Number- 11\r\n"),
                    HasSubstr("\r\n     1 : quote_server_main.cpp : Sub Serve : \r\n")));
}

TEST(ACrash, OfACommandThatIsNoDownloadLeavesARecord) {
  const TempFolder home;
  std::promise<void> asked;
  test::SocketServer service([&](test::SocketConnection& connection) {
    static_cast<void>(connection.ReadRequest());
    asked.set_value();
    connection.WaitForEnd();
  });
  std::filesystem::create_directory(home / "sources");
  home.Write("sources/acme.json", R"({
    "name": "acme", "title": "Acme", "site": "https://acme.example",
    "zone": "America/New_York", "symbols": {"kinds": [{"kind": ""}]},
    "feeds": [{"minutes": 1440, "serves": [1440], "adjustments": {"splits": ""},
      "address": ")" + service.Address() +
                                      R"(/{symbol}",
      "answer": {"shape": "rows", "fields": {"stamp": "t", "open": "o", "high": "h", "low": "l", "close": "c"},
                 "stamp": {"form": "date"}}}]})");
  home.Write("FSCLIENT.INI", "[Log File]\nLog File=mine.log\n");
  ChildProgram program({HQ_CLI_PROGRAM, "sources", "test", "acme", "--program-folder", home.Path()},
                       Leave_No_Core);
  ASSERT_EQ(asked.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
  program.Signal(SIGSEGV);
  EXPECT_EQ(program.Wait(), -SIGSEGV) << program.Err();
  EXPECT_THAT(test::Bytes_Of(home / "mine.log"),
              AllOf(HasSubstr("\r\nError Number- 11\r\n"),
                    HasSubstr("\r\n     1 : sources_command.cpp : Function Sources_Command : \r\n")));
}

}  // namespace
}  // namespace hq
