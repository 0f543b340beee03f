#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "platform/files.h"
#include "platform/left_over_parts.h"
#include "support/plain_user.h"
#include "support/refused_calls.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::In_A_Process;

namespace fs = std::filesystem;

using test::As_Plain_User;
using test::Bytes_Of;
using test::Put_Bytes;
using test::TempFolder;
using testing::ElementsAre;
using testing::IsEmpty;

void Write_Whole(const std::string& path, const std::string& bytes) {
  SystemFiles files;
  const auto file = files.Open_For_Output(path);
  file->Write(bytes);
  file->Close();
}

// A process in the middle of a file, which goes on when it is told to.
class Writer {
 public:
  Writer(const std::string& path, bool (*prepare)()) {
    std::array<int, 2> ready{};
    std::array<int, 2> go_on{};
    EXPECT_EQ(pipe(ready.data()) + pipe(go_on.data()), 0);
    process_ = fork();
    if (process_ == 0) {
      if (prepare != nullptr && !prepare()) _exit(1);
      SystemFiles files;
      const auto file = files.Open_For_Output(path);
      file->Write(std::string(1000000, 'x'));
      char byte = 'r';
      if (write(ready[1], &byte, 1) != 1 || read(go_on[0], &byte, 1) != 1) _exit(2);
      file->Close();
      _exit(0);
    }
    close(ready[1]);
    close(go_on[0]);
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
    go_on_ = go_on[1];
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() {
    close(go_on_);
    if (process_ > 0) Kill();
  }

  void Kill() {
    kill(process_, SIGKILL);
    waitpid(std::exchange(process_, -1), nullptr, 0);
  }

  int Finish() {
    EXPECT_EQ(write(go_on_, "g", 1), 1);
    int status = 0;
    waitpid(std::exchange(process_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t process_ = -1;
  int go_on_ = -1;
};

TEST(LeftOverParts, AreNotMadeWhereFilesNeedNoName) {
  const TempFolder folder;
  const int unnamed = open(folder.Path().c_str(), O_TMPFILE | O_WRONLY, 0600);
  if (unnamed < 0) GTEST_SKIP() << "this file system has no files without a name";
  close(unnamed);
  Writer writer(folder / "file", nullptr);
  EXPECT_THAT(folder.Names(), IsEmpty());
  writer.Kill();
  EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST(LeftOverParts, GoWithTheNextWrite) {
  const TempFolder folder;
  Writer writer(folder / "file", test::Refuse_Unnamed_Files);
  ASSERT_EQ(folder.Names().size(), 1U);
  writer.Kill();
  ASSERT_EQ(folder.Names().size(), 1U);
  Write_Whole(folder / "other", "bytes");
  EXPECT_THAT(folder.Names(), ElementsAre("other"));
}

TEST(LeftOverParts, AreNotThoseInUse) {
  const TempFolder folder;
  Writer writer(folder / "file", test::Refuse_Unnamed_Files);
  Write_Whole(folder / "other", "bytes");
  EXPECT_EQ(folder.Names().size(), 2U);
  EXPECT_EQ(writer.Finish(), 0);
  EXPECT_THAT(folder.Names(), ElementsAre("file", "other"));
  EXPECT_EQ(Bytes_Of(folder / "file"), std::string(1000000, 'x'));
}

TEST(LeftOverParts, AreNotThoseThatTheSameProcessWrites) {
  const TempFolder folder;
  const int result = In_A_Process([&] {
    if (!test::Refuse_Unnamed_Files()) return 1;
    SystemFiles files;
    const auto one = files.Open_For_Output(folder / "one");
    const auto two = files.Open_For_Output(folder / "two");
    one->Write("1");
    two->Write("2");
    two->Close();
    one->Close();
    return 0;
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(folder.Files(), (std::map<std::string, std::string>{{"one", "1"}, {"two", "2"}}));
}

TEST(LeftOverParts, AreLookedForOnceInEachFolder) {
  const TempFolder one;
  const TempFolder other;
  // No process has this number.
  const std::string part = ".history-quotes-99999999-1.part";
  SystemFiles files;
  files.Open_For_Output(one / "first")->Close();
  one.Write(part, "");
  other.Write(part, "");
  files.Open_For_Output(one / "second")->Close();
  files.Open_For_Output(other / "first")->Close();
  EXPECT_THAT(one.Names(), ElementsAre(part, "first", "second"));
  EXPECT_THAT(other.Names(), ElementsAre("first"));
}

TEST(LeftOverParts, OfAnotherComputerStay) {
  const TempFolder folder;
  folder.Write(".history-quotes-hother-1-1.part", "of another computer");
  Write_Whole(folder / "file", "bytes");
  EXPECT_THAT(folder.Names(), ElementsAre(".history-quotes-hother-1-1.part", "file"));
}

TEST(LeftOverParts, WithoutAComputerGoWithTheirProcess) {
  const TempFolder folder;
  const pid_t gone = fork();
  if (gone == 0) _exit(0);
  ASSERT_EQ(waitpid(gone, nullptr, 0), gone);
  const std::string ours = ".history-quotes-" + std::to_string(getpid()) + "-1.part";
  folder.Write(".history-quotes-" + std::to_string(gone) + "-1.part", "left over");
  folder.Write(ours, "in use");
  Write_Whole(folder / "file", "bytes");
  EXPECT_THAT(folder.Names(), ElementsAre(ours, "file"));
}

TEST(LeftOverParts, AreFilesAndNothingElse) {
  const TempFolder folder;
  const std::string name = Part_Name();
  fs::create_directory(folder / name);
  const std::string pipe = Part_Name();
  ASSERT_EQ(mkfifo((folder / pipe).c_str(), 0600), 0);
  const std::string link = Part_Name();
  folder.Write("kept", "bytes");
  fs::create_symlink("kept", folder / link);
  folder.Write(".history-quotes-.part", "");
  folder.Write(".history-quotes-notes.part", "");
  folder.Write(Part_Name() + ".txt", "");
  const auto before = folder.Names();
  Remove_Left_Over_Parts(folder.Path());
  EXPECT_EQ(folder.Names(), before);
  Remove_Left_Over_Parts(folder / "missing");
  Remove_Left_Over_Parts(folder / "kept");
}

TEST(LeftOverParts, OfAnotherUserStay) {
  if (geteuid() != 0) GTEST_SKIP() << "only root is two users";
  const TempFolder folder;
  ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
  const std::string name = Part_Name();
  folder.Write(name, "of another user");
  ASSERT_EQ(chmod((folder / name).c_str(), 0644), 0);
  EXPECT_EQ(As_Plain_User([&] {
              Remove_Left_Over_Parts(folder.Path());
              return 0;
            }),
            0);
  EXPECT_THAT(folder.Names(), ElementsAre(name));
  Remove_Left_Over_Parts(folder.Path());
  EXPECT_THAT(folder.Names(), IsEmpty());
}

// The two ways that a file takes where the system has no files without a name, or does not let them have one.
class OtherWays : public testing::TestWithParam<bool (*)()> {};

TEST_P(OtherWays, WriteWholeFilesAndLeaveNothing) {
  const TempFolder folder;
  folder.Write("earlier", "earlier and longer");
  ASSERT_EQ(chmod((folder / "earlier").c_str(), 0640), 0);
  const std::string bytes(700000, 'x');
  const int result = In_A_Process([&] {
    if (!GetParam()()) return 1;
    Write_Whole(folder / "new", bytes);
    Write_Whole(folder / "earlier", bytes + "y");
    Write_Whole(folder / "empty", "");
    fs::current_path(folder.Path());
    Write_Whole("plain", "z");
    SystemFiles files;
    files.Open_For_Output(folder / "given up")->Write("bytes");
    return 0;
  });
  EXPECT_EQ(result, 0);
  EXPECT_THAT(folder.Names(), ElementsAre("earlier", "empty", "new", "plain"));
  EXPECT_TRUE(Bytes_Of(folder / "new") == bytes);
  EXPECT_TRUE(Bytes_Of(folder / "earlier") == bytes + "y");
  EXPECT_EQ(Bytes_Of(folder / "empty"), "");
  EXPECT_EQ(Bytes_Of(folder / "plain"), "z");
  struct stat state {};
  ASSERT_EQ(stat((folder / "earlier").c_str(), &state), 0);
  EXPECT_EQ(state.st_mode & 07777, 0640U);
}

TEST_P(OtherWays, PassOverNamesThatAreTaken) {
  const TempFolder folder;
  const int result = In_A_Process([&] {
    if (!GetParam()()) return 1;
    // The next names are those that the next parts would get.
    std::string name = Part_Name();
    const size_t begin = name.rfind('-') + 1;
    const int count = std::stoi(name.substr(begin));
    for (int i = 1; i <= 10; ++i) {
      fs::create_directory(folder / (name.substr(0, begin) + std::to_string(count + i) + ".part"));
    }
    Write_Whole(folder / "file", "bytes");
    return 0;
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(Bytes_Of(folder / "file"), "bytes");
  EXPECT_EQ(folder.Names().size(), 11U);
}

INSTANTIATE_TEST_SUITE_P(Systems, OtherWays, testing::Values(test::Refuse_Unnamed_Files, test::Refuse_Links));

}  // namespace
}  // namespace hq
