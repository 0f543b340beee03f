#include "server/http/request_head.h"

#include <gtest/gtest.h>

namespace hq::server {
namespace {

TEST(RequestHead, StaysAsItIs) {
  const std::string text = "GET /a?b=c HTTP/1.1\r\nHost: x\r\nX-Range: bytes=0-1\r\nRanges: 1\r\n\r\n";
  const RequestHead head = Read_Head(text);
  EXPECT_EQ(head.Text, text);
  EXPECT_FALSE(head.Has_Body);
}

TEST(RequestHead, LosesWhatAsksForAPart) {
  EXPECT_EQ(Read_Head("GET / HTTP/1.1\r\nRange: bytes=0-1\r\nHost: x\r\nRANGE:bytes=1-2\r\n 3-4,\r\n\t5-6\r\n"
                      "If-Range: \"x\"\r\nrange : bytes=7-\r\nAccept: */*\r\n\r\n")
                .Text,
            "GET / HTTP/1.1\r\nHost: x\r\nAccept: */*\r\n\r\n");
}

TEST(RequestHead, KeepsAContinuedLineOfAnother) {
  const std::string text = "GET / HTTP/1.1\r\nX-A: 1\r\n Range: 2\r\nHost: x\r\n\r\n";
  EXPECT_EQ(Read_Head(text).Text, text);
}

TEST(RequestHead, TakesLinesThatEndInALineFeedAlone) {
  EXPECT_EQ(Read_Head("GET / HTTP/1.0\nRange: bytes=0-1\nHost: x\n\n").Text,
            "GET / HTTP/1.0\r\nHost: x\r\n\r\n");
}

TEST(RequestHead, LeavesOutAnUnfinishedLine) {
  EXPECT_EQ(Read_Head("").Text, "");
  EXPECT_EQ(Read_Head("GET / HT").Text, "");
  EXPECT_EQ(Read_Head("GET / HTTP/1.1\r\nHost: x").Text, "GET / HTTP/1.1\r\n");
}

TEST(RequestHead, SaysWhetherABodyFollows) {
  const auto has_body = [](const std::string& line, const std::string& method = "GET") {
    const RequestHead head = Read_Head(method + " / HTTP/1.1\r\n" + line + "\r\n\r\n");
    EXPECT_EQ(head.Text.find("Content"), std::string::npos);
    EXPECT_EQ(head.Text.find("Transfer"), std::string::npos);
    return head.Has_Body;
  };
  EXPECT_FALSE(has_body("Host: x"));
  EXPECT_FALSE(has_body("Content-Length: 0"));
  EXPECT_FALSE(has_body("Content-Type: text/plain"));
  EXPECT_FALSE(has_body("Host: x", "HEAD"));
  EXPECT_TRUE(has_body("Content-Length: 1"));
  EXPECT_TRUE(has_body("Content-Length: 0\r\nContent-Length: 1"));
  EXPECT_TRUE(has_body("Transfer-Encoding: chunked"));
  EXPECT_TRUE(has_body("Host: x", "POST"));
  EXPECT_TRUE(has_body("Host: x", "get"));
  EXPECT_TRUE(Read_Head("\r\n").Has_Body);
}

}  // namespace
}  // namespace hq::server
