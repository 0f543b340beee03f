#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>
#include <regex>
#include <string>
#include <vector>

#include "built_places.h"
#include "support/child_program.h"
#include "support/temp_folder.h"

namespace hq::test {

// The records that crash_program leaves in an error log in a folder of its own.
class CrashRecordTest : public testing::Test {
 protected:
  // Runs crash_program to its end; the result is that of ChildProgram::Wait.
  int Run(ChildProgram& program) {
    const int result = program.Wait();
    out_ = program.Out();
    err_ = program.Err();
    return result;
  }
  static std::vector<std::string> Command(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), HQ_CRASH_PROGRAM);
    return arguments;
  }
  [[nodiscard]] std::string Log() const { return folder_ / "error.log"; }

  // The records of the log without their first lines, each of which must be a date and a time. An empty line
  // stands between them.
  [[nodiscard]] std::vector<std::string> Records(const std::string& path) const {
    std::vector<std::string> records;
    std::string text = Bytes_Of(path);
    const std::string end = "User Text- \r\n";
    const std::regex when(R"(\d\d/\d\d/\d\d\d\d \d\d:\d\d:\d\d\r\n)");
    while (!text.empty()) {
      if (!records.empty()) {
        EXPECT_TRUE(text.starts_with("\r\n")) << text;
        text.erase(0, 2);
      }
      std::smatch match;
      EXPECT_TRUE(std::regex_search(text, match, when, std::regex_constants::match_continuous)) << text;
      const size_t record_end = text.find(end);
      EXPECT_NE(record_end, std::string::npos) << text;
      if (match.empty() || record_end == std::string::npos) break;
      const auto begin = static_cast<size_t>(match.length());
      records.push_back(text.substr(begin, record_end + end.size() - begin));
      text.erase(0, record_end + end.size());
    }
    return records;
  }

  static std::string Record(long long number, const std::string& description) {
    return "Category- Unknown Error Class\r\n"
           "Source- crash-program 1.0.0\r\n"
           "Module- frmmain1.frm : Sub Process_Onestock\r\n"
           "Line Number-  <unavailable: line numbers not used>\r\n"
           "Code Pointer = frmmain1.frm : Sub Process_Onestock\r\n"
           "Error Number- " +
           std::to_string(number) + "\r\nDescription- " + description +
           "\r\n"
           "Call Tree & Arguments\r\n"
           "     1 : global.bas : Sub Main : \r\n"
           "     2 :  frmmain1.frm : Sub Process_Onestock : \r\n"
           "User Text- \r\n";
  }

  TempFolder folder_;
  std::string out_;
  std::string err_;
};

// A test of one way to end, by the name that crash_program knows it by.
template <class Ending>
std::string Name_Of_Ending(const testing::TestParamInfo<Ending>& ending) {
  std::string name = ending.param.Way;
  std::erase(name, ' ');
  return name;
}

}  // namespace hq::test
