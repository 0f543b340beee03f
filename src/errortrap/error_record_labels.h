#pragma once

#include <string_view>

// The texts that a record of the error log is put together from, in the order of its lines:
//
//   date and time
//   Category- ...
//   Source- ...
//   Module- ...
//   Line Number-  <unavailable: line numbers not used>
//   Code Pointer = module : procedure
//   Error Number- ...
//   Description- ...
//   the call tree, one line for each procedure, the outermost first
//   what else is known, if anything
//   User Text- ...
//   an empty line
namespace hq::error_record {

inline constexpr std::string_view Category = "Category- ";
inline constexpr std::string_view Source = "Source- ";
inline constexpr std::string_view Module = "Module- ";
inline constexpr std::string_view LineNumber = "Line Number- ";
inline constexpr std::string_view NoLineNumbers = " <unavailable: line numbers not used>";
inline constexpr std::string_view CodePointer = "Code Pointer =";
inline constexpr std::string_view ErrorNumber = "Error Number- ";
inline constexpr std::string_view Description = "Description- ";
inline constexpr std::string_view UserText = "User Text- ";
inline constexpr std::string_view LineEnd = "\r\n";

// The category of an error that is none of the classes told apart.
inline constexpr std::string_view UnknownCategory = "Unknown Error Class";

}  // namespace hq::error_record
