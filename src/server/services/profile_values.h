#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "market/zone_time.h"
#include "server/services/json_tree.h"

// The values of a profile's text, each with its place, so that whoever reads one can say where a fault is.
namespace hq::server::profile_values {

// A word that may stand in a profile, and what it means.
template <typename T>
using Word = std::pair<std::string_view, T>;

// What is wrong with a profile: raised while it is read, and caught by its reader.
struct Fault {
  std::string Place;
  std::string Reason;
};

// A value of the profile with the path to it.
class Value {
 public:
  Value(const JsonTree& tree, JsonTree::Place place, std::string path)
      : tree_(&tree), place_(place), path_(std::move(path)) {}

  [[noreturn]] void Fail(std::string reason) const {
    throw Fault{path_.empty() ? "/" : path_, std::move(reason)};
  }

  [[nodiscard]] JsonKind Kind() const { return tree_->Kind(place_); }
  [[nodiscard]] const std::string& Where() const { return path_; }

  [[nodiscard]] std::string Text() const {
    if (Kind() != JsonKind::Text) Fail("it must be a text in quotes");
    const std::string_view text = tree_->Text(place_);
    if (std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x20; }))
      Fail("it holds a control character");
    return std::string{text};
  }

  [[nodiscard]] std::string Text_With_Content() const {
    std::string text = Text();
    if (text.empty()) Fail("it must not be empty");
    return text;
  }

  [[nodiscard]] bool Truth() const {
    if (Kind() != JsonKind::Boolean) Fail("it must be true or false");
    return tree_->Text(place_) == "true";
  }

  [[nodiscard]] int Number(int least, int most) const {
    int number = 0;
    const std::string_view text = tree_->Text(place_);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (Kind() != JsonKind::Number || error != std::errc{} || end != text.data() + text.size() ||
        number < least || number > most) {
      Fail("it must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
  }

  template <typename T, std::size_t Count>
  [[nodiscard]] T Choice(const std::array<Word<T>, Count>& words) const {
    const std::string text = Text();
    std::string choices;
    for (const auto& [word, meaning] : words) {
      if (word == text) return meaning;
      choices += (choices.empty() ? "\"" : ", \"") + std::string{word} + "\"";
    }
    Fail("it must be one of " + choices);
  }

  // The values in an array, or the members of an object.
  [[nodiscard]] std::vector<std::pair<std::string, Value>> Parts(JsonKind kind) const {
    if (Kind() != kind)
      Fail(kind == JsonKind::Array ? "it must be a list in square brackets" : "it must be in braces");
    std::vector<std::pair<std::string, Value>> parts;
    std::set<std::string_view> names;
    std::size_t index = 0;
    for (auto child = tree_->First(place_); child != tree_->End(place_); child = tree_->Next(child)) {
      const bool is_member = kind == JsonKind::Object;
      std::string name = is_member ? std::string{tree_->Name(child)} : std::to_string(index++);
      Value value{*tree_, child, path_ + "/" + name};
      if (is_member && !names.insert(tree_->Name(child)).second) value.Fail("it stands here twice");
      parts.emplace_back(std::move(name), std::move(value));
    }
    return parts;
  }

  [[nodiscard]] Path Steps() const {
    if (Kind() == JsonKind::Text) return {Text_With_Content()};
    Path path;
    for (const auto& [index, step] : Parts(JsonKind::Array)) {
      if (step.Kind() == JsonKind::Number) {
        path.emplace_back(static_cast<std::size_t>(step.Number(0, 1000000)));
      } else {
        path.emplace_back(step.Text());
      }
    }
    return path;
  }

  [[nodiscard]] Zone Named_Zone() const {
    const auto zone = Find_Zone(Text());
    if (!zone) Fail("the program has no zone of this name");
    return *zone;
  }

 private:
  const JsonTree* tree_;
  JsonTree::Place place_;
  std::string path_;
};

// The members of an object, each of which must be taken.
class Members {
 public:
  explicit Members(const Value& object) : object_(object), members_(object.Parts(JsonKind::Object)) {}

  std::optional<Value> Take(std::string_view name) {
    const auto found = std::ranges::find(members_, name, &std::pair<std::string, Value>::first);
    if (found == members_.end()) return std::nullopt;
    Value value = std::move(found->second);
    members_.erase(found);
    return value;
  }

  Value Need(std::string_view name) {
    auto value = Take(name);
    if (!value) object_.Fail("\"" + std::string{name} + "\" is missing");
    return *std::move(value);
  }

  void Finish() const {
    if (!members_.empty()) members_.front().second.Fail("the program knows no such member");
  }

 private:
  Value object_;
  std::vector<std::pair<std::string, Value>> members_;
};

// Sets `target` from a member when it is there.
template <typename T, typename Read>
void Set(Members& members, std::string_view name, T& target, Read read) {
  if (const auto value = members.Take(name)) target = read(*value);
}

}  // namespace hq::server::profile_values
