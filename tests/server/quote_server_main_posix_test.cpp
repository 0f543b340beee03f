#include <array>
#include <csignal>
#include <gmock/gmock.h>
#include <httplib.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "server/server_test_support.h"

namespace hq::server {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

// The program quote-server as a process of its own, ended with this object.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), HQ_QUOTE_SERVER);
    std::vector<char*> pointers;
    for (auto& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    std::array<int, 2> out{};
    std::array<int, 2> errors{};
    if (pipe(out.data()) != 0 || pipe(errors.data()) != 0) throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ == 0) {
      dup2(out[1], STDOUT_FILENO);
      dup2(errors[1], STDERR_FILENO);
      for (const int end : {out[0], out[1], errors[0], errors[1]}) close(end);
      execv(pointers[0], pointers.data());
      _exit(127);
    }
    close(out[1]);
    close(errors[1]);
    out_ = out[0];
    errors_ = errors[0];
  }

  ~Program() {
    if (process_ > 0 && !ended_) {
      kill(process_, SIGKILL);
      (void)Exit_Code();
    }
    close(out_);
    close(errors_);
  }

  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  [[nodiscard]] std::string Read_Line() const {
    std::string line;
    char c = 0;
    while (read(out_, &c, 1) == 1 && c != '\n') line += c;
    return line;
  }

  [[nodiscard]] std::string Rest() const { return Read_All(out_); }
  [[nodiscard]] std::string Errors() const { return Read_All(errors_); }

  void Signal(int number) const { kill(process_, number); }

  int Exit_Code() {
    int status = 0;
    waitpid(process_, &status, 0);
    ended_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  static std::string Read_All(int from) {
    std::string text;
    std::array<char, 1024> piece{};
    for (ssize_t count = 0; (count = read(from, piece.data(), piece.size())) > 0;) {
      text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

  pid_t process_ = -1;
  bool ended_ = false;
  int out_ = -1;
  int errors_ = -1;
};

int Port_In(const std::string& line) {
  const auto colon = line.find(':', line.find("127.0.0.1"));
  return colon == std::string::npos ? 0 : std::stoi(line.substr(colon + 1));
}

TEST(quote_server, ServesUntilItIsToldToEnd) {
  for (const int number : {SIGINT, SIGTERM}) {
    Program program{{}};
    const std::string line = program.Read_Line();
    EXPECT_THAT(
        line,
        MatchesRegex(
            "Request template: http://127\\.0\\.0\\.1:[0-9]+/quotes\\?Interval=XXX&Symbol=SSS&Date=DDD"));
    EXPECT_THAT(program.Read_Line(),
                MatchesRegex("Symbol search: http://127\\.0\\.0\\.1:[0-9]+/home/misc/symbol_search\\.asp"));
    EXPECT_THAT(program.Read_Line(), HasSubstr("NOT real quotes"));
    httplib::Client client{"127.0.0.1", Port_In(line)};
    const auto result = client.Get("/quotes?Interval=1440&Symbol=IBM&Date=031103");
    ASSERT_TRUE(result);
    EXPECT_EQ(Lines(result->body).size(), 500U);
    program.Signal(number);
    EXPECT_EQ(program.Exit_Code(), 0);
    EXPECT_THAT(program.Errors(), IsEmpty());
  }
}

TEST(quote_server, ServesAFolderAndReportsBadLines) {
  const TemporaryFolder folder;
  folder.Write("ibm.csv", "Date,Close\n2003-03-10,7\nbad,1\n");
  Program program{{"--source", "csv:" + folder.Path().string(), "--verbose"}};
  httplib::Client client{"127.0.0.1", Port_In(program.Read_Line())};
  const auto result = client.Get("/quotes?Interval=1440&Symbol=IBM");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->body, "030310,0930,7,7,7,7,0\n");
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Exit_Code(), 0);
  const std::string errors = program.Errors();
  EXPECT_THAT(errors, HasSubstr("ibm.csv:3: passed over"));
  EXPECT_THAT(errors, HasSubstr("GET /quotes?Interval=1440&Symbol=IBM -> 200"));
}

TEST(quote_server, SaysThatThePortIsTaken) {
  Program first{{}};
  const std::string port = std::to_string(Port_In(first.Read_Line()));
  Program second{{"--port", port}};
  EXPECT_THAT(second.Errors(), HasSubstr("127.0.0.1:" + port));
  EXPECT_EQ(second.Exit_Code(), 1);
}

TEST(quote_server, RefusesBadOptions) {
  const std::vector<std::vector<std::string>> bad = {
      {"--port", "65536"}, {"--port", "x"}, {"--source", "live"}, {"--source", "csv:/no/such/folder"},
      {"--unknown"},       {"extra"}};
  for (const auto& arguments : bad) {
    Program program{arguments};
    EXPECT_THAT(program.Errors(), Not(IsEmpty()));
    EXPECT_EQ(program.Exit_Code(), 2) << arguments[0];
  }
}

TEST(quote_server, TellsItsVersionAndOptions) {
  Program version{{"--version"}};
  EXPECT_EQ(version.Rest(), "quote-server " HQ_VERSION "\n");
  EXPECT_EQ(version.Exit_Code(), 0);
  Program help{{"--help"}};
  const std::string text = help.Rest();
  for (const char* option : {"--port", "--source", "--address", "--version", "--help"})
    EXPECT_THAT(text, HasSubstr(option));
  EXPECT_EQ(help.Exit_Code(), 0);
}

}  // namespace
}  // namespace hq::server
