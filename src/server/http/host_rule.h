#pragma once

#include <span>
#include <string>
#include <string_view>

namespace hq::server {

// Whether a numeric address, without brackets and port, is one that only this computer reaches.
[[nodiscard]] bool Is_Loopback_Address(std::string_view address);

// Whether a server on a loopback address answers a request with this value of the header line "Host". It does
// when the host is localhost, a name under localhost, an address of 127.0.0.0/8 or [::1], with any port or
// none, or one of `listed`; such a host without a port goes with every port. A page whose host leads to this
// computer only since its owner changed its address has none of these.
[[nodiscard]] bool Is_Host_Answered(std::string_view host, std::span<const std::string> listed);

}  // namespace hq::server
