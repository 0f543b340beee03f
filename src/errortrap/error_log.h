#pragma once

#include <string>
#include <vector>

namespace hq {

// What the error log keeps of one error. All texts are one line or more of the system's own 8-bit text.
struct ErrorRecord {
  std::string When;  // in the "General Date" form
  std::string Category;
  std::string Source;  // the program
  std::string Module;
  std::string Procedure;
  std::string CodePointer;  // "module : procedure" of the innermost entry, in place of a line number
  int Number = 0;
  std::string Description;            // with the detail
  std::vector<std::string> CallTree;  // the outermost first
  std::string SystemInformation;      // may be empty
};

// The error log: one record for each trapped error, appended.
//
// A record is written up to its user text before the user is asked, so that nothing is lost when the program
// ends meanwhile; what the user said is added when it comes.
class ErrorLog {
 public:
  // The places are tried in their order for each record until one takes it.
  explicit ErrorLog(std::vector<std::string> places);

  // Writes a record up to its user text. Returns its number for Finish, or 0 when no place took it.
  int Begin(const ErrorRecord& record);
  // Adds what the user said; an empty text ends the record too.
  void Finish(int record, const std::string& user_text);

  // Where the latest record went, empty when none did.
  [[nodiscard]] const std::string& Path() const;
};

// The text of a record from its date to the label of the user's text.
[[nodiscard]] std::string Error_Record_Text(const ErrorRecord& record);

}  // namespace hq
