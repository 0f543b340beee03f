#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <windows.h>

#include "base/run_time_error.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "support/environment.h"
#include "support/raises.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

namespace fs = std::filesystem;

using test::Bytes_Of;
using test::Put_Bytes;
using test::TempFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Keeps a file open, as another program would.
class HeldFile {
 public:
  HeldFile(const std::string& path, DWORD share)
      : file_(CreateFileA(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr)) {}
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;
  ~HeldFile() { CloseHandle(file_); }
  [[nodiscard]] bool Is_Held() const { return file_ != INVALID_HANDLE_VALUE; }

 private:
  HANDLE file_;
};

void Write_Whole(const std::string& path, std::string_view bytes) {
  SystemFiles files;
  const auto file = files.Open_For_Output(path);
  file->Write(bytes);
  file->Close();
}

TEST(OpenForOutput, ShowsTheFileWhenItIsClosedAndNotBefore) {
  const TempFolder folder;
  SystemFiles files;
  const auto file = files.Open_For_Output(folder / "MSFT.txt");
  file->Write("Date,Time\r\n");
  file->Write("");
  file->Write(std::string_view("a\0b", 3));
  EXPECT_FALSE(files.Exists(folder / "MSFT.txt"));
  file->Close();
  EXPECT_EQ(Bytes_Of(folder / "MSFT.txt"), std::string("Date,Time\r\na\0b", 14));
  EXPECT_THAT(folder.Names(), ElementsAre("MSFT.txt"));
}

TEST(OpenForOutput, LeavesTheEarlierFileWithoutClose) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "MSFT.txt", "earlier");
  {
    const auto file = files.Open_For_Output(folder / "MSFT.txt");
    file->Write(std::string(1000000, 'x'));
    EXPECT_EQ(Bytes_Of(folder / "MSFT.txt"), "earlier");
  }
  EXPECT_EQ(Bytes_Of(folder / "MSFT.txt"), "earlier");
  EXPECT_THAT(folder.Names(), ElementsAre("MSFT.txt"));
}

TEST(OpenForOutput, ReplacesAFileAndKeepsThatItIsHidden) {
  const TempFolder folder;
  Put_Bytes(folder / "file", "earlier and longer");
  ASSERT_NE(SetFileAttributesA((folder / "file").c_str(), FILE_ATTRIBUTE_HIDDEN), 0);
  Write_Whole(folder / "file", "new");
  EXPECT_EQ(Bytes_Of(folder / "file"), "new");
  EXPECT_NE(GetFileAttributesA((folder / "file").c_str()) & FILE_ATTRIBUTE_HIDDEN, 0U);
}

TEST(OpenForOutput, WritesPiecesOfAnySizeInOrder) {
  const TempFolder folder;
  SystemFiles files;
  const auto file = files.Open_For_Output(folder / "large");
  std::string expected;
  const std::vector<size_t> sizes = {1, 262143, 1, 262144, 262145, 0, 5, 700000, 3, 262140, 7};
  for (size_t i = 0; i < sizes.size(); ++i) {
    const std::string piece(sizes[i], static_cast<char>('a' + i));
    file->Write(piece);
    expected += piece;
  }
  file->Close();
  EXPECT_TRUE(Bytes_Of(folder / "large") == expected);
  EXPECT_RAISES(file->Write("more"), BadFileName);
  EXPECT_RAISES(file->Close(), BadFileName);
}

TEST(OpenForOutput, TellsWhyItCannot) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "bytes");
  fs::create_directory(folder / "inner");
  EXPECT_RAISES(files.Open_For_Output(folder / "missing\\file"), PathNotFound);
  EXPECT_RAISES(files.Open_For_Output(folder / "file\\inner"), PathNotFound);
  EXPECT_RAISES(files.Open_For_Output(folder / "inner"), PathFileAccessError);
  EXPECT_RAISES(files.Open_For_Output("C:\\"), PathFileAccessError);
  EXPECT_RAISES(files.Open_For_Output("."), PathFileAccessError);
  EXPECT_RAISES(files.Open_For_Output(""), BadFileName);
  EXPECT_RAISES(files.Open_For_Output(folder / "a*b"), BadFileName);
  EXPECT_RAISES(files.Open_For_Output(folder / std::string(300, 'x')), BadFileName);
  EXPECT_THAT(folder.Names(), ElementsAre("file", "inner"));
}

