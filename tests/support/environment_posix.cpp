#include <cstdlib>
#include <utility>

#include "support/environment.h"

namespace hq::test {

EnvironmentVariable::EnvironmentVariable(std::string name, const std::optional<std::string>& value)
    : name_(std::move(name)) {
  if (const char* old = std::getenv(name_.c_str())) old_ = old;
  Set(value);
}

EnvironmentVariable::~EnvironmentVariable() {
  Set(old_);
}

void EnvironmentVariable::Set(const std::optional<std::string>& value) {
  if (value)
    setenv(name_.c_str(), value->c_str(), 1);
  else
    unsetenv(name_.c_str());
}

bool Under_Wine() {
  return false;
}

}  // namespace hq::test
