#pragma once

#include <string>
#include <string_view>

namespace hq::server {

// What stands before the body of a request, as the HTTP library is given it.
struct RequestHead {
  // The request line and the header lines, each with CR LF at its end.
  std::string Text;
  // Whether a body follows, or what the server takes for one: then nothing behind the head is a request.
  bool Has_Body = false;
};

// Reads whole lines, which end in LF or CR LF; an unfinished last one is left out. Left out as well are the
// lines that ask for a part of the answer (the whole is sent, always) and those about a body (none is read).
[[nodiscard]] RequestHead Read_Head(std::string_view bytes);

}  // namespace hq::server
