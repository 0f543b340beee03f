// The rules of the profile reader, asked of the system's own.

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>
#include <windows.h>

#include "support/profile_cases.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::ProfileCase;

// Where Wine is known to read otherwise than Windows is told to.
bool Differs_In_Wine(std::string_view name) {
  constexpr std::array Names = {"BlankFallback", "CommentIsNoKey", "QuotesDoNotCount", "UnclosedSection"};
  const bool wine = GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
  return wine && std::ranges::find(Names, name) != Names.end();
}

class SystemProfile : public testing::TestWithParam<ProfileCase> {};

TEST_P(SystemProfile, ReadsAsTheProgramsOwn) {
  const ProfileCase& rule = GetParam();
  const test::TempFolder folder;
  folder.Write("settings.ini", rule.Text);
  std::vector<char> room(rule.Longest + 1, 'x');
  const DWORD length = GetPrivateProfileStringA(
      std::string(rule.Section).c_str(), std::string(rule.Key).c_str(), std::string(rule.Fallback).c_str(),
      room.data(), static_cast<DWORD>(room.size()), (folder / "settings.ini").c_str());
  const std::string text(room.data(), length);
  if (text != rule.Expected && Differs_In_Wine(rule.Name)) {
    GTEST_SKIP() << "Wine reads \"" << text << "\" here";
  }
  EXPECT_EQ(text, rule.Expected);
}

INSTANTIATE_TEST_SUITE_P(Rules, SystemProfile, testing::ValuesIn(test::ProfileCases),
                         [](const auto& rule) { return std::string(rule.param.Name); });

}  // namespace
}  // namespace hq
