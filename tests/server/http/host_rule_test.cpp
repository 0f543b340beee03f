#include "server/http/host_rule.h"

#include <gtest/gtest.h>

#include "base/strings.h"

namespace hq::server {
namespace {

TEST(HostRule, AnswersTheNamesOfLoopback) {
  for (const char* host : {"localhost", "localhost:8080", "LOCALHOST", "localhost.", "localhost.:80",
                           "localhost:", "a.localhost", "a.b.localhost:1", "127.0.0.1", "127.0.0.1:65535",
                           "127.255.255.254", "[::1]", "[::1]:8080"}) {
    EXPECT_TRUE(Is_Host_Answered(host, {})) << host;
  }
}

TEST(HostRule, AnswersNoOthers) {
  for (const char* host : {"",
                           ":",
                           ":80",
                           "example.com",
                           "example.com:80",
                           "localhost.example.com",
                           "127.0.0.1.example.com",
                           "127.example.com",
                           "xlocalhost",
                           ".localhost",
                           "128.0.0.1",
                           "0.0.0.0",
                           "10.0.0.1",
                           "192.168.1.1:80",
                           "127.0.0",
                           "127.0.0.1.1",
                           "127.0.0.256",
                           "127.0.0.",
                           "127..0.1",
                           "127.0.0.1x",
                           "127.0.0.0001",
                           "localhost:80:80",
                           "localhost:x",
                           "localhost:80@example.com",
                           "user@localhost",
                           "localhost,example.com",
                           "localhost example.com",
                           "[::1",
                           "[::1]x",
                           "[::1]:x",
                           "[::2]",
                           "::1",
                           "[]",
                           "[::1].example.com"}) {
    EXPECT_FALSE(Is_Host_Answered(host, {})) << host;
  }
}

TEST(HostRule, AnswersTheHostsOfTheList) {
  const auto listed = Parts_Of_List("Quotes.Lan, desk:8080,fd00::1, [fd00::2]:81");
  for (const char* host : {"quotes.lan", "QUOTES.lan.:1", "desk:8080", "[fd00::1]", "[FD00::1]:5",
                           "[fd00::2]:81", "localhost"}) {
    EXPECT_TRUE(Is_Host_Answered(host, listed)) << host;
  }
  for (const char* host : {"desk", "desk:8081", "a.quotes.lan", "quotes.lan.example.com", "[fd00::2]",
                           "fd00::1", "", "example.com"})
    EXPECT_FALSE(Is_Host_Answered(host, listed)) << host;
}

TEST(HostRule, KnowsTheAddressesThatOnlyThisComputerReaches) {
  for (const char* address : {"127.0.0.1", "127.3.2.1", "::1", "::ffff:127.0.0.1"})
    EXPECT_TRUE(Is_Loopback_Address(address)) << address;
  for (const char* address :
       {"", "0.0.0.0", "::", "192.168.0.1", "::ffff:10.0.0.1", "fe80::1%eth0", "127.0.0", "1"})
    EXPECT_FALSE(Is_Loopback_Address(address)) << address;
}

}  // namespace
}  // namespace hq::server
