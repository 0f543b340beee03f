// The built program, run from cmd.exe.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include "built_places.h"
#include "support/child_program.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::ChildProgram;
using test::TempFolder;
using testing::HasSubstr;
using testing::StartsWith;

// A batch file, as the way round the two kinds of quotation marks.
ChildProgram In_Cmd(const TempFolder& folder, const std::string& lines) {
  folder.Write("run.bat", "@echo off\r\n" + lines);
  return ChildProgram({"cmd.exe", "/c", folder / "run.bat"});
}

std::string Program(const std::string& arguments) {
  return "\"" HQ_CLI_PROGRAM "\" " + arguments + "\r\n";
}

TEST(CommandLineProgram, GivesCmdItsExitCode) {
  const TempFolder folder;
  ChildProgram cmd = In_Cmd(folder, Program("--version") + "echo first %errorlevel%\r\n" +
                                        Program("--format nothing 2>nul") + "echo second %errorlevel%\r\n" +
                                        Program("--version >nul && echo and") +
                                        Program("--format nothing 2>nul || echo or") + "exit /b 7\r\n");
  EXPECT_EQ(cmd.Wait(), 7) << cmd.Err();
  EXPECT_THAT(cmd.Out(), StartsWith("history-quotes-cli "));
  EXPECT_THAT(cmd.Out(), HasSubstr("\nfirst 0\nsecond 2\nand\nor\n"));
}

TEST(CommandLineProgram, WritesIntoAFolderWithAccentsAndABackslashAtTheEnd) {
  if (GetACP() != 1252) GTEST_SKIP() << "the code page here is " << GetACP();
  const TempFolder folder;
  const std::string name = folder.Path() + "\\M\xE4rz \xFC";
  ASSERT_NE(CreateDirectoryA(name.c_str(), nullptr), 0);
  ChildProgram program({HQ_CLI_PROGRAM, "MSFT", "--output", name + "\\", "--program-folder", folder.Path(),
                        "--end-date", "03/14/03", "--days", "5"});
  EXPECT_EQ(program.Wait(), 0) << program.Err();
  EXPECT_THAT(program.Out(), HasSubstr("exporting to " + name + "\\031003-031403MSFT1D.txt\n"));
  WIN32_FIND_DATAA found;
  const HANDLE search = FindFirstFileA((name + "\\*.txt").c_str(), &found);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_STREQ(found.cFileName, "031003-031403MSFT1D.txt");
  EXPECT_EQ(FindNextFileA(search, &found), 0);
  FindClose(search);
}

}  // namespace
}  // namespace hq
