#include <chrono>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <windows.h>

#include "platform/mail.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using std::chrono::steady_clock;
using testing::HasSubstr;
using testing::Not;

// A mail interface that writes down what it is given, found before the system's. It is loaded once, whatever
// the number of tests; these are run with one that has BMAPISendMail and, in another program, with one that
// has not.
class MailTest : public testing::Test {
 protected:
  MailTest() {
    SetDllDirectoryA(HQ_MAPI_FOLDER);
    Set("MAPI_RECORD", folder_ / "mail.txt");
  }
  ~MailTest() override {
    SetDllDirectoryA(nullptr);
    Set("MAPI_REFUSES_AUTOMATION", "");
  }

  // For the library's environment as well as for ours; an empty value takes the variable away.
  static void Set(const char* name, const std::string& value) {
    _putenv_s(name, value.c_str());
    SetEnvironmentVariableA(name, value.empty() ? nullptr : value.c_str());
  }

  // What the mail interface was given; waits for it.
  [[nodiscard]] std::string Given() const {
    const auto end = steady_clock::now() + std::chrono::seconds(30);
    std::string text = test::Bytes_Of(folder_ / "mail.txt");
    while (text == "<none>" && steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      text = test::Bytes_Of(folder_ / "mail.txt");
    }
    return text;
  }

  test::TempFolder folder_;
  SystemMail mail_;
};

TEST_F(MailTest, GoesToTheMailInterfaceWithItsAttachment) {
  folder_.Write("error.log", "text");
  EXPECT_EQ(mail_.Send({{"anna@x.example", " Bernd <b@y.example> "},
                        "Remote Error Report From anna",
                        "Line 1\r\nLine 2\r\n",
                        folder_ / "error.log",
                        "no attachment"}),
            "");
  EXPECT_EQ(Given(), HQ_MAPI_CALL
                         " session 0 window 0 flags 9 reserved 0\n"
                         "subject Remote Error Report From anna\n"
                         "to 1 anna@x.example SMTP:anna@x.example\n"
                         "to 1 Bernd <b@y.example> SMTP:Bernd <b@y.example>\n"
                         "file -1 " +
                         folder_ / "error.log" + "\nbody Line 1\r\nLine 2\r\n");
}

TEST_F(MailTest, GoesByTheOtherCallWhereTheFirstIsNotSupported) {
  Set("MAPI_REFUSES_AUTOMATION", "1");
  folder_.Write("error.log", "text");
  EXPECT_EQ(mail_.Send({{"a@x.example"}, "S", "B", folder_ / "error.log", {}}), "");
  EXPECT_EQ(Given(),
            "MAPISendMail session 0 window 0 flags 9 reserved 0\n"
            "subject S\n"
            "to 1 a@x.example SMTP:a@x.example\n"
            "file -1 " +
                folder_ / "error.log" + "\nbody B");
}

TEST_F(MailTest, KeepsTheBytesOfTheCodePage) {
  EXPECT_EQ(mail_.Send({{"a@x.example"}, "\xC4rger", "\xFC\x80 odd", {}, {}}), "");
  const std::string given = Given();
  EXPECT_THAT(given, HasSubstr("\nsubject \xC4rger\n"));
  EXPECT_TRUE(given.ends_with("\nbody \xFC\x80 odd")) << given;
}

TEST_F(MailTest, GoesWithoutAFileWhenNoneIsNamed) {
  EXPECT_EQ(mail_.Send({{"a@x.example"}, "S", "B", {}, {}}), "");
  const std::string given = Given();
  EXPECT_THAT(given, Not(HasSubstr("\nfile ")));
  EXPECT_TRUE(given.ends_with("\nbody B")) << given;
}

TEST_F(MailTest, LetsNoSubjectAndNoAddressAddALine) {
  EXPECT_EQ(mail_.Send({{"a@x.example\r\nBcc: c@z"}, "S\r\nX: 1", "B", {}, {}}), "");
  EXPECT_THAT(Given(), HasSubstr("\nsubject SX: 1\nto 1 a@x.exampleBcc: c@z SMTP:a@x.exampleBcc: c@z\n"));
}

TEST_F(MailTest, IsCutWhenItIsVeryLong) {
  EXPECT_EQ(mail_.Send({{"a@x.example"}, "S", std::string(40'000, 'b'), {}, {}}), "");
  const std::string given = Given();
  EXPECT_LT(given.size(), 31'000U);
  EXPECT_THAT(given, HasSubstr(" more bytes are left out]"));
}

TEST_F(MailTest, IsRefusedWithoutAnAddressAndWithoutItsFile) {
  EXPECT_EQ(mail_.Send({{}, "S", "B", {}, {}}), "There is no address to send the mail to.");
  EXPECT_EQ(mail_.Send({{" ", ""}, "S", "B", {}, {}}), "There is no address to send the mail to.");
  EXPECT_THAT(mail_.Send({{"a@x.example"}, "S", "B", folder_ / "missing.log", {}}),
              HasSubstr("missing.log: "));
  EXPECT_THAT(mail_.Send({{"a@x.example"}, "S", "B", folder_.Path(), {}}),
              HasSubstr("is no file that can be attached."));
  EXPECT_TRUE(folder_.Names().empty());
}

}  // namespace
}  // namespace hq
