// Measures the way from a server's answer to the finished file beside the same work done plainly with the
// standard library, and the smaller steps that the way is made of.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "allocation_count.h"
#include "base/numbers.h"
#include "benchmark_support.h"
#include "errortrap/procedure.h"
#include "output/file_name.h"
#include "output/file_writer.h"
#include "output/format_catalogue.h"
#include "plain_version.h"
#include "platform/files.h"
#include "quotes/quote_ordering.h"
#include "quotes/quote_parser.h"
#include "sample_answer.h"

namespace hq::benchmarks {

namespace {

namespace fs = std::filesystem;

constexpr int Rows[] = {500, 5'000, 32'000};
constexpr RowOrder Orders[] = {RowOrder::InOrder, RowOrder::Shuffled};
constexpr std::int16_t DaysKept = 100;  // more than the largest answer has
constexpr int Repetitions = 7;

const char* Name_Of(RowOrder order) {
  return order == RowOrder::InOrder ? "in order" : "shuffled";
}

class SilentLoop final : public MessageLoop {
 public:
  void DoEvents() override {}
  void Sleep(std::chrono::milliseconds) override {}
  void Post(std::function<void()>) override {}
};

// Everything that a run shares from one symbol to the next.
class Engine {
 public:
  explicit Engine(const std::string& folder) {
    Load_Format(trap_, catalogue_, settings_);
    settings_.CurrentSymbol = "MSFT";
    settings_.IntervalCode = 1;
    settings_.DayCount = DaysKept;
    settings_.OutputFolder = folder;
  }

  void Answer_To_File(const std::string& answer) {
    TransferState transfer;
    transfer.ResponseText = answer;
    QuoteTable table;
    Process_Interday(trap_, transfer, table);
    if (Need_Sort(trap_, table)) QuickSort(trap_, boxes_, table.QuoteKeys, 0, table.QuoteCount - 1);
    Set_StartIndex(trap_, settings_, table);
    const std::string name = Create_FileName(trap_, boxes_, settings_, table);
    const WriteResult result = Write_File(trap_, loop_, boxes_, files_, catalogue_, settings_, table,
                                          Join_Path(settings_.OutputFolder, name));
    if (!result.Written || result.Error) {
      std::fprintf(stderr, "No file was written.\n");
      std::abort();
    }
  }

 private:
  SilentLoop loop_;
  FailingBoxes boxes_;
  modFailSafe trap_;
  SystemFiles files_;
  FormatCatalogue catalogue_;
  RunSettings settings_;
};

void Plainly(const std::string& answer, const std::string& folder) {
  Plain_Answer_To_File(answer, "MSFT", 1, DaysKept, folder);
}

// The one file in the folder, by name and bytes; the folder is empty afterwards.
std::string Take_File(const std::string& folder) {
  const fs::path path = fs::directory_iterator(folder)->path();
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  file.close();
  fs::remove(path);
  return path.filename().string() + "\n" + bytes;
}

void Require_Same_Files(const std::string& folder) {
  for (const int rows : Rows) {
    for (const RowOrder order : Orders) {
      const std::string answer = Sample_Answer(rows, order);
      Engine(folder).Answer_To_File(answer);
      const std::string ours = Take_File(folder);
      Plainly(answer, folder);
      const auto lines = std::count(ours.begin(), ours.end(), '\n');
      // The name, the header line and the rows.
      if (ours == Take_File(folder) && lines == rows + 2) continue;
      std::fprintf(stderr, "The two versions write different files for %d rows %s.\n", rows, Name_Of(order));
      std::abort();
    }
  }
}

template <class Work>
void Measure_Rows(benchmark::State& state, Work&& work) {
  const std::string answer = Sample_Answer(static_cast<int>(state.range(0)),
                                           state.range(1) == 0 ? RowOrder::InOrder : RowOrder::Shuffled);
  work(answer);  // what is allocated once for all runs is not counted
  const Allocations before = Allocations_So_Far();
  work(answer);
  const Allocations after = Allocations_So_Far();
  for (auto unused : state) work(answer);
  const auto rows = static_cast<double>(state.range(0));
  state.counters["allocations/row"] = static_cast<double>(after.Count - before.Count) / rows;
  state.counters["bytes/row"] = static_cast<double>(after.Bytes - before.Bytes) / rows;
}

void Enter_Levels(modFailSafe& trap, int levels) {
  Skip_Failing_Statements(trap, {"global.bas", "Sub Enter_Levels"}, [&](SkippingStatements&) {
    if (levels > 1) Enter_Levels(trap, levels - 1);
  });
}

void Hook_Pair(benchmark::State& state) {
  modFailSafe trap;
  for (auto unused : state) Enter_Levels(trap, static_cast<int>(state.range(0)));
  state.counters["time/pair"] =
      benchmark::Counter(static_cast<double>(state.range(0)),
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

const std::vector<std::string>& Number_Texts() {
  static const std::vector<std::string> texts{"23.04", "23.14", "22.985", "101.5", "5875387", "7", "0.335"};
  return texts;
}

std::vector<float> Numbers() {
  std::vector<float> numbers;
  for (const std::string& text : Number_Texts()) numbers.push_back(To_Single(text));
  return numbers;
}

void Read_Number_Ours(benchmark::State& state) {
  for (auto unused : state) {
    for (const std::string& text : Number_Texts()) benchmark::DoNotOptimize(To_Single(text));
  }
}

void Read_Number_Strtof(benchmark::State& state) {
  for (auto unused : state) {
    for (const std::string& text : Number_Texts())
      benchmark::DoNotOptimize(std::strtof(text.c_str(), nullptr));
  }
}

void Write_Number_Ours(benchmark::State& state) {
  const std::vector<float> numbers = Numbers();
  std::string text;
  for (auto unused : state) {
    text.clear();
    for (const float number : numbers) Append_Fixed(text, number, 3);
    benchmark::DoNotOptimize(text.data());
  }
}

void Write_Number_Snprintf(benchmark::State& state) {
  const std::vector<float> numbers = Numbers();
  std::string text;
  for (auto unused : state) {
    text.clear();
    for (const float number : numbers) {
      char digits[64];
      const int length = std::snprintf(digits, sizeof digits, "%.3f", static_cast<double>(number));
      text.append(digits, static_cast<size_t>(length));
    }
    benchmark::DoNotOptimize(text.data());
  }
}

// Prints as usual and keeps the medians for the table at the end.
class KeepingReporter final : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median") continue;
      Processor[run.run_name.function_name + "/" + run.run_name.args] = run.GetAdjustedCPUTime();
      Clock[run.run_name.function_name + "/" + run.run_name.args] = run.GetAdjustedRealTime();
    }
  }

