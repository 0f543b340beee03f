#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <windows.h>

#include "platform/machine.h"

namespace hq {
namespace {

using testing::EndsWith;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

std::string Upper(std::string text) {
  CharUpperBuffA(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

TEST(LookAtMachine, TellsOfTheProgramFile) {
  const MachineFacts facts = Look_At_Machine();
  EXPECT_THAT(facts.ExePath, EndsWith("\\platform_tests.exe"));
  EXPECT_GT(facts.ExeBytes.value_or(0), 10'000U);
  EXPECT_FALSE(facts.ExeStamp.empty());
  EXPECT_TRUE(facts.PreviousInstance.has_value());
}

TEST(LookAtMachine, TellsOfTheSystem) {
  const MachineFacts facts = Look_At_Machine();
  EXPECT_THAT(facts.SystemVersion, StartsWith("Windows "));
  EXPECT_TRUE(facts.DebugKernel.has_value());
  EXPECT_TRUE(facts.MidEast.has_value());
  EXPECT_TRUE(facts.DoubleByte.has_value());
  EXPECT_THAT(facts.Language, SizeIs(testing::Ge(2U)));
  EXPECT_THAT(Upper(facts.SystemFolder), EndsWith(":\\WINDOWS"));
  std::string current(MAX_PATH, '\0');
  current.resize(GetCurrentDirectoryA(MAX_PATH, current.data()));
  EXPECT_EQ(facts.CurrentFolder, current);
  EXPECT_FALSE(facts.MachineName.empty());
  EXPECT_FALSE(facts.UserName.empty());
}

TEST(LookAtMachine, TellsOfMemoryAndProcessors) {
  const MachineFacts facts = Look_At_Machine();
  ASSERT_TRUE(facts.PhysicalBytes && facts.AvailablePhysicalBytes);
  EXPECT_GT(*facts.PhysicalBytes, 64U << 20U);
  EXPECT_LT(*facts.AvailablePhysicalBytes, *facts.PhysicalBytes);
  ASSERT_TRUE(facts.VirtualBytes && facts.AvailableVirtualBytes);
  EXPECT_LE(*facts.AvailableVirtualBytes, *facts.VirtualBytes);
  EXPECT_GE(facts.Processors.value_or(0), 1);
  EXPECT_FALSE(facts.Processor.empty());
}

TEST(LookAtMachine, ListsTheLibrariesAndNotTheProgram) {
  const MachineFacts facts = Look_At_Machine();
  const auto of_file = [&](const std::string& name) {
    return std::find_if(facts.Components.begin(), facts.Components.end(),
                        [&](const auto& component) { return Upper(component.Path).ends_with("\\" + name); });
  };
  EXPECT_EQ(of_file("PLATFORM_TESTS.EXE"), facts.Components.end());
  const auto kernel = of_file("KERNEL32.DLL");
  ASSERT_NE(kernel, facts.Components.end());
  EXPECT_TRUE(std::regex_match(kernel->FileVersion, std::regex(R"(\d+\.\d+\.\d+\.\d+)")))
      << kernel->FileVersion;
  EXPECT_THAT(kernel->Company, Not(testing::IsEmpty()));
  EXPECT_FALSE(kernel->Created.empty());
}

TEST(LookAtMachine, ListsTheDrivesWithTheirFreeSpace) {
  const MachineFacts facts = Look_At_Machine();
  const auto drive = std::find_if(facts.Drives.begin(), facts.Drives.end(),
                                  [](const auto& candidate) { return candidate.Name == "C:"; });
  ASSERT_NE(drive, facts.Drives.end());
  EXPECT_EQ(drive->Kind, MachineFacts::DriveKind::Fixed);
  EXPECT_GT(drive->FreeBytes.value_or(0), 0U);
}

TEST(LookAtMachine, SeesAnotherProcessOfTheSameFile) {
  const bool before = Look_At_Machine().PreviousInstance.value_or(true);
  if (before) GTEST_SKIP() << "these tests run more than once at the moment";
  std::string command = "\"" + Look_At_Machine().ExePath + "\" --gtest_filter=Wait.ForTheEndOfInput";
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  ASSERT_NE(CreatePipe(&read_end, &write_end, &inherited, 0), 0);
  SetHandleInformation(write_end, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOA start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = read_end;
  PROCESS_INFORMATION process{};
  ASSERT_NE(
      CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process),
      0);
  CloseHandle(read_end);
  EXPECT_TRUE(Look_At_Machine().PreviousInstance.value_or(false));
  CloseHandle(write_end);
  EXPECT_EQ(WaitForSingleObject(process.hProcess, 30'000), WAIT_OBJECT_0);
  CloseHandle(process.hProcess);
  CloseHandle(process.hThread);
  EXPECT_FALSE(Look_At_Machine().PreviousInstance.value_or(true));
}

// For the other process of the test above: lasts as long as its standard input.
TEST(Wait, ForTheEndOfInput) {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  if (GetFileType(input) != FILE_TYPE_PIPE) GTEST_SKIP() << "started by hand";
  char byte = 0;
  DWORD got = 0;
  EXPECT_EQ(ReadFile(input, &byte, 1, &got, nullptr), FALSE);
}

TEST(Loads, ArePercentages) {
  ASSERT_TRUE(Memory_Load_Percent());
  EXPECT_GE(*Memory_Load_Percent(), 0);
  EXPECT_LE(*Memory_Load_Percent(), 100);
  ASSERT_TRUE(Free_Resources_Percent());
  EXPECT_GE(*Free_Resources_Percent(), 50);
  EXPECT_LE(*Free_Resources_Percent(), 100);
}

}  // namespace
}  // namespace hq
