#include "output/format_catalogue.h"

#include "base/numbers.h"
#include "base/run_time_error.h"
#include "base/strings.h"
#include "errortrap/procedure.h"

namespace hq {

namespace {

struct OutputFormat {
  const char* FormatName;
  const char* SymbolPrefix;
  const char* DateLayout;
  const char* TimeLayout;
  const char* OpenInterestText;
  const char* HeaderLine;
  const char* SampleText;
};

constexpr const char* IntradayHeader = "Date,Time,Open,High,Low,Close,Volume";
constexpr const char* DailyHeader = "Date,Open,High,Low,Close,Volume";
constexpr const char* IntradaySample =
    "Date,Time,Open,High,Low,Close,Volume\n03/10/03,13:30,23.040,23.140,22.980,23.010,5875387";

// Headers and samples are what the programs that read the files and their users are used to. Some headers do
// not match the lines below them, and the volume of Supercharts' sample has two digits more than the others.
constexpr std::array<OutputFormat, FormatItemCount> Formats{{
    {"Aget", "", "MM/DD/YY", "", "0", "",
     "03/10/03,23.040,23.140,22.980,23.010,5875387,0\n03/11/03,23.060,23.270,22.900,23.150,14456329,0"},
    {"EWA/Winwaves ", "", "YYMMDD", "HHMM", "", "",
     "030310,1330,23.040,23.140,22.980,23.010,5875387\n030311,0930,23.060,23.270,22.900,23.150,14456329"},
    {"FCharts SE", "", "YYYYMMDD", "", "", "",
     "20030310,23.040,23.140,22.980,23.010,5875387\n20030311,23.060,23.270,22.900,23.150,14456329"},
    {"Metastock Downloader", "STOCK,D", "YYYYMMDD", "HH:MM", "",
     "<ticker>,<per>,<date>,<time>,<open>,<high>,<low>,<close>,<vol>",
     "<ticker>,<per>,<date>,<time>,<open>,<high>,<low>,<close>,<vol>\n"
     "MSFT,D,20030310,13:30,23.040,23.140,22.980,23.010,5875387\n"
     "MSFT,D,20030310,14:30,23.010,23.140,22.980,23.030,6617375"},
    {"Microsoft Excel", "", "MM/DD/YY", "HH:MM", "", IntradayHeader, IntradaySample},
    {"Neuroshell Day Trader", "", "MM/DD/YY", "HH:MM", "", IntradayHeader, IntradaySample},
    {"Sierra Chart EOD", "", "MM/DD/YY", "", "0", "DateOpenHighLowCloseVolumeOpenInterest",
     "DateOpenHighLowCloseVolumeOpenInterest\n03/10/03,23.040,23.140,22.980,23.010,5875387,0"},
    {"Sierra Chart Intraday", "", "MM/DD/YY", "HHMM", "", "DateTimeOpenHighLowCloseVolumeOpenInterest",
     "DateTimeOpenHighLowCloseVolumeOpenInterest\n03/10/03,1330,23.040,23.140,22.980,23.010,5875387"},
    {"Supercharts 4", "", "YYYY/MM/DD", "HHMM", "", IntradayHeader,
     "Date,Time,Open,High,Low,Close,Volume\n2003/03/10,1330,23.040,23.140,22.980,23.010,587538703"},
    {"TradeStation 2000i", "", "MM/DD/YYYY", "HHMM", "", IntradayHeader,
     "Date,Time,Open,High,Low,Close,Volume\n03/10/2003,1330,23.040,23.140,22.980,23.010,5875387"},
    {"TradeStation 4", "", "YYYY/MM/DD", "HHMM", "", IntradayHeader,
     "Date,Time,Open,High,Low,Close,Volume\n2003/03/10,1330,23.040,23.140,22.980,23.010,5875387"},
    {"Text with header-intraday", "", "MM/DD/YY", "HH:MM", "", IntradayHeader, IntradaySample},
    {"Text without header-intraday", "", "MM/DD/YY", "HH:MM", "", "",
     "03/10/03,13:30,23.040,23.140,22.980,23.010,5875387"},
    {"Text with header-Daily", "", "MM/DD/YY", "", "", DailyHeader,
     "Date,Open,High,Low,Close,Volume\n03/10/03,23.040,23.140,22.980,23.010,5875387"},
    {"Text without header-Daily", "", "MM/DD/YY", "", "", "",
     "\n03/10/03,23.040,23.140,22.980,23.010,5875387"},
}};

struct FormatItem {
  const char* DisplayText;
  size_t Blanks;
  const char* IndexText;
};

constexpr std::array<FormatItem, FormatItemCount> Items{{
    {"Aget -Daily", 57, "00"},
    {"EWA/Winwaves-Intraday", 37, "01"},
    {"FCharts SE- Daily", 48, "02"},
    {"Metastock Downloader-Intraday", 28, "03"},
    {"Microsoft Excel-Intraday", 39, "04"},
    {"Neuroshell Day Trader-Intraday", 29, "05"},
    {"Sierra Chart EOD-Daily", 42, "06"},
    {"Sierra Chart Intraday-Intraday", 32, "07"},
    {"Supercharts 4-Intraday", 42, "08"},
    {"TradeStation 2000i-Intraday", 35, "09"},
    {"TradeStation 4-Intraday", 41, "10"},
    {"Text with header-Intraday", 38, "11"},
    {"Text without header-Intraday", 34, "12"},
    {"Text with header-Daily", 44, "13"},
    {"Text without header-Daily", 40, "14"},
}};

constexpr size_t IndexDigits = 2;
constexpr std::int16_t FormatAtStart = 11;

}  // namespace

void Load_Format(modFailSafe& trap, FormatCatalogue& catalogue, RunSettings& settings) {
  Skip_Failing_Statements(trap, {"disk.bas", "Sub Load_Format"}, [&](SkippingStatements& statement) {
    settings.CurrentFormat = FormatAtStart;
    catalogue.FormatCount = FormatItemCount;
    for (size_t i = 0; i < Formats.size(); ++i) {
      const OutputFormat& format = Formats[i];
      statement([&] { catalogue.FormatName[i] = format.FormatName; });
      statement([&] { catalogue.SymbolPrefix[i] = format.SymbolPrefix; });
      statement([&] { catalogue.DateLayout[i] = format.DateLayout; });
      statement([&] { catalogue.TimeLayout[i] = format.TimeLayout; });
      statement([&] { catalogue.OpenInterestText[i] = format.OpenInterestText; });
      statement([&] { catalogue.HeaderLine[i] = format.HeaderLine; });
      statement([&] { catalogue.SampleText[i] = format.SampleText; });
    }
  });
}

const std::array<std::string, FormatItemCount>& Format_Items() {
  static const std::array<std::string, FormatItemCount> texts = [] {
    std::array<std::string, FormatItemCount> result;
    for (size_t i = 0; i < Items.size(); ++i) {
      result[i] = Items[i].DisplayText + std::string(Items[i].Blanks, ' ') + Items[i].IndexText;
    }
    return result;
  }();
  return texts;
}

std::int16_t Format_Index(std::string_view item_text) {
  const size_t cut = item_text.size() < IndexDigits ? 0 : item_text.size() - IndexDigits;
  return To_Integer16(Leading_Number(item_text.substr(cut)));
}

std::string Format_Display_Name(std::string_view item_text) {
  if (item_text.size() < IndexDigits) throw RunTimeError(InvalidProcedureCall);
  return std::string(Trim(item_text.substr(0, item_text.size() - IndexDigits)));
}

FormatSamples Samples_Of(const FormatCatalogue& catalogue, std::string_view item_text) {
  return {"Samples: " + Format_Display_Name(item_text),
          Slot(catalogue.SampleText, Format_Index(item_text)) + "\n . . . "};
}

const std::string& Slot(const FormatCatalogue::Texts& texts, int index) {
  if (index < 0 || static_cast<size_t>(index) >= texts.size()) throw RunTimeError(SubscriptOutOfRange);
  return texts[static_cast<size_t>(index)];
}

}  // namespace hq
