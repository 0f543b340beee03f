// The server program and the command line program together.

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "built_places.h"
#include "support/child_program.h"
#include "support/temp_folder.h"
#include "support/utf16.h"

namespace hq {
namespace {

using test::ChildProgram;
using test::TempFolder;
using testing::ElementsAre;
using testing::HasSubstr;

// The request template that a started server prints.
std::string Printed_Template(const std::string& out) {
  const size_t start = out.find("http://");
  return out.substr(start, out.find('\n', start) - start);
}

TEST(QuoteServerProgram, ServesTheCommandLineAndEndsWhenAsked) {
  const TempFolder output;
  ChildProgram server({HQ_SERVER_PROGRAM});
  ASSERT_TRUE(server.Wait_For_Output("/quotes?Interval=XXX&Symbol=SSS&Date=DDD\n")) << server.Err();
  ChildProgram client({HQ_CLI_PROGRAM, "MSFT", "NOSUCHSYMBOL123", "--output", output.Path(),
                       "--program-folder", output.Path(), "--end-date", "03/14/03", "--template",
                       Printed_Template(server.Out())});
  EXPECT_EQ(client.Wait(), 1);
  EXPECT_THAT(client.Err(), HasSubstr("NOSUCHSYMBOL123: Server returns no data. try later! (HTTP 404: "));
  EXPECT_THAT(output.Names(), ElementsAre(testing::EndsWith("MSFT1D.txt")));
  server.Signal(SIGINT);
  EXPECT_EQ(server.Wait(), 0) << server.Err();
}

TEST(QuoteServerProgram, ServesAFolderOfFiles) {
  const TempFolder files;
  const TempFolder output;
  files.Write("ACME.csv",
              "Date,Open,High,Low,Close,Volume\n2003-03-13,1,2,0.5,1.5,100\n2003-03-14,2,3,1.5,2.5,200\n");
  ChildProgram server({HQ_SERVER_PROGRAM, "--source", "csv:" + files.Path()});
  ASSERT_TRUE(server.Wait_For_Output("&Date=DDD\n")) << server.Err();
  ChildProgram client({HQ_CLI_PROGRAM, "acme", "--output", output.Path(), "--program-folder", output.Path(),
                       "--template", Printed_Template(server.Out())});
  EXPECT_EQ(client.Wait(), 0) << client.Err();
  EXPECT_THAT(output.Files(), ElementsAre(testing::Pair("031303-031403ACME1D.txt",
                                                        "Date,Open,High,Low,Close,Volume\r\n"
                                                        "03/13/03,1.000,2.000,0.500,1.500,100\r\n"
                                                        "03/14/03,2.000,3.000,1.500,2.500,200\r\n")));
}

TEST(QuoteServerProgram, ServesNothingWithSettingsThatItCantRead) {
  const TempFolder folder;
  std::filesystem::create_directory(folder / "folder.ini");
  folder.Write("spoiled.ini", std::string("[Keys]\ntiingo=k\n\0\0", 18));
  for (const char* name : {"folder.ini", "spoiled.ini", "missing.ini"}) {
    for (const std::vector<std::string>& more :
         std::vector<std::vector<std::string>>{{}, {"--source", "simulated"}}) {
      std::vector<std::string> command = {HQ_SERVER_PROGRAM, "--settings", folder / name};
      command.insert(command.end(), more.begin(), more.end());
      ChildProgram server(command);
      EXPECT_EQ(server.Wait(), 2) << name;
      EXPECT_EQ(server.Out(), "") << name;
      EXPECT_THAT(server.Err(), HasSubstr(folder / name));
    }
  }
}

TEST(QuoteServerProgram, ReadsSettingsInUtf16) {
  const TempFolder folder;
  folder.Write("server.ini", test::Utf16("[Quotes]\r\nSource=csv:" + folder.Path() + "\r\n"));
  ChildProgram server({HQ_SERVER_PROGRAM, "--settings", folder / "server.ini"});
  EXPECT_TRUE(server.Wait_For_Output("Source: ")) << server.Err();
  EXPECT_TRUE(server.Wait_For_Output("Press Ctrl-C")) << server.Err();
  EXPECT_THAT(server.Out(), testing::Not(HasSubstr("NOT real quotes")));
}

TEST(QuoteServerProgram, TheCommandLineTellsWhySettingsCantBeRead) {
  const TempFolder folder;
  std::filesystem::create_directory(folder / "server.ini");
  ChildProgram client({HQ_CLI_PROGRAM, "MSFT", "--output", folder.Path(), "--program-folder", folder.Path()});
  EXPECT_EQ(client.Wait(), 2);
  EXPECT_THAT(client.Err(), HasSubstr("The settings can't be read: " + (folder / "server.ini")));
  EXPECT_EQ(client.Out(), "");
}

}  // namespace
}  // namespace hq
