#pragma once

#include <optional>
#include <string>

namespace hq::test {

// Sets an environment variable until the end of the scope; no value takes it away.
class EnvironmentVariable {
 public:
  EnvironmentVariable(std::string name, const std::optional<std::string>& value);
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
  ~EnvironmentVariable();

 private:
  void Set(const std::optional<std::string>& value);

  std::string name_;
  std::optional<std::string> old_;
};

// Whether Windows is played by Wine.
[[nodiscard]] bool Under_Wine();

}  // namespace hq::test
