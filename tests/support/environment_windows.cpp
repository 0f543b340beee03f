#include <cstdlib>
#include <utility>
#include <windows.h>

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
  // An empty value takes the variable away, for the system and for the C library.
  _putenv_s(name_.c_str(), value ? value->c_str() : "");
}

bool Under_Wine() {
  return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

}  // namespace hq::test
