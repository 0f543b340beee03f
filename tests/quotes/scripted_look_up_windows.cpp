#include <winsock2.h>
#include <ws2tcpip.h>

#include "quotes/scripted_look_up.h"

namespace {

int WSAAPI Look_Up(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
  static const auto system = reinterpret_cast<decltype(&getaddrinfo)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ws2_32.dll"), "getaddrinfo")));
  return hq::test::Scripted_Answer(system, EAI_NONAME, node, service, hints, result);
}

}  // namespace

// The statically linked libcurl calls by this pointer, which it would otherwise take from the import library.
extern "C" {
#ifdef _WIN64
decltype(&getaddrinfo) __imp_getaddrinfo = Look_Up;
#else
decltype(&getaddrinfo) imp_getaddrinfo __asm__("__imp__getaddrinfo@16") = Look_Up;
#endif
}
