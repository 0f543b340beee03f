#include "entry/entry_checks.h"

#include "base/numbers.h"
#include "entry/interval_choice.h"
#include "errortrap/procedure.h"

namespace hq {

namespace {

constexpr const char* NothingSelected = "You need to pick at least one stock to start download!";
constexpr const char* IntradayWithDaily =
    "You chose an intraday time interval with a daily output format.\n"
    "Make both the same(Intraday or Daily)!\n"
    "If you are not sure about the output format to use, try 'Text with header-Intraday' or 'Text with "
    "header-Daily'";
constexpr const char* DailyWithIntraday =
    "You chose a Daily time interval with an intraday output format.\n\n"
    "Make both the same(Intraday or Daily)!\n"
    "If you are not sure about the output format to use, try 'Text with header-Intraday' or 'Text with "
    "header-Daily'";
constexpr const char* MissingFolder =
    "Missing output folder!\nClick the small button '...' next to 'Output Folder' box to choose a folder";
constexpr const char* FolderNotThere =
    "Output folder doesn't exist!\nClick the small button '...' next to 'Output Folder' box to choose a "
    "folder";

bool Any_Selected(const StockList& stocks) {
  for (int i = 0; i < stocks.Count(); ++i) {
    if (stocks.Selected(i)) return true;
  }
  return false;
}

}  // namespace

std::int16_t Keyin_Number(modFailSafe& trap, std::int16_t key) {
  return Keep_Trap_Handler(trap, {"global.bas", "Function Keyin_Number"},
                           [&](TrappedStatements&) -> std::int16_t {
                             constexpr std::int16_t backspace = 8;
                             return key == backspace || (key >= '0' && key <= '9') ? key : std::int16_t{0};
                           });
}

std::int16_t Days_Entered(std::string_view text) {
  return To_Integer16(Leading_Number(text));
}

std::string Days_Fault(std::string_view interval_text, std::string_view days_text) {
  const std::int16_t limit = Day_Limit(interval_text);
  const std::int16_t days = Days_Entered(days_text);
  if (days >= 1 && days <= limit) return {};
  return "Based on time interval chosen, 'Days' has to be between 1 and " + std::to_string(limit);
}

std::string End_Date_Fault(int box, std::string_view text) {
  const double number = Leading_Number(text);
  switch (box) {
    case 0:
      return number < 1 || number > 12 ? "Invalid month value! Enter between 1 to 12" : "";
    case 1:
      return number < 1 || number > 31 ? "Invalid day value. Enter between 1 to 31" : "";
    default:
      return text.size() > 2 || text < "00" || text > "99" ? "Invalid day value. Enter between 00 to 99" : "";
  }
}

bool Valid_Entry(modFailSafe& trap, MessageBoxes& boxes, MessageLoop& loop, Files& files,
                 const StockList& stocks, const EntryTexts& entry, const std::function<void()>& focus_days) {
  const auto refuse = [&](const std::string& text, MessageIcon icon = MessageIcon::None) {
    boxes.Show(text, DefaultTitle, MessageButtons::Ok, icon);
    return false;
  };
  return With_Own_Handler(
      trap, {"frmmain1.frm", "Function Valid_Entry"},
      [&] {
        if (!Any_Selected(stocks)) return refuse(NothingSelected);
        const bool intraday = Is_Intraday(entry.Interval);
        if (intraday != Is_Intraday(entry.OutputFormat)) {
          return refuse(intraday ? IntradayWithDaily : DailyWithIntraday, MessageIcon::CriticalStop);
        }
        if (entry.OutputFolder.empty()) return refuse(MissingFolder);
        if (!files.Exists(entry.OutputFolder)) return refuse(FolderNotThere);
        const std::string fault = Days_Fault(entry.Interval, entry.Days);
        if (fault.empty()) return true;
        refuse(fault);
        if (focus_days) focus_days();
        loop.DoEvents();
        return false;
      },
      [&](const RunTimeError& error) {
        boxes.Show("unhandled err: " + std::to_string(error.Number()) + " in Valid_Entry()");
        return false;
      });
}

}  // namespace hq
