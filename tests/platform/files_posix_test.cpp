#include <algorithm>
#include <atomic>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "base/run_time_error.h"
#include "platform/files.h"
#include "support/file_size_limit.h"
#include "support/plain_user.h"
#include "support/raises.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

namespace fs = std::filesystem;

using test::As_Plain_User;
using test::Bytes_Of;
using test::Error_Number_Of;
using test::FileSizeLimit;
using test::Put_Bytes;
using test::TempFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(OpenForOutput, ShowsTheFileWhenItIsClosedAndNotBefore) {
  const TempFolder folder;
  SystemFiles files;
  const auto file = files.Open_For_Output(folder / "MSFT.txt");
  EXPECT_FALSE(files.Exists(folder / "MSFT.txt"));
  file->Write("Date,Time\r\n");
  file->Write("");
  file->Write(std::string_view("a\0b", 3));
  EXPECT_FALSE(files.Exists(folder / "MSFT.txt"));
  file->Close();
  EXPECT_EQ(Bytes_Of(folder / "MSFT.txt"), std::string("Date,Time\r\na\0b", 14));
  EXPECT_THAT(folder.Names(), ElementsAre("MSFT.txt"));
}

TEST(OpenForOutput, MakesAnEmptyFileWhenNothingIsWritten) {
  const TempFolder folder;
  SystemFiles files;
  files.Open_For_Output(folder / "empty")->Close();
  EXPECT_EQ(Bytes_Of(folder / "empty"), "");
}

TEST(OpenForOutput, LeavesNothingWithoutClose) {
  const TempFolder folder;
  SystemFiles files;
  {
    const auto file = files.Open_For_Output(folder / "MSFT.txt");
    file->Write(std::string(1000000, 'x'));
  }
  EXPECT_THAT(folder.Names(), IsEmpty());
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

TEST(OpenForOutput, WritesPiecesOfAnySizeInOrder) {
  const TempFolder folder;
  SystemFiles files;
  const auto file = files.Open_For_Output(folder / "large");
  std::string expected;
  const std::vector<size_t> sizes = {1,      262143, 1,      262144, 262145, 0,     5,
                                     700000, 3,      262140, 7,      100000, 200000};
  for (size_t i = 0; i < sizes.size(); ++i) {
    const std::string piece(sizes[i], static_cast<char>('a' + i));
    file->Write(piece);
    expected += piece;
  }
  file->Close();
  EXPECT_TRUE(Bytes_Of(folder / "large") == expected);
}

TEST(OpenForOutput, RaisesWhenTheFolderIsMissing) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "bytes");
  EXPECT_RAISES(files.Open_For_Output(folder / "missing/file"), PathNotFound);
  EXPECT_RAISES(files.Open_For_Output(folder / "missing/"), PathNotFound);
  EXPECT_RAISES(files.Open_For_Output(folder / "file/inner"), PathNotFound);
  EXPECT_RAISES(files.Open_For_Output(folder / "file/"), PathNotFound);
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(OpenForOutput, RaisesForAFolder) {
  const TempFolder folder;
  SystemFiles files;
  fs::create_directory(folder / "inner");
  fs::create_symlink("inner", folder / "link");
  EXPECT_RAISES(files.Open_For_Output(folder / "inner"), PathFileAccessError);
  EXPECT_RAISES(files.Open_For_Output(folder / "inner/"), PathFileAccessError);
  EXPECT_RAISES(files.Open_For_Output(folder / "link"), PathFileAccessError);
  EXPECT_RAISES(files.Open_For_Output("/"), PathFileAccessError);
  EXPECT_RAISES(files.Open_For_Output("."), PathFileAccessError);
  EXPECT_THAT(folder.Names(), ElementsAre("inner", "link"));
}

