#include "base/run_time_error.h"

#include <cerrno>
#include <filesystem>
#include <future>
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace hq {
namespace {

template <class Exception>
RunTimeError Caught(const Exception& exception) {
  try {
    throw exception;
  } catch (...) {
    return Current_Error();
  }
}

TEST(RunTimeError, HasTheClassicNumbersAndDescriptions) {
  const std::vector<std::pair<int, std::string>> table = {
      {5, "Invalid procedure call or argument"},
      {6, "Overflow"},
      {7, "Out of memory"},
      {9, "Subscript out of range"},
      {13, "Type mismatch"},
      {51, "Internal error"},
      {52, "Bad file name or number"},
      {53, "File not found"},
      {57, "Device I/O error"},
      {61, "Disk full"},
      {62, "Input past end of file"},
      {67, "Too many files"},
      {70, "Permission denied"},
      {75, "Path/File access error"},
      {76, "Path not found"},
      {35756, "Unable to complete request"},
  };
  for (const auto& [number, description] : table) {
    EXPECT_EQ(Error_Description(number), description);
    EXPECT_EQ(RunTimeError(number).Description(), description);
    EXPECT_EQ(RunTimeError(number).Number(), number);
  }
}

TEST(RunTimeError, NamesItsNumbers) {
  EXPECT_EQ(InvalidProcedureCall, 5);
  EXPECT_EQ(Overflow, 6);
  EXPECT_EQ(OutOfMemory, 7);
  EXPECT_EQ(SubscriptOutOfRange, 9);
  EXPECT_EQ(TypeMismatch, 13);
  EXPECT_EQ(InternalError, 51);
  EXPECT_EQ(BadFileName, 52);
  EXPECT_EQ(FileNotFound, 53);
  EXPECT_EQ(DeviceIOError, 57);
  EXPECT_EQ(DiskFull, 61);
  EXPECT_EQ(InputPastEnd, 62);
  EXPECT_EQ(TooManyFiles, 67);
  EXPECT_EQ(PermissionDenied, 70);
  EXPECT_EQ(PathFileAccessError, 75);
  EXPECT_EQ(PathNotFound, 76);
  EXPECT_EQ(UnableToCompleteRequest, 35756);
}

TEST(RunTimeError, DescribesUnknownNumbersInGeneral) {
  for (const int number : {0, -1, 12345, 999999}) {
    EXPECT_EQ(Error_Description(number), "Application-defined or object-defined error");
  }
}

TEST(RunTimeError, KeepsItsDetailApart) {
  const RunTimeError error(DiskFull, "quotes.txt: no room");
  EXPECT_EQ(error.Description(), "Disk full");
  EXPECT_EQ(error.Detail(), "quotes.txt: no room");
  EXPECT_STREQ(error.what(), "Disk full: quotes.txt: no room");
  EXPECT_STREQ(RunTimeError(TypeMismatch).what(), "Type mismatch");
  EXPECT_EQ(RunTimeError(TypeMismatch).Detail(), "");
}

TEST(FileError, TurnsTheSystemsReasonIntoANumber) {
  const std::vector<std::pair<int, int>> table = {
    {ENOENT, FileNotFound},
    {ENOTDIR, PathNotFound},
    {EACCES, PermissionDenied},
    {EPERM, PermissionDenied},
    {EROFS, PermissionDenied},
    {ETXTBSY, PermissionDenied},
    {ENOSPC, DiskFull},
    {EFBIG, DiskFull},
    {EIO, DeviceIOError},
    {EMFILE, TooManyFiles},
    {ENFILE, TooManyFiles},
    {ENAMETOOLONG, BadFileName},
    {EINVAL, BadFileName},
    {ENOMEM, OutOfMemory},
    {EISDIR, PathFileAccessError},
    {ELOOP, PathFileAccessError},
    {EXDEV, PathFileAccessError},
    {EBUSY, PathFileAccessError},
#if defined(EDQUOT) && !defined(_WIN32)
    {EDQUOT, DiskFull},
#endif
  };
  for (const auto& [reason, number] : table) {
    const std::error_code code(reason, std::generic_category());
    EXPECT_EQ(File_Error(code, "x").Number(), number) << code.message();
#ifndef _WIN32
    EXPECT_EQ(File_Error(std::error_code(reason, std::system_category()), "x").Number(), number)
        << code.message();
#endif
  }
}

TEST(FileError, NamesThePathAndTheReason) {
  const std::error_code code(ENOSPC, std::generic_category());
  EXPECT_EQ(File_Error(code, "some/file.txt").Detail(), "some/file.txt: " + code.message());
}

TEST(FileError, TakesCodesOfOtherCategories) {
  EXPECT_EQ(File_Error(std::make_error_code(std::future_errc::no_state), "x").Number(), PathFileAccessError);
}

TEST(CurrentError, KeepsARunTimeErrorAsItIs) {
  const RunTimeError error = Caught(RunTimeError(PermissionDenied, "detail"));
  EXPECT_EQ(error.Number(), PermissionDenied);
  EXPECT_EQ(error.Detail(), "detail");
}

TEST(CurrentError, TurnsStandardExceptionsIntoRunTimeErrors) {
  EXPECT_EQ(Caught(std::bad_alloc()).Number(), OutOfMemory);
  EXPECT_EQ(Caught(std::bad_array_new_length()).Number(), OutOfMemory);
  EXPECT_EQ(Caught(std::out_of_range("index")).Number(), SubscriptOutOfRange);
  EXPECT_EQ(Caught(std::out_of_range("index")).Detail(), "index");
  EXPECT_EQ(Caught(std::logic_error("why")).Number(), InternalError);
  EXPECT_EQ(Caught(std::logic_error("why")).Detail(), "why");
  EXPECT_EQ(Caught(std::exception()).Number(), InternalError);
}

TEST(CurrentError, ReadsTheCodeOfSystemErrors) {
  EXPECT_EQ(Caught(std::system_error(EACCES, std::generic_category())).Number(), PermissionDenied);
  EXPECT_EQ(Caught(std::system_error(ENOSPC, std::generic_category(), "while writing")).Number(), DiskFull);
  EXPECT_TRUE(Caught(std::system_error(ENOSPC, std::generic_category(), "while writing"))
                  .Detail()
                  .starts_with("while writing"));
  const std::filesystem::filesystem_error missing("open", "some/file",
                                                  std::make_error_code(std::errc::no_such_file_or_directory));
  EXPECT_EQ(Caught(missing).Number(), FileNotFound);
  EXPECT_NE(Caught(missing).Detail().find("some/file"), std::string::npos);
}

TEST(CurrentError, TurnsAnythingElseIntoAnInternalError) {
  EXPECT_EQ(Caught(42).Number(), InternalError);
  EXPECT_EQ(Caught(42).Description(), "Internal error");
}

}  // namespace
}  // namespace hq
