// Measures what the trace of procedures adds to the run of one symbol, from the request to the file: the same
// run with the hooks off, with the hooks on, and with every entry and exit written to the trace log.
//
// The kinds of run take turns, so that what else the machine does meets all of them alike. A benchmark's time
// is that of the run with the hooks on; its counters give the medians and what the trace adds.

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "benchmark_support.h"
#include "cli/console_message_loop.h"
#include "errortrap/trap_session.h"
#include "output/format_catalogue.h"
#include "quotes/curl_transfer.h"
#include "run/download_run.h"
#include "sample_answer.h"
#include "server/http/quote_server.h"
#include "server/setup/make_source.h"

namespace hq::benchmarks {

namespace {

namespace fs = std::filesystem;

enum class Trace { Off, On, Written };
constexpr std::array Traces = {Trace::Off, Trace::On, Trace::Written};

class NoLog final : public DownloadLog {
 public:
  void Show() override {}
  void Clear() override {}
  void Add(const std::string&) override {}
};

class NoStatus final : public StatusLine {
 public:
  void Show(const std::string&) override {}
};

class NoDialog final : public ErrorDialog {
 public:
  ErrorAnswer Ask(const ErrorQuestion& question) override {
    std::fprintf(stderr, "Unexpected error: %s %s\n", question.Description.c_str(), question.Detail.c_str());
    std::abort();
  }
  void Further_Error(std::int32_t, const std::string&) override {}
  void Show_Report(const std::string&) override {}
};

class NoMail final : public MailSender {
 public:
  std::string Send(const Mail&) override { return "This program sends no mail."; }
};

// Always ten in the morning of the same day, so that the rows are put in order.
class FixedClock final : public Clock {
 public:
  [[nodiscard]] Date Today() const override { return std::chrono::year(2003) / 3 / 17; }
  [[nodiscard]] std::chrono::seconds Time_Of_Day() const override { return std::chrono::hours(10); }
};

// A transfer whose answer is there at once.
class ReadyTransfer final : public TransferControl {
 public:
  ReadyTransfer(MessageLoop& loop, std::string body) : loop_(loop), body_(std::move(body)) {}
  void Execute(const std::string&, const std::string&) override {
    taken_ = 0;
    loop_.Post([this] {
      for (int state = ResolvingHost; state <= Disconnected; ++state) StateChanged(state);
      StateChanged(ResponseCompleted);
    });
  }
  std::string GetChunk(size_t size, int) override {
    std::string piece = taken_ < body_.size() ? body_.substr(taken_, size) : std::string();
    taken_ += piece.size();
    return piece;
  }
  void Cancel() override {}
  [[nodiscard]] std::string Reason() const override { return {}; }

 private:
  MessageLoop& loop_;
  std::string body_;
  size_t taken_ = 0;
};

struct RunKind {
  std::string Name;
  std::string Folder;
  std::string RequestTemplate;
  std::int16_t IntervalCode = 1;
  std::int16_t DayCount = 100;
  std::function<std::unique_ptr<TransferControl>(MessageLoop&)> Make_Inet;
};

// Everything that a run needs, with one kind of trace.
class Program {
 public:
  Program(const RunKind& kind, Trace trace) {
    const std::string folder = kind.Folder + "/" + std::to_string(static_cast<int>(trace));
    fs::create_directories(folder);
    std::ofstream(folder + "/FSCLIENT.INI")
        << (trace == Trace::Written ? "[Log File]\r\nCapture To Disk=1\r\n" : "");
    session_ = std::make_unique<TrapSession>(
        trap_, TrapSessionParts{.FileSystem = files_,
                                .Time = clock_,
                                .Dialog = dialog_,
                                .Mail = mail_,
                                .Application = {.Title = "Benchmark",
                                                .ExeName = "run_trace_benchmark",
                                                .Version = "",
                                                .Folder = folder},
                                .Look_At_Machine = [] { return MachineFacts(); }});
    if (trace == Trace::Off) trap_.Read_Options = [] { return TraceOptions{.TraceOff = true}; };
    inet_ = kind.Make_Inet(loop_);
    run_ = std::make_unique<DownloadRun>(
        state_, RunServices{trap_, boxes_, loop_, files_, clock_, *inet_, status_, log_});
    Load_Format(trap_, state_.Formats, state_.Settings);
    state_.RequestTemplate = kind.RequestTemplate;
    state_.Settings.IntervalCode = kind.IntervalCode;
    state_.Settings.DayCount = kind.DayCount;
    state_.Settings.EndDate = std::chrono::year(2003) / 3 / 14;
    state_.Settings.OutputFolder = folder;
  }

