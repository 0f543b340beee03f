// The built program, run as a user would run it.

#include <algorithm>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "built_places.h"
#include "support/child_program.h"
#include "support/socket_server.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::ChildProgram;
using test::SocketConnection;
using test::SocketServer;
using test::TempFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::vector<std::string> Command(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), HQ_CLI_PROGRAM);
  return arguments;
}

TEST(CommandLineProgram, DownloadsFromTheServerInside) {
  const TempFolder output;
  const TempFolder folder;
  ChildProgram program(Command({"MSFT", "IBM", "--output", output.Path(), "--program-folder", folder.Path(),
                                "--end-date", "03/14/03", "--days", "5"}));
  EXPECT_EQ(program.Wait(), 0) << program.Err();
  EXPECT_THAT(output.Names(), ElementsAre("031003-031403IBM1D.txt", "031003-031403MSFT1D.txt"));
  EXPECT_EQ(std::ranges::count(output.Files().at("031003-031403IBM1D.txt"), '\n'), 6);
  EXPECT_THAT(program.Out(), StartsWith("Start download at "));
  EXPECT_THAT(program.Err(), HasSubstr("NOT real quotes"));
}

TEST(CommandLineProgram, RunsTwiceGiveTheSameBytes) {
  const auto bytes = [](const std::string& interval) {
    const TempFolder output;
    ChildProgram program(Command({"MSFT", "--output", output.Path(), "--program-folder", output.Path(),
                                  "--end-date", "03/14/03", "--interval", interval}));
    EXPECT_EQ(program.Wait(), 0) << program.Err();
    return output.Files();
  };
  for (const char* interval : {"1", "5", "10", "20", "30", "60", "1440"})
    EXPECT_EQ(bytes(interval), bytes(interval));
}

TEST(CommandLineProgram, VersionHelpAndRefusals) {
  ChildProgram version(Command({"--version"}));
  EXPECT_EQ(version.Wait(), 0);
  EXPECT_THAT(version.Out(), StartsWith("history-quotes-cli "));
  ChildProgram help(Command({"--help"}));
  EXPECT_EQ(help.Wait(), 0);
  EXPECT_THAT(help.Out(), HasSubstr("--interval"));
  ChildProgram refused(Command({"--format", "nothing"}));
  EXPECT_EQ(refused.Wait(), 2);
  EXPECT_EQ(refused.Out(), "");
  EXPECT_THAT(refused.Err(), HasSubstr("nothing is no output format"));
}

TEST(CommandLineProgram, AnInterruptionEndsItAtOnceAndLeavesNoHalfFile) {
  const TempFolder output;
  const SocketServer server([](SocketConnection& connection) {
    static_cast<void>(connection.ReadRequest());
    connection.Send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n030313,0930,2,3");
    connection.WaitForEnd();
  });
  ChildProgram program(Command({"MSFT", "IBM", "--output", output.Path(), "--program-folder", output.Path(),
                                "--template", server.Address() + "/XXX/SSS?&Date=DDD"}));
  ASSERT_TRUE(program.Wait_For_Output("downloading symbol   IBM"));
  program.Signal(SIGINT);
  EXPECT_EQ(program.Wait(), 130);
  EXPECT_EQ(program.Err(), "Interrupted.\n");
  EXPECT_THAT(program.Out(), Not(HasSubstr("MSFT")));
  EXPECT_THAT(output.Names(), IsEmpty());
}

}  // namespace
}  // namespace hq
