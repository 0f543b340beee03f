#include "platform/mail_texts.h"

#include <gtest/gtest.h>
#include <string>

namespace hq {
namespace {

TEST(WithoutControls, IsOneLine) {
  EXPECT_EQ(Without_Controls("a@x\r\nBcc: b@y\t\x7f"), "a@xBcc: b@y");
  EXPECT_EQ(Without_Controls(std::string_view("a\0b", 3)), "ab");
  EXPECT_EQ(Without_Controls("J\xC3\xBCrgen"), "J\xC3\xBCrgen");
  EXPECT_EQ(Without_Controls(""), "");
}

TEST(CutText, LeavesAShortText) {
  EXPECT_EQ(Cut_Body("", 0), "");
  EXPECT_EQ(Cut_Body("12345", 5), "12345");
}

TEST(CutText, TellsWhatIsMissing) {
  const std::string text(1000, 'x');
  const std::string cut = Cut_Body(text, 100);
  EXPECT_LE(cut.size(), 100U);
  const size_t kept = cut.find('\n');
  EXPECT_EQ(cut.substr(0, kept), std::string(kept, 'x'));
  EXPECT_EQ(cut.substr(kept), "\n[" + std::to_string(1000 - kept) + " more bytes are left out]\n");
}

TEST(CutText, CutsNoCharacterInTwo) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "\xE2\x82\xAC";
  for (size_t most = 40; most < 60; ++most) {
    const std::string cut = Cut_Body(text, most);
    EXPECT_EQ(cut.find('\n') % 3, 0U) << most;
    EXPECT_LE(cut.size(), most);
  }
}

TEST(CutText, StandsALimitThatHoldsNotEvenTheNote) {
  EXPECT_EQ(Cut_Body("12345", 3), "\n[5 more bytes are left out]\n");
}

TEST(CutText, StandsBytesThatAreNoCharacters) {
  const std::string text(1000, '\x80');
  EXPECT_EQ(Cut_Body(text, 100), "\n[1000 more bytes are left out]\n");
}

TEST(MailtoAddress, HoldsAddressesSubjectAndBody) {
  EXPECT_EQ(Mailto_Address({"a@x.org", "b@y.org"}, "The subject", "Line 1\nLine 2"),
            "mailto:a@x.org,b@y.org?subject=The%20subject&body=Line%201%0D%0ALine%202");
  EXPECT_EQ(Mailto_Address({"a@x.org"}, "", ""), "mailto:a@x.org");
  EXPECT_EQ(Mailto_Address({"a@x.org"}, "", "B"), "mailto:a@x.org?body=B");
  EXPECT_EQ(Mailto_Address({}, "S", ""), "mailto:?subject=S");
}

TEST(MailtoAddress, LetsNoAddressAddAHeader) {
  EXPECT_EQ(Mailto_Address({"a@x?bcc=b@y&cc=c@z,d@w#"}, "", ""),
            "mailto:a@x%3Fbcc%3Db@y%26cc%3Dc@z%2Cd@w%23");
}

TEST(MailtoAddress, KeepsReturnsThatAreThere) {
  EXPECT_EQ(Mailto_Address({}, "", "a\r\nb\n\nc\r"), "mailto:?body=a%0D%0Ab%0D%0A%0D%0Ac%0D");
}

}  // namespace
}  // namespace hq