TEST(OpenForOutput, RaisesForNamesThatNoFileCanHave) {
  const TempFolder folder;
  SystemFiles files;
  EXPECT_RAISES(files.Open_For_Output(""), BadFileName);
  EXPECT_RAISES(files.Open_For_Output(folder / std::string(300, 'x')), BadFileName);
  EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST(OpenForOutput, ReplacesNoPipeOrDevice) {
  const TempFolder folder;
  SystemFiles files;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_RAISES(files.Open_For_Output(folder / "pipe"), PathFileAccessError);
  EXPECT_TRUE(fs::is_fifo(folder / "pipe"));
  EXPECT_THAT(folder.Names(), ElementsAre("pipe"));
}

TEST(OpenForOutput, NamesThePathInTheError) {
  const TempFolder folder;
  SystemFiles files;
  try {
    static_cast<void>(files.Open_For_Output(folder / "missing/MSFT.txt"));
    FAIL() << "opened in a missing folder";
  } catch (const RunTimeError& error) {
    EXPECT_THAT(error.Detail(), HasSubstr(folder / "missing/MSFT.txt"));
    EXPECT_EQ(error.Description(), "Path not found");
  }
}

TEST(OpenForOutput, RaisesWhenTheFolderIsNotWritable) {
  const TempFolder folder;
  ASSERT_EQ(chmod(folder.Path().c_str(), 0555), 0);
  const int number = As_Plain_User([&] {
    SystemFiles files;
    return Error_Number_Of([&] { static_cast<void>(files.Open_For_Output(folder / "file")); });
  });
  ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
  EXPECT_EQ(number, PermissionDenied);
}

TEST(OpenForOutput, RaisesWhenTheFileIsNotWritable) {
  const TempFolder folder;
  Put_Bytes(folder / "file", "earlier");
  ASSERT_EQ(chmod((folder / "file").c_str(), 0444), 0);
  ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
  const int number = As_Plain_User([&] {
    SystemFiles files;
    return Error_Number_Of([&] { static_cast<void>(files.Open_For_Output(folder / "file")); });
  });
  EXPECT_EQ(number, PermissionDenied);
  EXPECT_EQ(Bytes_Of(folder / "file"), "earlier");
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(OpenForOutput, RaisesWhenTheFolderCannotBeEntered) {
  const TempFolder folder;
  fs::create_directory(folder / "closed");
  ASSERT_EQ(chmod((folder / "closed").c_str(), 0), 0);
  ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
  const int number = As_Plain_User([&] {
    SystemFiles files;
    return Error_Number_Of([&] { static_cast<void>(files.Open_For_Output(folder / "closed/file")); });
  });
  ASSERT_EQ(chmod((folder / "closed").c_str(), 0755), 0);
  EXPECT_EQ(number, PermissionDenied);
}

TEST(OpenForOutput, KeepsALink) {
  const TempFolder folder;
  SystemFiles files;
  fs::create_directory(folder / "inner");
  Put_Bytes(folder / "inner/file", "earlier");
  fs::create_symlink("inner/file", folder / "link");
  fs::create_symlink("link", folder / "link to link");
  for (const std::string name : {"link", "link to link"}) {
    const auto file = files.Open_For_Output(folder / name);
    file->Write("through " + name);
    file->Close();
    EXPECT_TRUE(fs::is_symlink(folder / name));
    EXPECT_EQ(Bytes_Of(folder / "inner/file"), "through " + name);
  }
  EXPECT_FALSE(fs::is_symlink(folder / "inner/file"));
  EXPECT_THAT(folder.Names(), ElementsAre("inner", "link", "link to link"));
}

TEST(OpenForOutput, MakesTheFileThatALinkNamesInVain) {
  const TempFolder folder;
  SystemFiles files;
  fs::create_directory(folder / "inner");
  fs::create_symlink("inner/new", folder / "link");
  fs::create_symlink(folder / "nowhere/new", folder / "astray");
  const auto file = files.Open_For_Output(folder / "link");
  file->Write("bytes");
  file->Close();
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(Bytes_Of(folder / "inner/new"), "bytes");
  EXPECT_RAISES(files.Open_For_Output(folder / "astray"), PathNotFound);
}

TEST(OpenForOutput, RaisesForLinksThatNameEachOther) {
  const TempFolder folder;
  SystemFiles files;
  fs::create_symlink("two", folder / "one");
  fs::create_symlink("one", folder / "two");
  EXPECT_RAISES(files.Open_For_Output(folder / "one"), PathFileAccessError);
  EXPECT_THAT(folder.Names(), ElementsAre("one", "two"));
}

TEST(OpenForOutput, WritesIntoTheWorkingFolder) {
  const TempFolder folder;
  SystemFiles files;
  const fs::path before = fs::current_path();
  fs::current_path(folder.Path());
  const auto file = files.Open_For_Output("plain");
  file->Write("bytes");
  file->Close();
  fs::current_path(before);
  EXPECT_EQ(Bytes_Of(folder / "plain"), "bytes");
  EXPECT_THAT(folder.Names(), ElementsAre("plain"));
}

TEST(Write, RaisesDiskFullAndKeepsTheEarlierFile) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "MSFT.txt", "earlier");
  {
    const auto file = files.Open_For_Output(folder / "MSFT.txt");
    const FileSizeLimit limit(100000);
    ASSERT_TRUE(limit.Is_Set());
    EXPECT_RAISES(file->Write(std::string(300000, 'x')), DiskFull);
    // Nothing more is taken, and the reason stays.
    EXPECT_RAISES(file->Write("y"), DiskFull);
    EXPECT_RAISES(file->Close(), DiskFull);
    EXPECT_RAISES(file->Close(), DiskFull);
  }
  EXPECT_EQ(Bytes_Of(folder / "MSFT.txt"), "earlier");
  EXPECT_THAT(folder.Names(), ElementsAre("MSFT.txt"));
}

