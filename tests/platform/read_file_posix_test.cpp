#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

#include "base/run_time_error.h"
#include "platform/files.h"
#include "support/plain_user.h"
#include "support/raises.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

namespace fs = std::filesystem;

using test::As_Plain_User;
using test::Error_Number_Of;
using test::Put_Bytes;
using test::TempFolder;

TEST(Read, GivesTheBytesAsTheyAre) {
  const TempFolder folder;
  SystemFiles files;
  std::string bytes;
  for (int i = 0; i < 256 * 1000; ++i) bytes += static_cast<char>(i);
  for (const size_t size :
       {size_t{0}, size_t{1}, size_t{65535}, size_t{65536}, size_t{65537}, bytes.size()}) {
    Put_Bytes(folder / "file", bytes.substr(0, size));
    EXPECT_TRUE(files.Read(folder / "file") == bytes.substr(0, size)) << size;
  }
}

TEST(Read, RaisesForWhatIsNoFile) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "bytes");
  EXPECT_RAISES(files.Read(folder / "missing"), FileNotFound);
  EXPECT_RAISES(files.Read(folder / "no folder/missing"), FileNotFound);
  EXPECT_RAISES(files.Read(folder / "file/missing"), PathNotFound);
  EXPECT_RAISES(files.Read(""), FileNotFound);
}

// What the error of reading a path says.
std::string Reason_Of(const std::string& path) {
  SystemFiles files;
  try {
    files.Read(path);
  } catch (const RunTimeError& error) {
    return error.what();
  }
  return "read";
}

TEST(Read, WaitsForNoOtherProgram) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  fs::create_symlink("pipe", folder / "link");
  EXPECT_EQ(Reason_Of(folder / "pipe"),
            "Path/File access error: " + (folder / "pipe") + ": it is a pipe, not a file");
  EXPECT_EQ(Reason_Of(folder / "link"),
            "Path/File access error: " + (folder / "link") + ": it is a pipe, not a file");
}

TEST(Read, SaysWhatHasAFilesPlace) {
  const TempFolder folder;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = folder / "socket";
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  const int socket_number = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(socket_number, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(socket_number);
  EXPECT_EQ(Reason_Of(path), "Path/File access error: " + path + ": it is a socket, not a file");
  EXPECT_EQ(Reason_Of(folder.Path()),
            "Path/File access error: " + folder.Path() + ": it is a folder, not a file");
  EXPECT_EQ(Reason_Of("/dev/zero"), "Path/File access error: /dev/zero: it is a device, not a file");
}

// Only what is not there at all is missing: whoever takes a file for missing may write a new one in its
// place.
TEST(Read, DoesNotCallMissingWhatIsThere) {
  const TempFolder folder;
  fs::create_symlink("nowhere", folder / "dangling");
  fs::create_symlink("dangling", folder / "link to it");
  fs::create_symlink("one", folder / "two");
  fs::create_symlink("two", folder / "one");
  EXPECT_EQ(Reason_Of(folder / "dangling"),
            "Path not found: " + (folder / "dangling") + ": it is a link to nowhere, which is not there");
  EXPECT_EQ(Reason_Of(folder / "link to it"),
            "Path not found: " + (folder / "link to it") + ": it is a link to dangling, which is not there");
  SystemFiles files;
  EXPECT_RAISES(files.Read(folder / "one"), PathFileAccessError);
  EXPECT_RAISES(files.Read(folder / std::string(300, 'x')), BadFileName);
}

TEST(Read, RaisesWhenTheFileIsNotReadable) {
  const TempFolder folder;
  Put_Bytes(folder / "file", "bytes");
  ASSERT_EQ(chmod((folder / "file").c_str(), 0), 0);
  ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
  const int number = As_Plain_User([&] {
    SystemFiles files;
    return Error_Number_Of([&] { files.Read(folder / "file"); });
  });
  EXPECT_EQ(number, PermissionDenied);
}

TEST(Read, TakesFilesOfUpTo64MiB) {
  const TempFolder folder;
  SystemFiles files;
  constexpr size_t Limit = 64 * 1024 * 1024;
  Put_Bytes(folder / "file", "");
  fs::resize_file(folder / "file", Limit);
  EXPECT_EQ(files.Read(folder / "file").size(), Limit);
  fs::resize_file(folder / "file", Limit + 1);
  EXPECT_RAISES(files.Read(folder / "file"), PathFileAccessError);
}

TEST(Read, NamesThePathAndTheReason) {
  const TempFolder folder;
  SystemFiles files;
  try {
    files.Read(folder / "missing");
    FAIL() << "read a missing file";
  } catch (const RunTimeError& error) {
    EXPECT_EQ(error.Detail(), (folder / "missing") + ": " + std::generic_category().message(ENOENT));
  }
}

}  // namespace
}  // namespace hq
