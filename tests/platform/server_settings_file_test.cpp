#include "platform/server_settings_file.h"

#include <gmock/gmock.h>
#include <stdexcept>

#include "base/run_time_error.h"
#include "support/fakes.h"
#include "support/utf16.h"

namespace hq {
namespace {

using test::MemoryFiles;
using test::Utf16;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* Path = "folder/server.ini";
constexpr const char* Keys = "; mine\n[Keys]\ntiingo=abc\n";

class ServerSettingsFileTest : public testing::Test {
 protected:
  // What saving a source raises, "" when nothing.
  static std::string Save(ServerSettingsFile& file, const ServerSettingsFile::Look& look = {}) {
    try {
      file.Save({{"Quotes", "Source", "live"}}, look);
    } catch (const SettingsError& error) {
      return error.what();
    }
    return {};
  }

  MemoryFiles Disk;
};

TEST_F(ServerSettingsFileTest, IsReadOnce) {
  Disk.Contents[Path] = Keys;
  const ServerSettingsFile file(Disk, Path);
  EXPECT_TRUE(file.Is_There());
  EXPECT_EQ(file.Text(), Keys);
  EXPECT_EQ(file.Text(), Keys);
  EXPECT_EQ(file.Fault(), "");
  EXPECT_EQ(Disk.Reads, 1);
}

TEST_F(ServerSettingsFileTest, AMissingFileIsNoFault) {
  ServerSettingsFile file(Disk, Path);
  EXPECT_FALSE(file.Is_There());
  EXPECT_EQ(file.Text(), "");
  EXPECT_EQ(file.Fault(), "");
  EXPECT_EQ(Save(file), "");
  EXPECT_EQ(Disk.Contents[Path], "[Quotes]\r\nSource=live\r\n");
  EXPECT_TRUE(file.Is_There());
}

TEST_F(ServerSettingsFileTest, NothingIsSavedOverWhatCantBeRead) {
  Disk.Contents[Path] = Keys;
  for (const int error : {PermissionDenied, DeviceIOError, PathFileAccessError, PathNotFound, TooManyFiles}) {
    Disk.ReadError = error;
    ServerSettingsFile file(Disk, Path);
    EXPECT_EQ(file.Fault(), "The settings can't be read: folder/server.ini.");
    EXPECT_EQ(file.Text(), "");
    EXPECT_TRUE(file.Is_There());
    EXPECT_THAT(Save(file), HasSubstr("can't be read"));
    EXPECT_EQ(Disk.Contents[Path], Keys);
    EXPECT_EQ(Disk.Opens, 0);
  }
}

TEST_F(ServerSettingsFileTest, NothingIsSavedOverWhatIsNoText) {
  Disk.Contents[Path] = std::string("[Keys]\ntiingo=\0abc\n", 19);
  ServerSettingsFile file(Disk, Path);
  EXPECT_EQ(file.Fault(),
            "The settings can't be read: folder/server.ini: it is no plain text, it holds NULs.");
  EXPECT_EQ(Save(file), file.Fault());
  EXPECT_EQ(Disk.Opens, 0);
}

TEST_F(ServerSettingsFileTest, AFileThatCantBeReadAnyMoreIsNotWrittenOver) {
  Disk.Contents[Path] = Keys;
  ServerSettingsFile file(Disk, Path);
  Disk.ReadError = DeviceIOError;
  EXPECT_THAT(Save(file), HasSubstr("can't be read"));
  EXPECT_EQ(Disk.Contents[Path], Keys);
  EXPECT_EQ(file.Text(), Keys) << "what was read holds";
}

TEST_F(ServerSettingsFileTest, WhatAnotherProgramHasSavedStays) {
  Disk.Contents[Path] = Keys;
  ServerSettingsFile file(Disk, Path);
  Disk.Contents[Path] = std::string(Keys) + "polygon=def\n";
  EXPECT_EQ(Save(file), "");
  EXPECT_EQ(Disk.Contents[Path], std::string(Keys) + "polygon=def\n\n[Quotes]\nSource=live\n");
  EXPECT_EQ(file.Text(), Disk.Contents[Path]);
}

TEST_F(ServerSettingsFileTest, AFileThatIsGoneComesBackWhole) {
  Disk.Contents[Path] = Keys;
  ServerSettingsFile file(Disk, Path);
  Disk.Contents.clear();
  EXPECT_EQ(Save(file), "");
  EXPECT_EQ(Disk.Contents[Path], std::string(Keys) + "\n[Quotes]\nSource=live\n");
}

TEST_F(ServerSettingsFileTest, TheWayOfWritingStays) {
  Disk.Contents[Path] = Utf16(Keys);
  ServerSettingsFile file(Disk, Path);
  EXPECT_EQ(file.Text(), Keys);
  EXPECT_EQ(Save(file), "");
  EXPECT_EQ(Disk.Contents[Path], Utf16(std::string(Keys) + "\n[Quotes]\nSource=live\n"));
}

TEST_F(ServerSettingsFileTest, NothingIsWrittenWhenNothingChanges) {
  Disk.Contents[Path] = Keys;
  ServerSettingsFile file(Disk, Path);
  file.Save({{"Keys", "tiingo", "abc"}, {"Quotes", "Source", ""}});
  EXPECT_EQ(Disk.Opens, 0);
  ServerSettingsFile missing(Disk, "folder/other.ini");
  missing.Save({{"Quotes", "Source", ""}});
  EXPECT_EQ(Disk.Opens, 0);
}

TEST_F(ServerSettingsFileTest, AWriteThatFailsChangesNothing) {
  Disk.Contents[Path] = Keys;
  ServerSettingsFile file(Disk, Path);
  for (int* error : {&Disk.OpenError, &Disk.WriteError, &Disk.CloseError}) {
    *error = DiskFull;
    EXPECT_EQ(Save(file), "The settings can't be saved: folder/server.ini.");
    *error = 0;
    EXPECT_EQ(Disk.Contents[Path], Keys);
    EXPECT_EQ(file.Text(), Keys);
  }
}

TEST_F(ServerSettingsFileTest, ALookMayKeepATextFromBeingWritten) {
  Disk.Contents[Path] = Keys;
  ServerSettingsFile file(Disk, Path);
  std::string seen;
  const auto refuse = [&](const std::string& text) {
    seen = text;
    throw std::invalid_argument("no");
  };
  EXPECT_THROW(file.Save({{"Quotes", "Source", "live"}}, refuse), std::invalid_argument);
  EXPECT_EQ(seen, std::string(Keys) + "\n[Quotes]\nSource=live\n");
  EXPECT_EQ(Disk.Contents[Path], Keys);
  EXPECT_EQ(file.Text(), Keys);
  Disk.ReadError = PermissionDenied;
  EXPECT_THROW(file.Replace({{"Quotes", "Source", "live"}}, refuse), std::invalid_argument);
  EXPECT_EQ(seen, "[Quotes]\r\nSource=live\r\n");
  EXPECT_EQ(Disk.Contents.size(), 1U);
}

TEST_F(ServerSettingsFileTest, IsReadAgainOnWish) {
  Disk.Contents[Path] = Keys;
  Disk.ReadError = PermissionDenied;
  ServerSettingsFile file(Disk, Path);
  EXPECT_NE(file.Fault(), "");
  Disk.ReadError = 0;
  EXPECT_NE(file.Fault(), "");
  file.Read_Again();
  EXPECT_EQ(file.Fault(), "");
  EXPECT_EQ(file.Text(), Keys);
}

TEST_F(ServerSettingsFileTest, WhatIsReplacedIsKeptBesideIt) {
  Disk.Contents[Path] = Keys;
  Disk.Contents[std::string(Path) + ".bak"] = "earlier";
  Disk.ReadError = PermissionDenied;
  ServerSettingsFile file(Disk, Path);
  file.Replace({{"Quotes", "Source", "live"}});
  EXPECT_EQ(Disk.Contents[Path], "[Quotes]\r\nSource=live\r\n");
  EXPECT_EQ(Disk.Contents[std::string(Path) + ".bak"], "earlier");
  EXPECT_EQ(Disk.Contents[std::string(Path) + ".bak2"], Keys);
  EXPECT_EQ(file.Fault(), "");
  EXPECT_EQ(file.Text(), Disk.Contents[Path]);
}

TEST_F(ServerSettingsFileTest, AReplacementThatFailsLeavesTheFileInItsPlace) {
  Disk.Contents[Path] = Keys;
  Disk.ReadError = PermissionDenied;
  ServerSettingsFile file(Disk, Path);
  for (int* error : {&Disk.OpenError, &Disk.WriteError, &Disk.CloseError, &Disk.RenameError}) {
    *error = PermissionDenied;
    EXPECT_THROW(file.Replace({{"Quotes", "Source", "live"}}), SettingsError);
    *error = 0;
    EXPECT_THAT(Disk.Contents, testing::ElementsAre(testing::Pair(Path, Keys)));
    EXPECT_NE(file.Fault(), "");
  }
}

TEST_F(ServerSettingsFileTest, AFileThatWasMendedIsNotReplaced) {
  Disk.Contents[Path] = Keys;
  Disk.ReadError = PermissionDenied;
  ServerSettingsFile file(Disk, Path);
  Disk.ReadError = 0;
  file.Replace({{"Quotes", "Source", "live"}});
  EXPECT_THAT(Disk.Contents,
              testing::ElementsAre(testing::Pair(Path, std::string(Keys) + "\n[Quotes]\nSource=live\n")));
}

}  // namespace
}  // namespace hq
