#include "shell/server_settings.h"

#include <gtest/gtest.h>

#include "quotes/request.h"

namespace hq {
namespace {

constexpr const char* Template = "http://host/q?i=XXX&s=SSS&Date=DDD";

TEST(ServerSettings, AreEmptyWithoutTheirSections) {
  for (const char* text : {"", "[Keys]\nservice=1\n", "[Request]\n"}) {
    const ServerSettings settings = Read_Server_Settings(text);
    EXPECT_EQ(settings.RequestTemplate, "");
    EXPECT_EQ(settings.SymbolSearchAddress, "");
    EXPECT_EQ(settings.Fault, "");
  }
}

TEST(ServerSettings, KeepTheRestWhenATemplateIsSaved) {
  const auto saved = [](const std::string& bytes, const char* request_template) {
    SettingsText text(bytes);
    text.Put(Template_Change(request_template));
    return text.Bytes();
  };
  const std::string made = saved("", Template);
  EXPECT_EQ(made, std::string("[Request]\r\nTemplate=") + Template + "\r\n");
  EXPECT_EQ(saved("[Keys]\nservice=1234\n" + made, ""), "[Keys]\nservice=1234\n[Request]\r\n");
}

TEST(ServerSettings, TemplatePlainOrEnciphered) {
  EXPECT_EQ(Read_Server_Settings(std::string("[Request]\r\nTemplate=") + Template + "\r\n").RequestTemplate,
            Template);
  EXPECT_EQ(Read_Server_Settings("[request]\ntemplate = \"" + std::string(Template) + "\"\n").RequestTemplate,
            Template);
  EXPECT_EQ(Read_Server_Settings("[Request]\nTemplate=" + Encipher(Template) + "\n").RequestTemplate,
            Template);
}

TEST(ServerSettings, SymbolSearchAddress) {
  EXPECT_EQ(Read_Server_Settings("[Symbol Search]\nAddress=http://host/search\n").SymbolSearchAddress,
            "http://host/search");
}

TEST(ServerSettings, AValueThatCannotServeIsToldWithItsReason) {
  for (const char* value : {"http://host/", "ftp://host/XXXSSS&Date=DDD", "enciphered:zz"}) {
    const ServerSettings settings = Read_Server_Settings(std::string("[Request]\nTemplate=") + value + "\n");
    EXPECT_EQ(settings.Fault.find("[Request] Template: "), 0U) << settings.Fault;
    EXPECT_EQ(settings.RequestTemplate, value);
  }
}

}  // namespace
}  // namespace hq