TEST(OpenForOutput, ReplacesNoDevice) {
  SystemFiles files;
  EXPECT_RAISES(files.Open_For_Output("NUL"), PathFileAccessError);
}

TEST(OpenForOutput, SaysThatAPathIsTooLong) {
  const TempFolder folder;
  SystemFiles files;
  const std::string path = folder / ("inner\\" + std::string(200, 'x') + "\\" + std::string(200, 'y'));
  try {
    static_cast<void>(files.Open_For_Output(path));
    FAIL() << "opened";
  } catch (const RunTimeError& error) {
    EXPECT_EQ(error.Number(), BadFileName);
    EXPECT_THAT(error.Detail(), HasSubstr("longer than Windows takes"));
    EXPECT_THAT(error.Detail(), HasSubstr(path));
  }
}

TEST(OpenForOutput, RaisesForAFileThatIsReadOnly) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "earlier");
  ASSERT_NE(SetFileAttributesA((folder / "file").c_str(), FILE_ATTRIBUTE_READONLY), 0);
  EXPECT_RAISES(files.Open_For_Output(folder / "file"), PermissionDenied);
  ASSERT_NE(SetFileAttributesA((folder / "file").c_str(), FILE_ATTRIBUTE_NORMAL), 0);
  EXPECT_EQ(Bytes_Of(folder / "file"), "earlier");
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(OpenForOutput, RaisesForAFileThatAnotherProgramKeepsToItself) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "earlier");
  {
    const HeldFile held(folder / "file", 0);
    ASSERT_TRUE(held.Is_Held());
    EXPECT_RAISES(files.Open_For_Output(folder / "file"), PermissionDenied);
    EXPECT_RAISES(files.Read(folder / "file"), PermissionDenied);
    EXPECT_RAISES(files.Delete(folder / "file"), PermissionDenied);
    EXPECT_TRUE(files.Exists(folder / "file"));
  }
  EXPECT_EQ(Bytes_Of(folder / "file"), "earlier");
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(Close, RaisesWhenAnotherProgramHasOpenedTheFileMeanwhile) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "earlier");
  {
    const auto file = files.Open_For_Output(folder / "file");
    file->Write("new");
    const HeldFile held(folder / "file", FILE_SHARE_READ | FILE_SHARE_WRITE);
    ASSERT_TRUE(held.Is_Held());
    EXPECT_RAISES(file->Close(), PermissionDenied);
  }
  EXPECT_EQ(Bytes_Of(folder / "file"), "earlier");
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(Paths, AreOfTheSystemsCodePage) {
  if (GetACP() != 1252) GTEST_SKIP() << "the code page here is " << GetACP();
  const TempFolder folder;
  SystemFiles files;
  const std::string name = "K\xfcrze f\xfcr 5\x80.txt";
  const std::string path = folder.Path() + "\\" + name;
  Write_Whole(path, "bytes");
  EXPECT_TRUE(files.Exists(path));
  EXPECT_EQ(files.Read(path), "bytes");
  EXPECT_TRUE(Directory_Search_Finds(files, folder.Path() + "\\K\xfcrze*"));
  EXPECT_TRUE(fs::exists(fs::path(folder.Path()) / L"K\u00fcrze f\u00fcr 5\u20ac.txt"));
  EXPECT_EQ(System_Path(name), fs::path(L"K\u00fcrze f\u00fcr 5\u20ac.txt"));
  EXPECT_EQ(System_Path(""), fs::path());
  files.Delete(path);
  EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST(Exists, TakesDrivesAndBothSeparators) {
  const TempFolder folder;
  SystemFiles files;
  fs::create_directory(folder / "inner");
  EXPECT_TRUE(files.Exists("C:"));
  EXPECT_TRUE(files.Exists("c:\\"));
  EXPECT_TRUE(files.Exists(folder / "inner\\"));
  EXPECT_TRUE(files.Exists(folder / "INNER/"));
  EXPECT_FALSE(files.Exists("no such drive:\\"));
}

TEST(DirectorySearch, FollowsTheWildcardsOfTheSystem) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "MSFT.txt", "");
  fs::create_directory(folder / "quotes");
  const std::vector<std::pair<std::string, bool>> table = {
      {"MSFT.txt", true},
      {"msft.TXT", true},
      {"MSFT", false},
      {"*", true},
      {"*.*", true},
      {"*.txt", true},
      {"*.TXT", true},
      {"MSFT.*", true},
      {"M*t", true},
      {"????.txt", true},
      {"???.txt", false},
      {"quotes", true},
      {"quot*", true},
      {"q?otes", true},
      {"no\\*", false},
      {"*\\MSFT.txt", false},
      {"*.b*c", false},
      {"MSFT.txt*", true},
      {"MSFT.txt\\*", false},
      // An empty folder holds itself.
      {"quotes\\*", true},
  };
  for (const auto& [text, found] : table)
    EXPECT_EQ(Directory_Search_Finds(files, folder / text), found) << text;
}

