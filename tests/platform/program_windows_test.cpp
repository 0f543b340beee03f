#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <windows.h>

#include "platform/files.h"
#include "platform/program.h"

namespace hq {
namespace {

TEST(ProgramFolder, HoldsTheRunningProgram) {
  const std::string folder = Program_Folder();
  SystemFiles files;
  EXPECT_TRUE(files.Exists(Join_Path(folder, "platform_tests.exe"))) << folder;
  EXPECT_FALSE(folder.ends_with('\\'));
}

TEST(SystemErrorBoxes, AreSuppressedAndOtherModesStay) {
  const UINT before = SetErrorMode(SEM_NOGPFAULTERRORBOX);
  Suppress_System_Error_Boxes();
  const UINT now = SetErrorMode(before);
  EXPECT_EQ(now & (SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX | SEM_NOGPFAULTERRORBOX),
            static_cast<UINT>(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX | SEM_NOGPFAULTERRORBOX));
}

TEST(ErrorTerminalWidth, IsNothingForAFile) {
  const HANDLE before = GetStdHandle(STD_ERROR_HANDLE);
  const HANDLE nothing = CreateFileA("NUL", GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  SetStdHandle(STD_ERROR_HANDLE, nothing);
  EXPECT_EQ(Error_Terminal_Width(), 0);
  SetStdHandle(STD_ERROR_HANDLE, before);
  CloseHandle(nothing);
}

}  // namespace
}  // namespace hq
