// Measures the quote server on live sources: answers from the archive, the memory and the file that many
// symbols take, and a run over many symbols against a service that takes its time.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <httplib.h>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <variant>
#include <vector>

#include "market/trading_calendar.h"
#include "server/archive/archive.h"
#include "server/http/quote_server.h"
#include "server/http/quote_text.h"
#include "server/live/live_source.h"
#include "server/services/profile_reader.h"

namespace hq::server {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;

constexpr int Sessions = 500;
constexpr int ManySymbols = 10'000;
constexpr int RunSymbols = 500;
constexpr milliseconds Latency{50};

// Saturday, with the clock standing still.
const PacingTime now = sys_days{2026y / November / 21} + 15h;

[[noreturn]] void Fail(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  std::exit(EXIT_FAILURE);
}

std::vector<Day> Last_Sessions(int count) {
  std::vector<Day> days;
  for (Day day = floor<std::chrono::days>(now); static_cast<int>(days.size()) < count;
       day -= std::chrono::days{1}) {
    if (Is_Session(day)) days.push_back(day);
  }
  std::ranges::reverse(days);
  return days;
}

Bar Some_Bar(Day day, std::mt19937& random) {
  const double low = 100 + static_cast<double>(random() % 5000) / 100;
  return {day,
          session_open,
          low + 0.25,
          low + 1.5,
          low,
          low + 0.75,
          1'000'000 + static_cast<std::int64_t>(random() % 1'000'000)};
}

std::string Date_Text(Day day) {
  const year_month_day date{day};
  char text[32];
  std::snprintf(text, sizeof text, "%d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return text;
}

// The shipped profile of a service with its address here and without its pace.
LiveService Service_At(const std::string& address) {
  auto read = Load_Profile(fs::path{HQ_SOURCES} / "tiingo.json");
  auto* profile = std::get_if<SourceProfile>(&read);
  if (profile == nullptr) Fail(std::get<ProfileError>(read).Text());
  for (SourceFeed& feed : profile->Feeds)
    feed.Address = address + feed.Address.substr(feed.Address.find('/', 8));
  profile->Hosts = {"127.0.0.1"};
  profile->Pacing = {};
  return {std::make_shared<const SourceProfile>(*profile), {{"token", "key"}}};
}

std::shared_ptr<LiveSource> Source(const fs::path& file, const std::string& address) {
  LiveOptions options;
  options.Clock = [] { return now; };
  return std::make_shared<LiveSource>(std::vector<ChainLink>{Service_At(address)},
                                      std::make_shared<Archive>(file), std::make_shared<CurlFetcher>(),
                                      options);
}

std::string Symbol(int number) {
  return "S" + std::to_string(number);
}

void Fill(const fs::path& file, int symbols) {
  Archive archive{file};
  const std::vector<Day> days = Last_Sessions(Sessions + 30);
  std::mt19937 random{1};
  for (int number = 0; number < symbols; ++number) {
    std::vector<NativeBar> bars;
    for (const Day day : days) bars.push_back({Some_Bar(day, random), true});
    archive.Store({"tiingo", Symbol(number), daily_interval, "splits"},
                  {bars,
                   DayRange{days.front() - std::chrono::days{60}, floor<std::chrono::days>(now)},
                   {days.back() + std::chrono::days{1}, 0s},
                   floor<seconds>(now),
                   Find_Zone("America/New_York").value(),
                   true});
  }
}

// In kilobytes, as Linux tells it; 0 elsewhere.
long Resident_Memory() {
  std::ifstream status{"/proc/self/status"};
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::strtol(line.c_str() + 6, nullptr, 10);
  }
  return 0;
}

// The median and the 99th percentile in milliseconds.
template <class Work>
void Measure(const char* what, int times, const Work& work) {
  std::vector<double> taken;
  const auto all = steady_clock::now();
  for (int i = 0; i < times; ++i) {
    const auto begin = steady_clock::now();
    work(i);
    taken.push_back(duration<double, std::milli>(steady_clock::now() - begin).count());
  }
  const double whole = duration<double>(steady_clock::now() - all).count();
  std::ranges::sort(taken);
  std::printf("%-58s median %7.3f ms, 99th %7.3f ms, %8.0f a second\n", what, taken[taken.size() / 2],
              taken[taken.size() * 99 / 100], times / whole);
}

void Measure_Answers(const fs::path& folder) {
  const fs::path file = folder / "answers.db";
  Fill(file, 100);
  // Nothing listens there: every answer is the archive's.
  const auto source = Source(file, "http://127.0.0.1:1");
  Measure("500 daily bars from the archive, inside the program", 5000, [&](int i) {
    const Answer answer = source->Bars({Symbol(i % 100), daily_interval, {}, Sessions});
    const auto* table = std::get_if<BarTable>(&answer);
    if (table == nullptr || table->Bars.size() != Sessions || Quote_Text(*table).empty()) Fail("no answer");
  });
  QuoteServer server{source};
  httplib::Client client{"127.0.0.1", server.Start()};
  client.set_keep_alive(true);
  Measure("the same over HTTP, one client", 5000, [&](int i) {
    const auto answer = client.Get("/quotes?Interval=1440&Symbol=" + Symbol(i % 100));
    if (!answer || answer->status != 200 || answer->body.size() < 20'000) Fail("no answer over HTTP");
  });
}

void Measure_Many(const fs::path& folder) {
  const fs::path file = folder / "many.db";
  const auto begin = steady_clock::now();
  Fill(file, ManySymbols);
  std::printf("%d symbols of %d daily bars stored in %.1f s, file of %.0f MB\n", ManySymbols, Sessions + 30,
              duration<double>(steady_clock::now() - begin).count(),
              static_cast<double>(fs::file_size(file)) / 1e6);
  const long before = Resident_Memory();
  const auto source = Source(file, "http://127.0.0.1:1");
  std::mt19937 random{2};
  Measure("500 daily bars of any of them", 5000, [&](int) {
    const Answer answer =
        source->Bars({Symbol(static_cast<int>(random() % ManySymbols)), daily_interval, {}, Sessions});
    if (!std::holds_alternative<BarTable>(answer)) Fail("no answer of many");
  });
  std::printf("memory: %ld KB before the archive was opened, %ld KB after 5000 answers\n", before,
              Resident_Memory());
}

// A service that sends what is asked for after a while. Its rows are made before it is asked.
class SlowService {
 public:
  SlowService() {
    std::mt19937 random{7};
    for (const Day day : Last_Sessions(Sessions * 2)) {
      const std::string date = Date_Text(day);
      const Bar bar = Some_Bar(day, random);
      char row[400];
      std::snprintf(
          row, sizeof row,
          R"({"date":"%sT00:00:00.000Z","close":%.2f,"high":%.2f,"low":%.2f,"open":%.2f,"volume":%lld,)"
          R"("adjClose":%.2f,"splitFactor":1.0})",
          date.c_str(), bar.Close, bar.High, bar.Low, bar.Open, static_cast<long long>(bar.Volume),
          bar.Close);
      rows_.emplace_back(date, row);
    }
    server_.new_task_queue = [] { return new httplib::ThreadPool{16}; };
    // Connections stay open, as the fetcher uses them again.
    server_.set_keep_alive_max_count(10'000);
    server_.set_tcp_nodelay(true);
    server_.Get(R"(/tiingo/daily/(\w+)/prices)",
                [this](const httplib::Request& request, httplib::Response& response) {
                  ++Calls;
                  std::this_thread::sleep_for(Latency);
                  const std::string first = request.get_param_value("startDate");
                  const std::string last = request.get_param_value("endDate");
                  std::string body = "[";
                  for (const auto& [date, row] : rows_) {
                    if (date < first || date > last) continue;
                    if (body.size() > 1) body += ',';
                    body += row;
                  }
                  // A type that the stand-in doesn't compress, which would take longer than all that is
                  // measured.
                  response.set_content(body + "]", "application/octet-stream");
                });
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread{[this] { server_.listen_after_bind(); }};
    while (!server_.is_running()) std::this_thread::sleep_for(milliseconds{1});
  }
  ~SlowService() {
    server_.stop();
    thread_.join();
  }
  SlowService(const SlowService&) = delete;
  SlowService& operator=(const SlowService&) = delete;

  [[nodiscard]] std::string Address() const { return "http://127.0.0.1:" + std::to_string(port_); }
  std::atomic<int> Calls = 0;

 private:
  std::vector<std::pair<std::string, std::string>> rows_;
  httplib::Server server_;
  int port_ = 0;
  std::thread thread_;
};

void Measure_Run(const fs::path& folder) {
  SlowService service;
  for (const char* run : {"cold", "warm"}) {
    const auto source = Source(folder / "run.db", service.Address());
    QuoteServer server{source};
    httplib::Client client{"127.0.0.1", server.Start()};
    client.set_keep_alive(true);
    service.Calls = 0;
    const auto begin = steady_clock::now();
    for (int number = 0; number < RunSymbols; ++number) {
      const auto answer = client.Get("/quotes?Interval=1440&Symbol=" + Symbol(number));
      if (!answer || answer->status != 200 || answer->body.size() < 20'000)
        Fail("no answer of the run: " + (answer ? answer->body.substr(0, 200) : std::string{}));
    }
    std::printf("%s run of %d symbols, one after the other, service with %d ms latency: %.2f s, %d calls\n",
                run, RunSymbols, static_cast<int>(Latency.count()),
                duration<double>(steady_clock::now() - begin).count(), service.Calls.load());
  }
}

}  // namespace
}  // namespace hq::server

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::current_path() / "archive_benchmark_files";
  fs::remove_all(folder);
  fs::create_directory(folder);
  const bool all = argc < 2 || std::string_view{argv[1]} != "run";
  if (all) hq::server::Measure_Answers(folder);
  if (all) hq::server::Measure_Many(folder);
  hq::server::Measure_Run(folder);
  fs::remove_all(folder);
  return 0;
}
