// The built program, run as a user would run it where there are signals and limits.

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/strings.h"
#include "built_places.h"
#include "support/child_program.h"
#include "support/socket_server.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::ChildProgram;
using test::Http_Answer;
using test::SocketConnection;
using test::SocketServer;
using test::TempFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::vector<std::string> Command(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), HQ_CLI_PROGRAM);
  return arguments;
}

// An answer of so many daily rows.
std::string Long_Answer(int rows) {
  std::string text;
  for (int i = 0; i < rows; ++i) text += "030313,0930,2,3,1.5,2.5," + std::to_string(i) + "\n";
  return text;
}

class Ending : public ::testing::TestWithParam<int> {};

TEST_P(Ending, EndsTheProgramAtOnceAndLeavesNoHalfFile) {
  const TempFolder output;
  const SocketServer server([](SocketConnection& connection) {
    static_cast<void>(connection.ReadRequest());
    connection.Send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n030313,0930,2,3");
    connection.WaitForEnd();
  });
  ChildProgram program(Command({"MSFT", "IBM", "--output", output.Path(), "--program-folder", output.Path(),
                                "--template", server.Address() + "/XXX/SSS?&Date=DDD"}));
  ASSERT_TRUE(program.Wait_For_Output("downloading symbol   IBM"));
  program.Signal(GetParam());
  EXPECT_EQ(program.Wait(), 130);
  EXPECT_EQ(program.Err(), "Interrupted.\n");
  EXPECT_THAT(program.Out(), Not(HasSubstr("MSFT")));
  EXPECT_THAT(output.Names(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Signals, Ending, ::testing::Values(SIGTERM, SIGHUP));

TEST(CommandLineProgram, WaitsForNoPipeInAFilesPlace) {
  const TempFolder folder;
  for (const char* name : {"FSCLIENT.INI", "user.cfg", "sources/service.json"}) {
    std::filesystem::create_directory(folder / "sources");
    ASSERT_EQ(mkfifo((folder / name).c_str(), 0600), 0);
  }
  ChildProgram saved(Command({"--saved", "--program-folder", folder.Path()}));
  EXPECT_EQ(saved.Wait(), 2);
  EXPECT_THAT(saved.Err(), HasSubstr("Unexpected error in initializing!"));
  ChildProgram sources(Command({"sources", "--program-folder", folder.Path()}));
  EXPECT_EQ(sources.Wait(), 0);
  EXPECT_THAT(sources.Out(), HasSubstr("service.json: /: it is a pipe, not a file."));
}

// Makes standard output one that takes nothing, whose reader never reads.
void Block_Output() {
  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) _exit(99);
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  const char block[4096] = {};
  while (write(ends[1], block, sizeof block) > 0) continue;
  fcntl(ends[1], F_SETFL, 0);
  dup2(ends[1], STDOUT_FILENO);
}

TEST(CommandLineProgram, EndsWhenAskedBeforeARunHasBegun) {
  const TempFolder folder;
  folder.Write("server.ini", "[Keys]\nalpha=secret\n");
  ASSERT_EQ(chmod((folder / "server.ini").c_str(), 0644), 0);
  ChildProgram program(Command({"sources", "--program-folder", folder.Path()}), Block_Output);
  // Told before the list, which nobody takes.
  ASSERT_TRUE(program.Wait_For_Error("can read the keys"));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait(), 130);
}

