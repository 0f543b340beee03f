#include <array>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <httplib.h>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "built_places.h"
#include "market/market_support.h"
#include "platform/sockets.h"
#include "support/socket_server.h"

namespace hq::server {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

// The program quote-server as a process of its own, ended with this object.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), HQ_SERVER_PROGRAM);
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
  const std::vector<std::vector<std::string>> bad = {{"--port", "65536"},
                                                     {"--port", "x"},
                                                     {"--port", "0x50"},
                                                     {"--port", "-1"},
                                                     {"--port", "80 "},
                                                     {"--source", "live"},
                                                     {"--source", "csv:/no/such/folder"},
                                                     {"--unknown"},
                                                     {"extra"},
                                                     {"--program-folder", "/no/such/folder"}};
  for (const auto& arguments : bad) {
    Program program{arguments};
    EXPECT_THAT(program.Errors(), Not(IsEmpty()));
    EXPECT_EQ(program.Exit_Code(), 2) << arguments[0];
  }
}

TEST(quote_server, SaysWhatAnAddressBeyondLoopbackOpens) {
  Program program{{"--address", "0.0.0.0"}};
  EXPECT_THAT(program.Read_Line(), HasSubstr("Request template: http://" + Computer_Name() + ":"));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Exit_Code(), 0);
  const std::string errors = program.Errors();
  EXPECT_THAT(errors, HasSubstr("http://" + Computer_Name() + ":"));
  EXPECT_THAT(errors, HasSubstr("The licences of data services may forbid to hand their quotes on."));
}

TEST(quote_server, AnswersTheHostsOfItsSettings) {
  const TemporaryFolder folder;
  const auto settings = folder.Write("server.ini", "[Server]\nHosts=other.lan, quotes.lan\n");
  const Program program{{"--settings", settings.string()}};
  httplib::Client client{"127.0.0.1", Port_In(program.Read_Line())};
  const auto status = [&client](const char* host) {
    const auto answer = client.Get("/", {{"Host", host}});
    return answer ? answer->status : 0;
  };
  EXPECT_EQ(status("quotes.lan"), 200);
  EXPECT_EQ(status("example.com"), 403);
}

TEST(quote_server, TellsItsVersionAndOptions) {
  Program version{{"--version"}};
  EXPECT_EQ(version.Rest(), "quote-server " HQ_VERSION "\nProgram folder: " +
                                std::filesystem::path(HQ_SERVER_PROGRAM).parent_path().string() + "\n");
  EXPECT_EQ(version.Exit_Code(), 0);
  Program help{{"--help"}};
  const std::string text = help.Rest();
  for (const char* option : {"--port", "--source", "--address", "--program-folder", "--version", "--help"})
    EXPECT_THAT(text, HasSubstr(option));
  EXPECT_EQ(help.Exit_Code(), 0);
}

// A service that answers with what it was sent, the key included, in all the ways in which services fail.
test::SocketServer::Script Echoing_Service(std::atomic<int>& asked) {
  return [&asked](test::SocketConnection& client) {
    for (std::string request = client.ReadRequest(); !request.empty(); request = client.ReadRequest()) {
      const int number = asked++;
      std::string said;
      for (const char c : request) said += c == '"' || c == '\\' || c < ' ' ? '.' : c;
      const std::string body = R"({"detail":"You sent )" + said + R"("})";
      static const std::vector<const char*> statuses = {
          "400 Bad Request", "401 Unauthorized",          "403 Forbidden",
          "404 Not Found",   "500 Internal Server Error", "200 OK"};
      const auto status = statuses[static_cast<std::size_t>(number) % statuses.size()];
      if (number % 7 == 6) {
        client.Send("HTTP/1.1 302 Found\r\nLocation: http://localhost:1/?" + said.substr(0, 200) +
                    "\r\nContent-Length: 0\r\n\r\n");
      } else if (!client.Send(test::Http_Answer(body, status))) {
        return;
      }
    }
  };
}

TEST(QuoteServerProgram, WritesAPlantedKeyNowhere) {
  const std::string key = "PLANTED+KEY/4711=x";
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.Path() / "sources");
  std::atomic<int> asked = 0;
  const test::SocketServer service{Echoing_Service(asked)};
  std::string list;
  std::string keys = "[Keys]\n";
  for (const auto& entry : std::filesystem::directory_iterator{HQ_SOURCES}) {
    std::ifstream stream{entry.path()};
    auto profile = nlohmann::json::parse(stream);
    for (auto& feed : profile["feeds"]) {
      const std::string address = feed["address"];
      feed["address"] = service.Address() + address.substr(address.find('/', address.find("://") + 3));
    }
    folder.Write("sources/" + entry.path().filename().string(), profile.dump());
    const std::string name = profile["name"];
    list += (list.empty() ? "" : ",") + name;
    if (!profile.contains("keys")) continue;
    for (const auto& each : profile["keys"])
      keys += name + "_" + std::string{each["name"]} + "=" + key + "\n";
  }
  const auto settings = folder.Write("server.ini", "[Quotes]\nSource=" + list + "\n" + keys);
  std::filesystem::permissions(settings,
                               std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

  std::string told;
  // Twice, so that what was remembered is told too.
  for (int run = 0; run < 2; ++run) {
    Program server{{"--sources", (folder.Path() / "sources").string(), "--archive",
                    (folder.Path() / "quotes.db").string(), "--settings", settings.string(), "--verbose"}};
    const std::string address = server.Read_Line();
    const auto port = std::stoi(address.substr(address.find("127.0.0.1:") + 10));
    httplib::Client client{"127.0.0.1", port};
    client.set_read_timeout(60);
    for (const char* path : {"/quotes?Interval=1440&Symbol=AAA", "/quotes?Interval=5&Symbol=BBB",
                             "/quotes?Interval=60&Symbol=AAA", "/quotes?Interval=1&Symbol=mutual:CCC", "/",
                             "/home/misc/symbol_search.asp?q=A"}) {
      const auto answer = client.Get(path);
      ASSERT_TRUE(answer) << path;
      told += answer->body;
      for (const auto& [name, value] : answer->headers) told.append(name).append(value);
    }
    server.Signal(SIGTERM);
    told += address + server.Rest() + server.Errors();
    EXPECT_EQ(server.Exit_Code(), 0);
  }
  EXPECT_GT(asked, 8);
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator{folder.Path()}) {
    if (!entry.is_regular_file() || entry.path() == settings) continue;
    ++files;
    std::ifstream stream{entry.path(), std::ios::binary};
    told.append(std::istreambuf_iterator<char>{stream}, {});
  }
  EXPECT_GT(files, 8U);
  EXPECT_THAT(told, HasSubstr("Tiingo"));
  for (const char* part : {"PLANTED", "4711", "KEY%2F", "KEY/"}) EXPECT_THAT(told, Not(HasSubstr(part)));
}

}  // namespace
}  // namespace hq::server
