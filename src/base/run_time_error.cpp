#include "base/run_time_error.h"

#include <cerrno>
#include <new>
#include <utility>

namespace hq {

namespace {

std::string Whole_Text(int number, const std::string& detail) {
  return detail.empty() ? Error_Description(number) : Error_Description(number) + ": " + detail;
}

int Number_Of(std::error_code code) {
#if defined(EDQUOT) && !defined(_WIN32)
  // The one reason here that the standard library has no name for, in neither of its two categories of
  // reasons.
  const bool of_system =
      code.category() == std::generic_category() || code.category() == std::system_category();
  if (of_system && code.value() == EDQUOT) return DiskFull;
#endif
  const std::error_condition condition = code.default_error_condition();
  if (condition.category() != std::generic_category()) return PathFileAccessError;
  switch (static_cast<std::errc>(condition.value())) {
    case std::errc::no_such_file_or_directory:
      return FileNotFound;
    case std::errc::not_a_directory:
      return PathNotFound;
    case std::errc::permission_denied:
    case std::errc::operation_not_permitted:
    case std::errc::read_only_file_system:
    case std::errc::text_file_busy:
      return PermissionDenied;
    case std::errc::no_space_on_device:
    case std::errc::file_too_large:
      return DiskFull;
    case std::errc::io_error:
      return DeviceIOError;
    case std::errc::too_many_files_open:
    case std::errc::too_many_files_open_in_system:
      return TooManyFiles;
    case std::errc::filename_too_long:
    case std::errc::invalid_argument:
      return BadFileName;
    case std::errc::not_enough_memory:
      return OutOfMemory;
    default:
      return PathFileAccessError;
  }
}

}  // namespace

RunTimeError::RunTimeError(int number, std::string detail)
    : std::runtime_error(Whole_Text(number, detail)),
      number_(number),
      description_(Error_Description(number)),
      detail_(std::move(detail)) {}

std::string Error_Description(int number) {
  switch (number) {
    case InvalidProcedureCall:
      return "Invalid procedure call or argument";
    case Overflow:
      return "Overflow";
    case OutOfMemory:
      return "Out of memory";
    case SubscriptOutOfRange:
      return "Subscript out of range";
    case TypeMismatch:
      return "Type mismatch";
    case InternalError:
      return "Internal error";
    case BadFileName:
      return "Bad file name or number";
    case FileNotFound:
      return "File not found";
    case DeviceIOError:
      return "Device I/O error";
    case DiskFull:
      return "Disk full";
    case InputPastEnd:
      return "Input past end of file";
    case TooManyFiles:
      return "Too many files";
    case PermissionDenied:
      return "Permission denied";
    case PathFileAccessError:
      return "Path/File access error";
    case PathNotFound:
      return "Path not found";
    case UnableToCompleteRequest:
      return "Unable to complete request";
    default:
      return "Application-defined or object-defined error";
  }
}

RunTimeError File_Error(std::error_code code, const std::string& path) {
  return RunTimeError(Number_Of(code), path + ": " + code.message());
}

RunTimeError Current_Error() {
  try {
    throw;
  } catch (const RunTimeError& error) {
    return error;
  } catch (const std::bad_alloc&) {
    return RunTimeError(OutOfMemory);
  } catch (const std::system_error& error) {
    return RunTimeError(Number_Of(error.code()), error.what());
  } catch (const std::out_of_range& error) {
    return RunTimeError(SubscriptOutOfRange, error.what());
  } catch (const std::exception& error) {
    return RunTimeError(InternalError, error.what());
  } catch (...) {
    return RunTimeError(InternalError);
  }
}

}  // namespace hq