// How many entries say who may do what with a file, and whether the folder's rules are kept from it.
std::pair<int, bool> Access_Of(const std::string& path) {
  DWORD size = 0;
  GetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
  std::vector<unsigned char> descriptor(size);
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  ACL* list = nullptr;
  if (size == 0 ||
      GetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), size, &size) == 0 ||
      GetSecurityDescriptorControl(descriptor.data(), &control, &revision) == 0 ||
      GetSecurityDescriptorDacl(descriptor.data(), &present, &list, &defaulted) == 0 || list == nullptr) {
    return {-1, false};
  }
  return {list->AceCount, (control & SE_DACL_PROTECTED) != 0};
}

TEST(OpenForPrivateOutput, MakesANewFileForTheUserTheAdministratorsAndTheSystem) {
  if (test::Under_Wine()) GTEST_SKIP() << "Wine keeps the modes of the system below";
  const TempFolder folder;
  SystemFiles files;
  files.Open_For_Private_Output(folder / "keys")->Close();
  EXPECT_EQ(Access_Of(folder / "keys"), std::pair(3, true));
}

TEST(Read, SaysWhatHasAFilesPlace) {
  SystemFiles files;
  const TempFolder folder;
  EXPECT_RAISES(files.Read(folder.Path()), PathFileAccessError);
  EXPECT_RAISES(files.Read("NUL"), PathFileAccessError);
}

TEST(LeftOverParts, GoWithTheNextWriteUnlessSomebodyHasThemOpen) {
  const TempFolder folder;
  Put_Bytes(folder / ".history-quotes-1-1.part", "left over");
  Put_Bytes(folder / ".history-quotes-1-2.part", "in use");
  {
    const HeldFile held(folder / ".history-quotes-1-2.part",
                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    ASSERT_TRUE(held.Is_Held());
    Write_Whole(folder / "file", "bytes");
    EXPECT_THAT(folder.Names(), ElementsAre(".history-quotes-1-2.part", "file"));
  }
  Write_Whole(folder / "file", "bytes");
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(LeftOverParts, AreNotThoseOfTheSameProcess) {
  const TempFolder folder;
  SystemFiles files;
  const auto one = files.Open_For_Output(folder / "one");
  Write_Whole(folder / "two", "bytes");
  one->Write("bytes");
  one->Close();
  EXPECT_THAT(folder.Names(), ElementsAre("one", "two"));
}

}  // namespace
}  // namespace hq
