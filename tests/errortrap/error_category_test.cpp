#include "errortrap/error_category.h"

#include <gtest/gtest.h>

#include "base/run_time_error.h"

namespace hq {
namespace {

TEST(ErrorCategory, FollowsTheNumber) {
  for (const int number : {BadFileName, FileNotFound, DeviceIOError, DiskFull, InputPastEnd, TooManyFiles,
                           PermissionDenied, PathFileAccessError, PathNotFound}) {
    EXPECT_EQ(Error_Category(number), "File System (disk, directory or file) access") << number;
  }
  for (const int number :
       {InvalidProcedureCall, Overflow, OutOfMemory, SubscriptOutOfRange, TypeMismatch, InternalError}) {
    EXPECT_EQ(Error_Category(number), "General run-time") << number;
  }
  EXPECT_EQ(Error_Category(482), "Printer access");
  EXPECT_EQ(Error_Category(UnableToCompleteRequest), "Internet transfer");
  for (const int number : {-1, 0, 1000, 100000})
    EXPECT_EQ(Error_Category(number), "Unknown Error Class") << number;
}

}  // namespace
}  // namespace hq
