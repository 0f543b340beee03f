#include "plain_version.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iomanip>
#include <set>
#include <sstream>
#include <stdexcept>
#include <tuple>
#include <vector>

namespace hq::benchmarks {

namespace {

struct Moment {
  int Year;
  int Month;
  int Day;
  int Hour;
  int Minute;

  friend auto operator<=>(const Moment&, const Moment&) = default;
};

struct Bar {
  Moment When;
  float Open;
  float High;
  float Low;
  float Close;
  long Volume;
};

bool Earlier(const Bar& one, const Bar& other) {
  return one.When < other.When;
}

std::tuple<int, int, int> Day_Of(const Bar& bar) {
  return {bar.When.Year, bar.When.Month, bar.When.Day};
}

Bar Bar_Of(const std::string& line) {
  std::array<std::string, 7> fields;
  std::istringstream rest(line);
  for (std::string& field : fields) {
    if (!std::getline(rest, field, ',')) throw std::runtime_error("incomplete line");
  }
  const std::string& date = fields[0];
  const std::string& time = fields[1];
  Bar bar{};
  bar.When.Year = 2000 + std::stoi(date.substr(0, 2));
  bar.When.Month = std::stoi(date.substr(2, 2));
  bar.When.Day = std::stoi(date.substr(4, 2));
  bar.When.Hour = std::stoi(time.substr(0, 2));
  bar.When.Minute = std::stoi(time.substr(2, 2));
  bar.Open = std::stof(fields[2]);
  bar.High = std::stof(fields[3]);
  bar.Low = std::stof(fields[4]);
  bar.Close = std::stof(fields[5]);
  bar.Volume = std::stol(fields[6]);
  return bar;
}

std::vector<Bar> Read_Bars(const std::string& answer) {
  const size_t opening = answer.find(",0930,");
  if (opening == std::string::npos || opening < 6) throw std::runtime_error("no data");
  std::istringstream lines(answer);
  lines.seekg(static_cast<std::streamoff>(opening - 6));
  std::vector<Bar> bars;
  std::string line;
  while (std::getline(lines, line)) bars.push_back(Bar_Of(line));
  return bars;
}

size_t First_To_Keep(const std::vector<Bar>& bars, int day_count) {
  std::set<std::tuple<int, int, int>> days;
  for (size_t i = bars.size(); i > 0; --i) {
    days.insert(Day_Of(bars[i - 1]));
    if (static_cast<int>(days.size()) > day_count) return i;
  }
  return 0;
}

std::string File_Name(const Bar& first, const Bar& last, const std::string& symbol, int interval_minutes) {
  std::ostringstream name;
  name << std::setfill('0');
  const auto put_day = [&](const Moment& when) {
    name << std::setw(2) << when.Month << std::setw(2) << when.Day << std::setw(2) << when.Year % 100;
  };
  put_day(first.When);
  name << '-';
  put_day(last.When);
  name << symbol << interval_minutes << "m.txt";
  return name.str();
}

}  // namespace

void Plain_Answer_To_File(const std::string& answer, const std::string& symbol, int interval_minutes,
                          int day_count, const std::string& folder) {
  std::vector<Bar> bars = Read_Bars(answer);
  if (!std::is_sorted(bars.begin(), bars.end(), Earlier)) std::sort(bars.begin(), bars.end(), Earlier);
  const size_t first = First_To_Keep(bars, day_count);

  std::ofstream file(folder + "/" + File_Name(bars.at(first), bars.back(), symbol, interval_minutes),
                     std::ios::binary);
  file << "Date,Time,Open,High,Low,Close,Volume\r\n";
  file << std::fixed << std::setprecision(3) << std::setfill('0');
  for (size_t i = first; i < bars.size(); ++i) {
    const Bar& bar = bars[i];
    file << std::setw(2) << bar.When.Month << '/' << std::setw(2) << bar.When.Day << '/' << std::setw(2)
         << bar.When.Year % 100 << ',' << std::setw(2) << bar.When.Hour << ':' << std::setw(2)
         << bar.When.Minute << ',' << bar.Open << ',' << bar.High << ',' << bar.Low << ',' << bar.Close << ','
         << bar.Volume << "\r\n";
  }
  file.close();
  if (!file) throw std::runtime_error("the file can't be written");
}

}  // namespace hq::benchmarks