  void Run() {
    state_.Settings.CurrentSymbol = "MSFT";
    state_.Quotes.QuoteCount = 0;
    const SymbolOutcome outcome = run_->Process_Onestock();
    if (outcome.Written && outcome.Reason.empty()) return;
    std::fprintf(stderr, "No file was written: %s\n", outcome.Reason.c_str());
    std::abort();
  }

  [[nodiscard]] int Records() const { return trap_.RecordCount(); }

 private:
  ConsoleMessageLoop loop_;
  modFailSafe trap_{&loop_};
  SystemFiles files_;
  FixedClock clock_;
  NoDialog dialog_;
  NoMail mail_;
  FailingBoxes boxes_;
  NoStatus status_;
  NoLog log_;
  SharedState state_;
  std::unique_ptr<TrapSession> session_;
  std::unique_ptr<TransferControl> inet_;
  std::unique_ptr<DownloadRun> run_;
};

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

void Run_With_Each_Trace(benchmark::State& state, const RunKind& kind) {
  std::vector<std::unique_ptr<Program>> programs;
  for (const Trace trace : Traces) programs.push_back(std::make_unique<Program>(kind, trace));
  for (const auto& program : programs) program->Run();
  std::array<std::vector<double>, Traces.size()> seconds;
  const int records_before = programs.back()->Records();
  size_t turn = 0;
  for (auto iteration : state) {
    (void)iteration;
    for (size_t place = 0; place < programs.size(); ++place) {
      // No kind always comes behind the same one.
      const size_t i = (place + turn) % programs.size();
      const auto start = std::chrono::steady_clock::now();
      programs[i]->Run();
      seconds[i].push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    state.SetIterationTime(seconds[static_cast<size_t>(Trace::On)].back());
    ++turn;
  }
  const double off = Median(seconds[0]);
  state.counters["off_us"] = off * 1e6;
  state.counters["on_us"] = Median(seconds[1]) * 1e6;
  state.counters["written_us"] = Median(seconds[2]) * 1e6;
  state.counters["on_adds_%"] = 100 * (Median(seconds[1]) / off - 1);
  state.counters["written_adds_%"] = 100 * (Median(seconds[2]) / off - 1);
  state.counters["hook_pairs"] =
      static_cast<double>(programs.back()->Records() - records_before) / static_cast<double>(turn) / 2;
}

int Run_All() {
  // The folder the program is started in: a temporary folder is often in memory too.
  const TemporaryFolder disk(fs::current_path());
  server::QuoteServer server(server::Make_Source("simulated"));
  server.Start();
  const auto download = [](MessageLoop& loop) { return std::make_unique<CurlTransfer>(loop); };
  std::vector<RunKind> kinds;
  kinds.push_back({"from_server/500_days", disk.Path(), server.Request_Template(), 1440, 500, download});
  kinds.push_back(
      {"from_server/20_days_of_5_minutes", disk.Path(), server.Request_Template(), 5, 20, download});
  for (const int rows : {500, 5'000}) {
    kinds.push_back({"answer_at_hand/" + std::to_string(rows) + "_rows", disk.Path(),
                     "http://host/XXX/SSS?&Date=DDD", 1, 100, [rows](MessageLoop& loop) {
                       return std::make_unique<ReadyTransfer>(loop, Sample_Answer(rows, RowOrder::InOrder));
                     }});
  }
  for (const RunKind& kind : kinds) {
    benchmark::RegisterBenchmark(kind.Name.c_str(),
                                 [kind](benchmark::State& state) { Run_With_Each_Trace(state, kind); })
        ->Unit(benchmark::kMicrosecond)
        ->UseManualTime()
        ->MinTime(2);
  }
  benchmark::RunSpecifiedBenchmarks();
  return EXIT_SUCCESS;
}

}  // namespace

}  // namespace hq::benchmarks

int main(int count, char** arguments) {
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) return EXIT_FAILURE;
  return hq::benchmarks::Run_All();
}
