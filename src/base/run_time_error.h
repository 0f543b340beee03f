#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

namespace hq {

// The numbers of the run-time errors that the program raises or tells apart.
enum RunTimeErrorNumber : int {
  InvalidProcedureCall = 5,
  Overflow = 6,
  OutOfMemory = 7,
  SubscriptOutOfRange = 9,
  TypeMismatch = 13,
  InternalError = 51,
  BadFileName = 52,
  FileNotFound = 53,
  DeviceIOError = 57,
  DiskFull = 61,
  InputPastEnd = 62,
  TooManyFiles = 67,
  PermissionDenied = 70,
  PathFileAccessError = 75,
  PathNotFound = 76,
  UnableToCompleteRequest = 35756,
};

// An error that a statement of the program raised, with its classic number and description. Every failure of
// the standard library or of the operating system becomes one where it arises, so that a handler has one kind
// to read.
class RunTimeError : public std::runtime_error {
 public:
  // detail says what failed and why in the system's own words (a path, a reason); it may be empty.
  explicit RunTimeError(int number, std::string detail = {});

  [[nodiscard]] int Number() const { return number_; }
  // The classic description, such as "Type mismatch".
  [[nodiscard]] const std::string& Description() const { return description_; }
  [[nodiscard]] const std::string& Detail() const { return detail_; }

 private:
  int number_;
  std::string description_;
  std::string detail_;
};

// The classic description of an error number; a general text for a number that has none here.
[[nodiscard]] std::string Error_Description(int number);

// The run-time error for a failed file operation on path.
[[nodiscard]] RunTimeError File_Error(std::error_code code, const std::string& path);

// The exception now being handled as a run-time error. Call it inside a catch block only.
[[nodiscard]] RunTimeError Current_Error();

}  // namespace hq
