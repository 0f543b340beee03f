#include "shell/server_settings.h"

#include <gtest/gtest.h>

#include "base/run_time_error.h"
#include "quotes/request.h"
#include "support/fakes.h"

namespace hq {
namespace {

constexpr const char* Template = "http://host/q?i=XXX&s=SSS&Date=DDD";

ServerSettings Load(const std::string& text) {
  test::MemoryFiles disk;
  disk.Contents[Join_Path("/program", "server.ini")] = text;
  return Load_Server_Settings(disk, "/program");
}

TEST(ServerSettingsFile, AMissingFileGivesEmptySettings) {
  test::MemoryFiles disk;
  EXPECT_EQ(Load_Server_Settings(disk, "/program").RequestTemplate, "");
  EXPECT_EQ(Load("").RequestTemplate, "");
}

TEST(ServerSettingsFile, KeepsTheRestWhenATemplateIsSaved) {
  test::MemoryFiles disk;
  const std::string path = Join_Path("/program", "server.ini");
  Save_Request_Template(disk, "/program", Template);
  EXPECT_EQ(disk.Contents[path], std::string("[Request]\r\nTemplate=") + Template + "\r\n");
  disk.Contents[path] = "[Keys]\nservice=1234\n" + disk.Contents[path];
  Save_Request_Template(disk, "/program", "");
  EXPECT_EQ(disk.Contents[path], "[Keys]\nservice=1234\n[Request]\r\n");
}

TEST(ServerSettingsFile, TemplatePlainOrEnciphered) {
  EXPECT_EQ(Load(std::string("[Request]\r\nTemplate=") + Template + "\r\n").RequestTemplate, Template);
  EXPECT_EQ(Load("[request]\ntemplate = \"" + std::string(Template) + "\"\n").RequestTemplate, Template);
  EXPECT_EQ(Load("[Request]\nTemplate=" + Encipher(Template) + "\n").RequestTemplate, Template);
}

TEST(ServerSettingsFile, SymbolSearchAddress) {
  EXPECT_EQ(Load("[Symbol Search]\nAddress=http://host/search\n").SymbolSearchAddress, "http://host/search");
}

TEST(ServerSettingsFile, AFileThatIsNoPlainTextIsRefused) {
  const std::string utf16("\xFF\xFE[\0R\0e\0q\0", 10);
  EXPECT_THROW(static_cast<void>(Load(utf16)), RunTimeError);
}

TEST(ServerSettingsFile, AValueThatCannotServeIsRefusedWithFileAndReason) {
  for (const char* value : {"http://host/", "ftp://host/XXXSSS&Date=DDD", "enciphered:zz"}) {
    try {
      static_cast<void>(Load(std::string("[Request]\nTemplate=") + value + "\n"));
      FAIL() << value;
    } catch (const RunTimeError& error) {
      EXPECT_NE(error.Detail().find("server.ini, [Request] Template: "), std::string::npos) << error.Detail();
    }
  }
}

}  // namespace
}  // namespace hq
