#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace hq::test {

// A variable of the environment, put back at the end. A null value takes it out.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    Set(value);
  }
  Variable(const char* name, const std::string& value) : Variable(name, value.c_str()) {}
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() { Set(before_ ? before_->c_str() : nullptr); }

 private:
  void Set(const char* value) const {
    if (value != nullptr) {
      setenv(name_, value, 1);
    } else {
      unsetenv(name_);
    }
  }

  const char* name_;
  std::optional<std::string> before_;
};

}  // namespace hq::test
