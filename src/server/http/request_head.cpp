#include "server/http/request_head.h"

#include <algorithm>
#include <array>

#include "base/strings.h"

namespace hq::server {
namespace {

constexpr std::array<std::string_view, 7> names_left_out = {
    "Range", "If-Range", "Content-Length", "Transfer-Encoding", "Content-Encoding", "Content-Type", "Expect"};

std::string_view Name_Of(std::string_view line) {
  return Trim_White(line.substr(0, line.find(':')));
}

bool Announces_Body(std::string_view name, std::string_view line) {
  if (Equal_Without_Case(name, "Transfer-Encoding")) return true;
  return Equal_Without_Case(name, "Content-Length") && Trim_White(line.substr(line.find(':') + 1)) != "0";
}

}  // namespace

RequestHead Read_Head(std::string_view bytes) {
  RequestHead head;
  head.Text.reserve(bytes.size() + 16);
  bool is_request_line = true;
  bool left_out = false;
  for (auto end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
    std::string_view line = bytes.substr(0, end);
    bytes.remove_prefix(end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (is_request_line) {
      is_request_line = false;
      head.Has_Body = !line.starts_with("GET ") && !line.starts_with("HEAD ");
    } else if (!line.starts_with(' ') && !line.starts_with('\t')) {
      // A line that begins with a blank goes on with the one before it.
      const std::string_view name = Name_Of(line);
      left_out = std::ranges::any_of(
          names_left_out, [name](std::string_view other) { return Equal_Without_Case(name, other); });
      head.Has_Body = head.Has_Body || (left_out && Announces_Body(name, line));
    }
    if (!left_out) head.Text.append(line).append("\r\n");
  }
  return head;
}

}  // namespace hq::server