TEST(CommandLineProgram, ACrashLeavesARecordAndTheEndOfTheTrace) {
  for (const int signal : {SIGSEGV, SIGABRT, SIGFPE}) {
    const TempFolder home;
    home.Write("FSCLIENT.INI", "[Log File]\nCapture To Disk=1\n");
    std::promise<void> asked;
    const SocketServer server([&asked](SocketConnection& connection) {
      static_cast<void>(connection.ReadRequest());
      asked.set_value();
      connection.WaitForEnd();
    });
    ChildProgram program(Command({"MSFT", "--output", home.Path(), "--program-folder", home.Path(),
                                  "--template", server.Address() + "/XXX/SSS?&Date=DDD"}),
                         [] {
                           const rlimit no_core{0, 0};
                           setrlimit(RLIMIT_CORE, &no_core);
                         });
    ASSERT_TRUE(program.Wait_For_Output("downloading symbol   MSFT"));
    // The system gives a signal from outside to the main thread, but while that one begins another.
    ASSERT_EQ(asked.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
    program.Signal(signal);
    EXPECT_EQ(program.Wait(), -signal);
    const auto files = home.Files();
    EXPECT_THAT(files.at("error.log"), HasSubstr("Error Number- " + std::to_string(signal) + "\r\n"));
    EXPECT_THAT(files.at("error.log"), HasSubstr(" 1 : frmmain1.frm : Sub cmddownload_Click : \r\n"));
    EXPECT_THAT(files.at("trace.log"), HasSubstr("->frmmain1.frm : Sub cmddownload_Click : "));
  }
}

TEST(CommandLineProgram, ADiskThatFillsUpIsToldAndLeavesTheEarlierFile) {
  const TempFolder output;
  const std::string file = "031303-031303A1D.txt";
  output.Write(file, "earlier");
  const SocketServer server([](SocketConnection& connection) {
    const bool large = Contains(connection.ReadRequest(), "/A");
    connection.Send(Http_Answer(Long_Answer(large ? 20000 : 2)));
  });
  // Files may not grow beyond 100,000 bytes, which is told in the way of a full disk.
  ChildProgram program(Command({"A", "B", "--output", output.Path(), "--program-folder", output.Path(),
                                "--template", server.Address() + "/XXX/SSS?&Date=DDD"}),
                       [] {
                         signal(SIGXFSZ, SIG_IGN);
                         const rlimit limit = {100000, 100000};
                         setrlimit(RLIMIT_FSIZE, &limit);
                       });
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_THAT(program.Err(), HasSubstr("A: Disk full: " + (output / file)));
  EXPECT_EQ(output.Files().at(file), "earlier");
  EXPECT_THAT(output.Names(), ElementsAre(file, "031303-031303B1D.txt"));
}

TEST(CommandLineProgram, AFullFileSystemIsToldAndLeavesNoHalfFile) {
  const TempFolder output;
  if (mount("none", output.Path().c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "this user may not mount a small file system";
  }
  const SocketServer server([](SocketConnection& connection) {
    const bool large = Contains(connection.ReadRequest(), "/A");
    connection.Send(Http_Answer(Long_Answer(large ? 20000 : 2)));
  });
  ChildProgram program(Command({"A", "B", "--output", output.Path(), "--program-folder", output.Path(),
                                "--template", server.Address() + "/XXX/SSS?&Date=DDD"}));
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_THAT(program.Err(), HasSubstr("A: Disk full: "));
  EXPECT_THAT(output.Names(), ElementsAre("031303-031303B1D.txt"));
  EXPECT_EQ(umount(output.Path().c_str()), 0);
}

TEST(CommandLineProgram, ALogThatCannotBeWrittenDoesNotEndTheRunAndIsTold) {
  const TempFolder output;
  const TempFolder folder;
  ChildProgram program(Command({"MSFT", "--output", output.Path(), "--program-folder", folder.Path(),
                                "--end-date", "03/14/03"}),
                       [] { static_cast<void>(freopen("/dev/full", "w", stdout)); });
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_THAT(program.Err(), HasSubstr("Standard output could not be written.\n"));
  EXPECT_EQ(output.Names().size(), 1U);
}

void Become_Plain_User() {
  constexpr unsigned Nobody = 65534;
  if (geteuid() == 0 && (setgid(Nobody) != 0 || setuid(Nobody) != 0)) _exit(255);
}

TEST(CommandLineProgram, KeysThatTheUserMayNotReadAreKeptAndToldOf) {
  namespace fs = std::filesystem;
  const TempFolder folder;
  const std::string keys = "[Keys]\ntiingo=abc\n";
  folder.Write("server.ini", keys);
  fs::permissions(folder / "server.ini", fs::perms::none);
  fs::permissions(folder.Path(), fs::perms::all);
  for (std::vector<std::string> arguments : std::vector<std::vector<std::string>>{
           {"sources", "use", "simulated"}, {"MSFT", "--output", folder.Path()}}) {
    arguments.insert(arguments.end(), {"--program-folder", folder.Path()});
    ChildProgram program(Command(arguments), Become_Plain_User);
    EXPECT_EQ(program.Wait(), 2) << program.Out();
    EXPECT_THAT(program.Err(), HasSubstr("The settings can't be read: " + (folder / "server.ini") + ": "));
  }
  fs::permissions(folder / "server.ini", fs::perms::owner_read);
  EXPECT_THAT(folder.Files(), ElementsAre(testing::Pair("server.ini", keys)));
}

TEST(CommandLineProgram, AHangUpThatIsIgnoredStaysIgnored) {
  const TempFolder output;
  const SocketServer server([](SocketConnection& connection) {
    static_cast<void>(connection.ReadRequest());
    connection.WaitForEnd();
  });
  ChildProgram program(Command({"MSFT", "--output", output.Path(), "--program-folder", output.Path(),
                                "--template", server.Address() + "/XXX/SSS?&Date=DDD"}),
                       [] { signal(SIGHUP, SIG_IGN); });
  ASSERT_TRUE(program.Wait_For_Output("downloading symbol   MSFT"));
  program.Signal(SIGHUP);
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait(), 130);
}

TEST(CommandLineProgram, ARefusedThreadIsToldAndLogged) {
  const TempFolder home;
  home.Write("FSCLIENT.INI", "[Log File]\nWrite To Disk=1\n");
  // For the user that the program runs as.
  ASSERT_EQ(chmod(home.Path().c_str(), 0777), 0);
  ASSERT_EQ(chmod((home / "FSCLIENT.INI").c_str(), 0666), 0);
  ChildProgram program(Command({"MSFT", "--output", home.Path(), "--program-folder", home.Path(),
                                "--template", "http://127.0.0.1:1/XXX/SSS?&Date=DDD"}),
                       [] {
                         // The check for leaks needs a thread of its own.
                         setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
                         // The administrator may have any number of threads.
                         constexpr uid_t nobody = 65534;
                         if (geteuid() == 0 && (setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(99);
                         const rlimit none{0, 0};
                         setrlimit(RLIMIT_NPROC, &none);
                       });
  EXPECT_EQ(program.Wait(), 1) << program.Err();
  EXPECT_THAT(program.Err(), HasSubstr("no thread to watch for interrupts"));
  EXPECT_THAT(home.Files().at("error.log"), HasSubstr("no thread to watch for interrupts"));
}

}  // namespace
}  // namespace hq
