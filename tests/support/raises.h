#pragma once

#include <gtest/gtest.h>
#include <utility>

#include "base/run_time_error.h"

namespace hq::test {

// The number of the run-time error that an action raises; 0 when it raises none. Any other exception goes
// through.
template <class Action>
int Error_Number_Of(Action&& action) {
  try {
    std::forward<Action>(action)();
  } catch (const RunTimeError& error) {
    return error.Number();
  }
  return 0;
}

}  // namespace hq::test

// Expects the statement to raise the run-time error of this number.
#define EXPECT_RAISES(statement, number) \
  EXPECT_EQ(::hq::test::Error_Number_Of([&] { static_cast<void>(statement); }), static_cast<int>(number))
