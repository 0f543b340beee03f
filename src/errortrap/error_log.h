#pragma once

#include <cstdint>
#include <functional>
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
  std::string CodePointer;  // "module : procedure", in place of a line number
  int Number = 0;
  std::string Description;            // with the detail
  std::vector<std::string> CallTree;  // the outermost first
  std::string SystemInformation;      // may be empty
};

// The error log: one record for each trapped error, appended. Lines end in CR LF; a file whose name ends in
// ".rtf" is rich text. The file is open only while it is written to, so others may write to it too.
//
// A record is written up to its user text before the user is asked, so that nothing is lost when the program
// ends meanwhile; what the user said is added when it comes. Nothing here raises an error.
class ErrorLog {
 public:
  // The places are tried in their order for each record until one takes it. last_place is asked for one more
  // when none of them did; it raises what keeps it from giving one, and may be empty.
  explicit ErrorLog(std::vector<std::string> places, std::function<std::string()> last_place = {});

  // Writes a record up to its user text. Returns its number for Finish, or 0 when no place took it.
  int Begin(const ErrorRecord& record);
  // Adds what the user said; an empty text ends the record too. When something else was appended meanwhile
  // the text becomes an entry "User Said- error 76: ..." of its own, and an empty text nothing.
  // Only the first call for a record adds anything. Returns whether all there was to add has been added.
  bool Finish(int record, const std::string& user_text);

  // Where the latest record went, empty when none did.
  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  struct Unfinished {
    int Record;
    int ErrorNumber;
    std::string Path;
    std::uint64_t Size;  // of the file with the record at its end
  };

  // Raises what keeps the place from taking the record.
  void Begin_In(const std::string& place, const ErrorRecord& record, const std::string& text);

  std::vector<std::string> places_;
  std::function<std::string()> last_place_;
  std::vector<Unfinished> unfinished_;
  std::string path_;
  int records_ = 0;
};

// The text of a record from its date to the label of the user's text, lines ended by CR LF, the last one not
// ended. No text within it can begin a line as a label does: further lines of a text are indented.
[[nodiscard]] std::string Error_Record_Text(const ErrorRecord& record);

}  // namespace hq
