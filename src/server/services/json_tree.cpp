#include "server/services/json_tree.h"

#include <nlohmann/json.hpp>

namespace hq::server {

// Takes the events of the JSON library's reader.
class JsonTreeBuilder {
 public:
  using number_integer_t = nlohmann::json::number_integer_t;
  using number_unsigned_t = nlohmann::json::number_unsigned_t;
  using number_float_t = nlohmann::json::number_float_t;
  using string_t = nlohmann::json::string_t;
  using binary_t = nlohmann::json::binary_t;

  // NOLINTBEGIN(readability-identifier-naming): the library calls these names.
  bool null() { return Add(JsonKind::Null, {}); }
  bool boolean(bool value) { return Add(JsonKind::Boolean, value ? "true" : "false"); }
  bool number_integer(number_integer_t value) { return Add(JsonKind::Number, std::to_string(value)); }
  bool number_unsigned(number_unsigned_t value) { return Add(JsonKind::Number, std::to_string(value)); }
  bool number_float(number_float_t, const string_t& digits) { return Add(JsonKind::Number, digits); }
  bool string(string_t& text) { return Add(JsonKind::Text, text); }
  bool binary(binary_t&) { return false; }
  bool key(string_t& name) {
    name_begin_ = Keep(name);
    name_size_ = static_cast<std::uint32_t>(name.size());
    return true;
  }
  bool start_object(std::size_t) { return Open(JsonKind::Object); }
  bool end_object() { return Close(); }
  bool start_array(std::size_t) { return Open(JsonKind::Array); }
  bool end_array() { return Close(); }
  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception&) {
    error_.Position = position;
    return false;
  }
  // NOLINTEND(readability-identifier-naming)

  JsonTree Take() { return std::move(tree_); }
  [[nodiscard]] JsonError Error() const { return error_; }

 private:
  std::uint32_t Keep(std::string_view text) {
    const auto begin = static_cast<std::uint32_t>(tree_.characters_.size());
    tree_.characters_ += text;
    return begin;
  }

  bool Add(JsonKind kind, std::string_view text) {
    const auto begin = Keep(text);
    const auto end = static_cast<JsonTree::Place>(tree_.entries_.size() + 1);
    tree_.entries_.push_back(
        {kind, name_begin_, name_size_, begin, static_cast<std::uint32_t>(text.size()), end});
    name_size_ = 0;
    return true;
  }

  bool Open(JsonKind kind) {
    open_.push_back(static_cast<JsonTree::Place>(tree_.entries_.size()));
    return Add(kind, {});
  }

  bool Close() {
    tree_.entries_[open_.back()].End = static_cast<JsonTree::Place>(tree_.entries_.size());
    open_.pop_back();
    return true;
  }

  JsonTree tree_;
  std::vector<JsonTree::Place> open_;
  std::uint32_t name_begin_ = 0;
  std::uint32_t name_size_ = 0;
  JsonError error_;
};

std::variant<JsonTree, JsonError> JsonTree::Read(std::string_view text) {
  constexpr std::size_t most = std::size_t{1} << 30U;
  if (text.size() > most) return JsonError{most};
  JsonTreeBuilder builder;
  if (!nlohmann::json::sax_parse(text.begin(), text.end(), &builder)) return builder.Error();
  return builder.Take();
}

std::string_view JsonTree::Text(Place place) const {
  const Entry& entry = entries_[place];
  return std::string_view{characters_}.substr(entry.Text_Begin, entry.Text_Size);
}

std::string_view JsonTree::Name(Place place) const {
  const Entry& entry = entries_[place];
  return std::string_view{characters_}.substr(entry.Name_Begin, entry.Name_Size);
}

std::optional<JsonTree::Place> JsonTree::Find(Place from, const Path& path) const {
  for (const PathStep& step : path) {
    std::optional<Place> found;
    const auto* const name = std::get_if<std::string>(&step);
    if (Kind(from) != (name != nullptr ? JsonKind::Object : JsonKind::Array)) return std::nullopt;
    std::size_t index = 0;
    for (Place child = First(from); child != End(from); child = Next(child), ++index) {
      if (name != nullptr ? Name(child) == *name : index == std::get<std::size_t>(step)) found = child;
    }
    if (!found) return std::nullopt;
    from = *found;
  }
  return from;
}

}  // namespace hq::server
