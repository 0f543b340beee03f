#include <dlfcn.h>
#include <netdb.h>

#include "quotes/scripted_look_up.h"

// libcurl finds this one in front of the C library's.
extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
  static const auto system = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return hq::test::Scripted_Answer(system, EAI_NONAME, node, service, hints, result);
}
