// Programs that lie where a package has put them, with the mark of an installed copy beside them.

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

#include "built_places.h"
#include "support/child_program.h"
#include "support/environment.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

namespace fs = std::filesystem;

using test::ChildProgram;
using test::TempFolder;
using testing::ElementsAre;
using testing::HasSubstr;

class InstalledCopy : public testing::Test {
 protected:
  InstalledCopy() {
    fs::create_directory(Place / "sources");
    Place.Write("sources/service.json", "{}");
    fs::copy_file(HQ_CLI_PROGRAM, Cli);
    fs::copy_file(HQ_SERVER_PROGRAM, Server);
    Place.Write("installed-copy", "");
  }

  const TempFolder Place;
  const TempFolder Home;
  const TempFolder Output;
  const std::string Cli = Place / "history-quotes-cli";
  const std::string Server = Place / "quote-server";
  const std::string Program_Folder = Home / "data/history-quotes";
  const test::EnvironmentVariable Data{"XDG_DATA_HOME", Home / "data"};
};

TEST_F(InstalledCopy, NamesTheFolderWithTheVersionAndDoesNotMakeIt) {
  for (const std::string& program : {Cli, Server}) {
    ChildProgram version({program, "--version"});
    EXPECT_EQ(version.Wait(), 0);
    EXPECT_THAT(version.Out(), testing::EndsWith("\nProgram folder: " + Program_Folder + "\n"));
    ChildProgram named({program, "--version", "--program-folder", Output.Path()});
    EXPECT_EQ(named.Wait(), 0);
    EXPECT_THAT(named.Out(), testing::EndsWith("\nProgram folder: " + Output.Path() + "\n"));
  }
  EXPECT_FALSE(fs::exists(Home / "data"));
  fs::remove(Place / "installed-copy");
  ChildProgram portable({Cli, "--version"});
  EXPECT_EQ(portable.Wait(), 0);
  EXPECT_THAT(portable.Out(), testing::EndsWith("\nProgram folder: " + Place.Path() + "\n"));
}

TEST_F(InstalledCopy, KeepsItsFilesWithTheUserAndReadsThePackages) {
  ChildProgram run({Cli, "MSFT", "--output", Output.Path(), "--end-date", "03/14/03", "--days", "5"});
  EXPECT_EQ(run.Wait(), 0) << run.Err();
  struct stat state {};
  ASSERT_EQ(stat(Program_Folder.c_str(), &state), 0);
  EXPECT_EQ(state.st_mode & 07777, 0700U);
  ChildProgram use({Cli, "sources", "use", "simulated"});
  EXPECT_EQ(use.Wait(), 0) << use.Err();
  EXPECT_TRUE(fs::exists(fs::path(Program_Folder) / "server.ini"));
  ChildProgram sources({Cli, "sources"});
  EXPECT_EQ(sources.Wait(), 0) << sources.Err();
  EXPECT_THAT(sources.Out(), HasSubstr("service.json: /: "));
  ChildProgram server({Server});
  ASSERT_TRUE(server.Wait_For_Output("Press Ctrl-C to end.\n")) << server.Err();
  server.Signal(SIGINT);
  EXPECT_EQ(server.Wait(), 0) << server.Err();
  EXPECT_THAT(Place.Names(), ElementsAre("history-quotes-cli", "installed-copy", "quote-server", "sources"));
}

TEST_F(InstalledCopy, SaysWhenItsFolderCannotBeMade) {
  Home.Write("data", "a file");
  ChildProgram run({Cli, "MSFT", "--output", Output.Path()});
  EXPECT_EQ(run.Wait(), 2);
  EXPECT_THAT(run.Err(), HasSubstr("can't be kept in the program folder: " + (Home / "data") + ": "));
  EXPECT_THAT(Place.Names(), ElementsAre("history-quotes-cli", "installed-copy", "quote-server", "sources"));
}

}  // namespace
}  // namespace hq
