#pragma once

#include <string_view>

// The texts that a record of the error log is put together from, in the order of its lines:
//
//   date and time
//   Category- ...
//   Source- ...
//   Module- module : procedure
//   Line Number-  <unavailable: line numbers not used>
//   Code Pointer = module : procedure
//   Error Number- ...
//   Description- ...
//   Call Tree & Arguments
//       the procedures entered, one a line, the outermost first
//   System State Information
//       what is known of the machine, if anything
//   User Text- ...
//
// An empty line sets a record apart from what stands before it.
namespace hq::error_record {

inline constexpr std::string_view Category = "Category- ";
inline constexpr std::string_view Source = "Source- ";
inline constexpr std::string_view Module = "Module- ";
inline constexpr std::string_view LineNumber = "Line Number- ";
inline constexpr std::string_view NoLineNumbers = " <unavailable: line numbers not used>";
inline constexpr std::string_view CodePointer = "Code Pointer = ";
inline constexpr std::string_view ErrorNumber = "Error Number- ";
inline constexpr std::string_view Description = "Description- ";
inline constexpr std::string_view CallTree = "Call Tree & Arguments";
inline constexpr std::string_view SystemState = "System State Information";
inline constexpr std::string_view UserText = "User Text- ";
// What the user typed.
inline constexpr std::string_view UserSaid = "User Said: ";
inline constexpr std::string_view LineEnd = "\r\n";
// Before every further line of a text, so that none can look like a label.
inline constexpr std::string_view Indent = "    ";

// What is written between a text that ends so and a record, to leave an empty line between them. Of the text
// the last byte is enough; an empty one is the beginning of the file, where nothing is needed.
[[nodiscard]] constexpr std::string_view Gap_Behind(std::string_view text) {
  if (text.empty()) return {};
  if (text.back() == '\n') return "\r\n";
  return text.back() == '\r' ? "\n\r\n" : "\r\n\r\n";
}

// Stand for the procedures of an error that happened before the first one was entered, and outside of all.
inline constexpr std::string_view NoProcedureYet = "(no procedure yet)";
inline constexpr std::string_view NoProcedure = "(no procedure)";

// The category of an error that is none of the classes told apart.
inline constexpr std::string_view UnknownCategory = "Unknown Error Class";

}  // namespace hq::error_record
