#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/mail.h"
#include "support/environment.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;
using test::EnvironmentVariable;
using testing::ElementsAre;
using testing::HasSubstr;

bool Wait_For_File(const std::string& path) {
  const auto end = steady_clock::now() + std::chrono::seconds(30);
  while (!fs::exists(path)) {
    if (steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// A desktop with mail programs that write down what they are started with.
class MailTest : public testing::Test {
 protected:
  // The program notes its arguments, one in each line that begins with "[" and ends with "]", then does what
  // more says.
  void Put_Program(const std::string& name, const std::string& more = "") const {
    const std::string record = folder_ / (name + ".record");
    folder_.Write(name, "#!/bin/sh\nfor a in \"$@\"; do printf '[%s]\\n' \"$a\"; done > '" + record +
                            ".part'\n" + more + "\n/bin/mv '" + record + ".part' '" + record + "'\n");
    fs::permissions(folder_ / name, fs::perms::owner_all);
  }
  [[nodiscard]] std::string Record_Of(const std::string& name) const {
    const std::string record = folder_ / (name + ".record");
    return Wait_For_File(record) ? test::Bytes_Of(record) : "<none>";
  }

  static Mail A_Mail() {
    Mail mail;
    mail.Recipients = {"support@example.com"};
    mail.Subject = "A subject";
    mail.Body = "Line 1\nLine 2";
    return mail;
  }

  test::TempFolder folder_;
  EnvironmentVariable path_{"PATH", folder_.Path()};
  EnvironmentVariable display_{"DISPLAY", ":7"};
  EnvironmentVariable wayland_{"WAYLAND_DISPLAY", std::nullopt};
  SystemMail mail_;
};

TEST_F(MailTest, IsHandedToTheDesktopsMailProgram) {
  Put_Program("xdg-email");
  Put_Program("xdg-open");
  folder_.Write("error.log", "log");
  Mail mail = A_Mail();
  mail.Recipients.emplace_back("second@example.com");
  mail.Attachment = folder_ / "error.log";
  mail.BodyWithoutAttachment = "Without";
  EXPECT_EQ(mail_.Send(mail), "");
  EXPECT_EQ(Record_Of("xdg-email"),
            "[--utf8]\n[--subject]\n[A subject]\n[--body]\n[Line 1\nLine 2]\n[--attach]\n[" +
                mail.Attachment + "]\n[support@example.com]\n[second@example.com]\n");
  EXPECT_FALSE(fs::exists(folder_ / "xdg-open.record"));
}

TEST_F(MailTest, GivesNoOptionWithoutAValue) {
  Put_Program("xdg-email");
  Mail mail;
  mail.Recipients = {"support@example.com"};
  EXPECT_EQ(mail_.Send(mail), "");
  EXPECT_EQ(Record_Of("xdg-email"), "[--utf8]\n[support@example.com]\n");
}

TEST_F(MailTest, GoesThroughNoShell) {
  Put_Program("xdg-email");
  Mail mail = A_Mail();
  const std::string trick = "$(touch " + (folder_ / "touched") + ") `touch x` '\"; *";
  mail.Subject = trick;
  mail.Body = trick;
  mail.Recipients = {trick + "@example.com"};
  EXPECT_EQ(mail_.Send(mail), "");
  EXPECT_EQ(Record_Of("xdg-email"), "[--utf8]\n[--subject]\n[" + trick + "]\n[--body]\n[" + trick + "]\n[" +
                                        trick + "@example.com]\n");
  EXPECT_FALSE(fs::exists(folder_ / "touched"));
}

TEST_F(MailTest, TakesNoAddressForAnOption) {
  Put_Program("xdg-email");
  Mail mail = A_Mail();
  mail.Subject.clear();
  mail.Body.clear();
  mail.Recipients = {"--attach", "-x@example.com", "b@example.com"};
  EXPECT_EQ(mail_.Send(mail), "");
  EXPECT_EQ(Record_Of("xdg-email"), "[--utf8]\n[mailto:--attach,-x@example.com,b@example.com]\n");
}

TEST_F(MailTest, LetsNoAddressAndNoSubjectAddALine) {
  Put_Program("xdg-email");
  Mail mail = A_Mail();
  mail.Body.clear();
  mail.Subject = "A\r\nBcc: x@example.com";
  mail.Recipients = {"a@example.com\nBcc: y@example.com", " \r\n ", "mailto:b@example.com?bcc=z@example.com"};
  EXPECT_EQ(mail_.Send(mail), "");
  EXPECT_EQ(Record_Of("xdg-email"),
            "[--utf8]\n[--subject]\n[ABcc: x@example.com]\n"
            "[mailto:a@example.comBcc%3A%20y@example.com,"
            "mailto%3Ab@example.com%3Fbcc%3Dz@example.com]\n");
}

TEST_F(MailTest, CutsABodyThatNoArgumentCanHold) {
  for (const char* program : {"xdg-open", "xdg-email"}) {
    Put_Program(program);
    Mail mail = A_Mail();
    mail.Subject = std::string(100000, '?');
    mail.Body = std::string(1000000, '\n') + "end";
    for (int i = 0; i < 1000; ++i) mail.Recipients.push_back(std::string(100, 'x') + "@example.com");
    EXPECT_EQ(mail_.Send(mail), "") << program;
    EXPECT_THAT(Record_Of(program), HasSubstr("left")) << program;
  }
}

TEST_F(MailTest, StandsNulsInItsTexts) {
  Put_Program("xdg-email");
  Mail mail;
  mail.Recipients = {std::string("a\0b@example.com", 15)};
  mail.Subject = std::string("s\0t", 3);
  mail.Body = std::string("c\0d", 3);
  EXPECT_EQ(mail_.Send(mail), "");
  EXPECT_EQ(Record_Of("xdg-email"), "[--utf8]\n[--subject]\n[st]\n[--body]\n[cd]\n[ab@example.com]\n");
}

TEST_F(MailTest, GivesTheAttachmentsWholePath) {
  Put_Program("xdg-email");
  folder_.Write("error.log", "log");
  const fs::path before = fs::current_path();
  fs::current_path(folder_.Path());
  Mail mail = A_Mail();
  mail.Attachment = "error.log";
  const std::string reason = mail_.Send(mail);
  const std::string here = fs::current_path().string();
  fs::current_path(before);
  EXPECT_EQ(reason, "");
  EXPECT_THAT(Record_Of("xdg-email"), HasSubstr("[" + here + "/error.log]"));
}

TEST_F(MailTest, IsNotSentWithoutTheFileToAttach) {
  Put_Program("xdg-email");
  Mail mail = A_Mail();
  mail.Attachment = folder_ / "none.log";
  EXPECT_EQ(mail_.Send(mail), mail.Attachment + ": No such file or directory");
  mail.Attachment = folder_.Path();
  EXPECT_EQ(mail_.Send(mail), folder_.Path() + " is no file that can be attached.");
  mail.Attachment = std::string("a\0b", 3);
  EXPECT_EQ(mail_.Send(mail), "Invalid argument");
  EXPECT_FALSE(fs::exists(folder_ / "xdg-email.record"));
}

TEST_F(MailTest, OpensAMailtoAddressWithoutTheMailProgram) {
  Put_Program("xdg-open");
  folder_.Write("error.log", "log");
  Mail mail = A_Mail();
  mail.Attachment = folder_ / "error.log";
  mail.BodyWithoutAttachment = "The log lies there.";
  EXPECT_EQ(mail_.Send(mail), "");
  EXPECT_EQ(Record_Of("xdg-open"),
            "[mailto:support@example.com?subject=A%20subject&body=The%20log%20lies%20there.]\n");
}

TEST_F(MailTest, KeepsItsBodyInAMailtoAddressWhenNothingIsAttached) {
  Put_Program("xdg-open");
  Mail mail = A_Mail();
  mail.BodyWithoutAttachment = "Not this.";
  EXPECT_EQ(mail_.Send(mail), "");
  EXPECT_EQ(Record_Of("xdg-open"),
            "[mailto:support@example.com?subject=A%20subject&body=Line%201%0D%0ALine%202]\n");
}

TEST_F(MailTest, NeedsAnAddress) {
  Put_Program("xdg-email");
  Mail mail = A_Mail();
  mail.Recipients = {"", " ", "\r\n"};
  EXPECT_EQ(mail_.Send(mail), "There is no address to send the mail to.");
  mail.Recipients.clear();
  EXPECT_EQ(mail_.Send(mail), "There is no address to send the mail to.");
}

TEST_F(MailTest, NeedsADesktop) {
  Put_Program("xdg-email");
  const EnvironmentVariable no_display("DISPLAY", std::nullopt);
  EXPECT_EQ(mail_.Send(A_Mail()), "There is no desktop to send mail from.");
  const EnvironmentVariable empty("DISPLAY", "");
  EXPECT_EQ(mail_.Send(A_Mail()), "There is no desktop to send mail from.");
  const EnvironmentVariable wayland("WAYLAND_DISPLAY", "wayland-0");
  EXPECT_EQ(mail_.Send(A_Mail()), "");
  EXPECT_THAT(Record_Of("xdg-email"), HasSubstr("[support@example.com]"));
}

TEST_F(MailTest, NeedsAProgram) {
  EXPECT_EQ(mail_.Send(A_Mail()), "Neither xdg-email nor xdg-open is installed to send mail with.");
  // A folder and a file that can't be run are no programs.
  fs::create_directory(folder_ / "xdg-email");
  folder_.Write("xdg-open", "#!/bin/sh\n");
  EXPECT_EQ(mail_.Send(A_Mail()), "Neither xdg-email nor xdg-open is installed to send mail with.");
}

TEST_F(MailTest, LooksInEveryFolderOfThePath) {
  Put_Program("xdg-email");
  const EnvironmentVariable path("PATH", "/nowhere::relative:" + folder_.Path() + ":");
  EXPECT_EQ(mail_.Send(A_Mail()), "");
  EXPECT_THAT(Record_Of("xdg-email"), HasSubstr("[support@example.com]"));
}

TEST_F(MailTest, TakesNoProgramFromTheCurrentFolder) {
  Put_Program("xdg-email");
  const fs::path before = fs::current_path();
  fs::current_path(folder_.Path());
  std::vector<std::string> reasons;
  for (const char* value : {".", "", ":", "./"}) {
    const EnvironmentVariable path("PATH", value);
    reasons.push_back(mail_.Send(A_Mail()));
  }
  fs::current_path(before);
  EXPECT_THAT(reasons, testing::Each(HasSubstr("Neither")));
}

TEST_F(MailTest, TellsWhyTheProgramCannotBeStarted) {
  folder_.Write("xdg-email", "#!/nowhere/interpreter\n");
  fs::permissions(folder_ / "xdg-email", fs::perms::owner_all);
  EXPECT_EQ(mail_.Send(A_Mail()), (folder_ / "xdg-email") + ": No such file or directory");
  folder_.Write("xdg-email", "not a program");
  EXPECT_EQ(mail_.Send(A_Mail()), (folder_ / "xdg-email") + ": Exec format error");
}

TEST_F(MailTest, DoesNotWaitForTheProgram) {
  Put_Program("xdg-email", "echo $$ > '" + (folder_ / "process.part") + "'\n/bin/mv '" +
                               (folder_ / "process.part") + "' '" + (folder_ / "process") +
                               "'\nexec /bin/sleep 60");
  const auto start = steady_clock::now();
  EXPECT_EQ(mail_.Send(A_Mail()), "");
  EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(20));
  ASSERT_TRUE(Wait_For_File(folder_ / "process"));
  const int process = std::stoi(test::Bytes_Of(folder_ / "process"));
  EXPECT_EQ(kill(process, 0), 0) << "the program has ended";
  // No child of this process, alive or dead, is left.
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  kill(process, SIGKILL);
}

TEST_F(MailTest, LeavesTheProgramNoFilesAndNoStreams) {
  Put_Program("xdg-email", "[ /proc/$$/fd/1 -ef /dev/null ] && : > '" + (folder_ / "silent") +
                               "'\n/bin/ls -l /proc/$$/fd > '" + (folder_ / "files") + "'");
  const int kept = open("/dev/zero", O_RDONLY);
  ASSERT_GE(kept, 3);
  EXPECT_EQ(mail_.Send(A_Mail()), "");
  ASSERT_NE(Record_Of("xdg-email"), "<none>");
  close(kept);
  const std::string files = test::Bytes_Of(folder_ / "files");
  EXPECT_THAT(files, HasSubstr(" 0 -> /dev/null\n"));
  EXPECT_TRUE(fs::exists(folder_ / "silent"));
  EXPECT_THAT(files, HasSubstr(" 2 -> /dev/null\n"));
  EXPECT_THAT(files, Not(HasSubstr("/dev/zero")));
  EXPECT_THAT(files, Not(HasSubstr("pipe:")));
}

TEST_F(MailTest, LeavesNoFileOpenHere) {
  Put_Program("xdg-email");
  const auto open_files = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = open_files();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(mail_.Send(A_Mail()), "");
  EXPECT_EQ(open_files(), before);
}

TEST_F(MailTest, WorksWhileTheProgramsOwnStreamsAreClosed) {
  Put_Program("xdg-email");
  const pid_t child = fork();
  if (child == 0) {
    for (const int stream : {0, 1, 2}) close(stream);
    _exit(SystemMail().Send(A_Mail()).empty() ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(Record_Of("xdg-email"), HasSubstr("[support@example.com]"));
}

TEST_F(MailTest, GivesTheProgramTheUsualSignals) {
  // By the shell itself: a program that it starts may have other signals.
  Put_Program("xdg-email",
              "while read -r l; do case $l in SigBlk*|SigIgn*) echo \"$l\";; esac; done < "
              "/proc/$$/status > '" +
                  (folder_ / "signals") + "'");
  const auto before = std::signal(SIGPIPE, SIG_IGN);
  sigset_t blocked;
  sigset_t mask_before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &mask_before);
  const std::string reason = mail_.Send(A_Mail());
  pthread_sigmask(SIG_SETMASK, &mask_before, nullptr);
  std::signal(SIGPIPE, before);
  EXPECT_EQ(reason, "");
  ASSERT_NE(Record_Of("xdg-email"), "<none>");
  const std::string signals = test::Bytes_Of(folder_ / "signals");
  EXPECT_THAT(signals, HasSubstr("SigBlk:\t0000000000000000"));
  EXPECT_THAT(signals, HasSubstr("SigIgn:\t0000000000000000"));
}

}  // namespace
}  // namespace hq