TEST(Write, CannotBeMadeGoodByRoomThatComesLater) {
  const TempFolder folder;
  SystemFiles files;
  {
    const auto file = files.Open_For_Output(folder / "MSFT.txt");
    {
      const FileSizeLimit limit(1000);
      EXPECT_RAISES(file->Write(std::string(300000, 'x')), DiskFull);
    }
    EXPECT_RAISES(file->Close(), DiskFull);
  }
  EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST(Close, RaisesDiskFullWhenTheLastBytesFindNoRoom) {
  const TempFolder folder;
  SystemFiles files;
  {
    const auto file = files.Open_For_Output(folder / "MSFT.txt");
    file->Write(std::string(5000, 'x'));
    const FileSizeLimit limit(1000);
    EXPECT_RAISES(file->Close(), DiskFull);
  }
  EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST(Close, RaisesWhenTheFolderHasGone) {
  const TempFolder folder;
  SystemFiles files;
  fs::create_directory(folder / "inner");
  {
    const auto file = files.Open_For_Output(folder / "inner/MSFT.txt");
    file->Write("bytes");
    fs::remove_all(folder / "inner");
    EXPECT_RAISES(file->Close(), PathNotFound);
  }
  EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST(Close, RaisesWhenAFolderHasTakenThePlace) {
  const TempFolder folder;
  SystemFiles files;
  {
    const auto file = files.Open_For_Output(folder / "MSFT.txt");
    file->Write("bytes");
    fs::create_directory(folder / "MSFT.txt");
    EXPECT_RAISES(file->Close(), PathFileAccessError);
  }
  EXPECT_TRUE(fs::is_directory(folder / "MSFT.txt"));
  EXPECT_THAT(folder.Names(), ElementsAre("MSFT.txt"));
}

TEST(Close, EndsTheFile) {
  const TempFolder folder;
  SystemFiles files;
  const auto file = files.Open_For_Output(folder / "file");
  file->Write("bytes");
  file->Close();
  EXPECT_RAISES(file->Write("more"), BadFileName);
  EXPECT_RAISES(file->Close(), BadFileName);
  EXPECT_EQ(Bytes_Of(folder / "file"), "bytes");
}

TEST(Close, OfTheLastWriterWins) {
  const TempFolder folder;
  SystemFiles files;
  const auto one = files.Open_For_Output(folder / "file");
  const auto two = files.Open_For_Output(folder / "file");
  one->Write("one ");
  two->Write("two ");
  one->Write("one");
  two->Close();
  EXPECT_EQ(Bytes_Of(folder / "file"), "two ");
  one->Close();
  EXPECT_EQ(Bytes_Of(folder / "file"), "one one");
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(Close, ShowsWholeFilesOnlyToAReaderBeside) {
  const TempFolder folder;
  const std::string path = folder / "file";
  constexpr size_t Bytes = 300000;
  Put_Bytes(path, std::string(Bytes, '0'));
  std::atomic<int> writers = 2;
  std::vector<std::thread> threads;
  for (const char c : {'1', '2'}) {
    threads.emplace_back([&, c] {
      SystemFiles files;
      for (int i = 0; i < 15; ++i) {
        const auto file = files.Open_For_Output(path);
        for (size_t piece = 0; piece < 3; ++piece) file->Write(std::string(Bytes / 3, c));
        file->Close();
      }
      --writers;
    });
  }
  SystemFiles files;
  bool whole = true;
  do {
    const std::string seen = files.Read(path);
    whole = whole && seen.size() == Bytes && seen.find_first_not_of(seen[0]) == std::string::npos;
  } while (writers > 0);
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(whole);
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(Delete, TakesALinkAndNotWhatItNames) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "bytes");
  std::filesystem::create_symlink(folder / "file", folder / "link");
  files.Delete(folder / "link");
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(Exists, LooksWhereALinkLeads) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "");
  fs::create_symlink(folder / "file", folder / "link");
  fs::create_symlink(folder / "nowhere", folder / "dangling");
  EXPECT_TRUE(files.Exists(folder / "link"));
  EXPECT_FALSE(files.Exists(folder / "dangling"));
}

TEST(DirectorySearch, FollowsTheWildcards) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "MSFT.txt", "");
  Put_Bytes(folder / "a[1].b", "");
  std::filesystem::create_directory(folder / "quotes");
  const std::vector<std::pair<std::string, bool>> table = {
      {"MSFT.txt", true}, {"MSFT", false},     {"*", true},           {"?", false},
      {"*.txt", true},    {"*.TXT", false},    {"MSFT.*", true},      {"M*t", true},
      {"M*F*.*x*", true}, {"M*F*.*y*", false}, {"????.txt", true},    {"?????.txt", false},
      {"???.txt", false}, {"MSFT.txt*", true}, {"*MSFT.txt", true},   {"**", true},
      {"quotes", true},   {"quot*", true},     {"q?otes", true},      {"quotes/*", false},
      {"a[1].b", true},   {"a[1].?", true},    {"a1.?", false},       {"*[1]*", true},
      {"*.b*c", false},   {"no/*", false},     {"*/MSFT.txt", false}, {"MSFT.txt/*", false},
      {"*t?", false},     {"*tx?", true},
  };
  for (const auto& [text, found] : table)
    EXPECT_EQ(Directory_Search_Finds(files, folder / text), found) << text;
}

TEST(DirectorySearch, FindsANameThatEndsInABlank) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "ends in a blank ", "");
  EXPECT_TRUE(Directory_Search_Finds(files, folder / "ends in a blank "));
}

}  // namespace
}  // namespace hq