  // Medians in microseconds, by "NAME/ARGUMENTS".
  std::map<std::string, double> Processor;
  std::map<std::string, double> Clock;
};

void Print_Table(const KeepingReporter& results, const std::string& memory_folder) {
  std::printf("\nAnswer to file, median processor time in microseconds, files in %s\n",
              memory_folder.c_str());
  std::printf("%8s  %-9s %10s %10s %7s\n", "rows", "order", "ours", "plain", "times");
  for (size_t order = 0; order < std::size(Orders); ++order) {
    for (const int rows : Rows) {
      const std::string arguments = std::to_string(rows) + "/" + std::to_string(order);
      const auto ours = results.Processor.find("ours/" + arguments);
      const auto plain = results.Processor.find("plain/" + arguments);
      if (ours == results.Processor.end() || plain == results.Processor.end()) continue;
      std::printf("%8d  %-9s %10.0f %10.0f %7.1f\n", rows, Name_Of(Orders[order]), ours->second,
                  plain->second, plain->second / ours->second);
    }
  }
  std::printf(
      "\nThe same on a disk, rows in order, median elapsed time in microseconds; ours syncs the file\n");
  std::printf("%8s %10s %10s\n", "rows", "ours", "plain");
  for (const int rows : Rows) {
    const std::string arguments = std::to_string(rows) + "/0";
    const auto ours = results.Clock.find("ours_on_disk/" + arguments);
    const auto plain = results.Clock.find("plain_on_disk/" + arguments);
    if (ours == results.Clock.end() || plain == results.Clock.end()) continue;
    std::printf("%8d %10.0f %10.0f\n", rows, ours->second, plain->second);
  }
}

void Register_All(const std::string& memory_folder, const std::string& disk_folder) {
  const auto set_up = [](benchmark::internal::Benchmark* work) {
    work->Unit(benchmark::kMicrosecond)->Repetitions(Repetitions)->ReportAggregatesOnly();
  };
  const auto add_answers = [&](const char* name, std::vector<long> orders, auto work) {
    auto* const added =
        benchmark::RegisterBenchmark(name, [work](benchmark::State& state) { Measure_Rows(state, work); });
    set_up(added);
    for (const long order : orders) {
      for (const int rows : Rows) added->Args({rows, order});
    }
  };
  const auto ours = [](const std::string& folder) {
    return [engine = std::make_shared<Engine>(folder)](const std::string& answer) {
      engine->Answer_To_File(answer);
    };
  };
  const auto plain = [](const std::string& folder) {
    return [folder](const std::string& answer) { Plainly(answer, folder); };
  };
  add_answers("ours", {0, 1}, ours(memory_folder));
  add_answers("plain", {0, 1}, plain(memory_folder));
  add_answers("ours_on_disk", {0}, ours(disk_folder));
  add_answers("plain_on_disk", {0}, plain(disk_folder));
  benchmark::RegisterBenchmark("hook_pair", Hook_Pair)->Arg(1)->Arg(20);
  benchmark::RegisterBenchmark("read_number/ours", Read_Number_Ours);
  benchmark::RegisterBenchmark("read_number/strtof", Read_Number_Strtof);
  benchmark::RegisterBenchmark("write_number/ours", Write_Number_Ours);
  benchmark::RegisterBenchmark("write_number/snprintf", Write_Number_Snprintf);
}

int Run_All() {
  const bool memory = fs::is_directory("/dev/shm");
  const TemporaryFolder memory_folder(memory ? fs::path("/dev/shm") : fs::temp_directory_path());
  // The folder the program is started in: a temporary folder is often in memory too.
  const TemporaryFolder disk_folder(fs::current_path());
  Require_Same_Files(memory_folder.Path());
  Register_All(memory_folder.Path(), disk_folder.Path());
  KeepingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  Print_Table(reporter, memory ? "memory (/dev/shm)" : "the temporary folder");
  return EXIT_SUCCESS;
}

}  // namespace

}  // namespace hq::benchmarks

int main(int count, char** arguments) {
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) return EXIT_FAILURE;
  return hq::benchmarks::Run_All();
}
