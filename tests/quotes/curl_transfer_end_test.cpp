// How a transfer ends before its time: by Cancel, by another one, with its control.

#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/run_time_error.h"
#include "quotes/transfer_client.h"
#include "support/socket_server.h"

namespace hq {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(CurlTransfer, TheBodyIsNotThereBeforeTheLastState) {
  SocketServer server(Answer_With(Http_Answer("body")));
  Client client;
  std::string early;
  client.Control->StateChanged = [&](int state) {
    client.States.push_back(state);
    if (state != ResponseCompleted) early += client.Control->GetChunk(1024, 0);
  };
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_EQ(early, "");
  EXPECT_EQ(client.Body(), "body");
}

TEST(CurlTransfer, CancelEndsATransferWhoseServerHangs) {
  SocketServer server([](SocketConnection& connection) {
    connection.ReadRequest();
    connection.WaitForEnd();
  });
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ASSERT_TRUE(
      client.Run_Until([&] { return !client.States.empty() && client.States.back() == ReceivingResponse; }));
  const auto start = steady_clock::now();
  client.Control->Cancel();
  // Without being woken the transfer's thread would sleep much longer.
  EXPECT_LT(steady_clock::now() - start, seconds(5));
  client.Run_The_Rest();
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 4, 5, 6, 7));
  EXPECT_EQ(client.Control->Reason(), "");
  EXPECT_EQ(client.Body(), "");
}

TEST(CurlTransfer, CancelEndsATransferThatTrickles) {
  SocketServer server([](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
    while (connection.Send("x") && connection.Pause(milliseconds(1))) {
    }
  });
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ASSERT_TRUE(
      client.Run_Until([&] { return !client.States.empty() && client.States.back() == ResponseReceived; }));
  client.Control->Cancel();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_EQ(client.Body(), "");
}

TEST(CurlTransfer, CancelEndsATransferThatStreamsAtFullSpeed) {
  SocketServer server([](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\n\r\n");
    const std::string block(MiB, 'x');
    while (connection.Send(block)) {
    }
  });
  CurlTransferOptions options;
  options.BodyLimit = 4096 * MiB;
  Client client(options);
  client.Control->Execute(server.Address(), "GET");
  ASSERT_TRUE(
      client.Run_Until([&] { return !client.States.empty() && client.States.back() == ResponseReceived; }));
  client.Control->Cancel();
  client.Run_The_Rest();
  EXPECT_EQ(client.States.back(), ResponseReceived);
}

TEST(CurlTransfer, CancelDoesNothingWhenIdle) {
  SocketServer server(Answer_With(Http_Answer("body")));
  Client client;
  client.Control->Cancel();
  client.Control->Cancel();
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  client.Control->Cancel();
  client.Control->Cancel();
  EXPECT_EQ(client.Control->GetChunk(1024, 0), "");
  client.Run_The_Rest();
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_EQ(client.Body(), "body");
}

TEST(CurlTransfer, EventsThatWaitWhenCancelIsCalledNeverArrive) {
  Ended ended;
  SocketServer server(ended.Script);
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ended.Wait();
  client.Control->Cancel();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, IsEmpty());
  EXPECT_EQ(client.Body(), "");
}

TEST(CurlTransfer, CancelInsideAnEventSilencesThoseBehindIt) {
  Ended ended;
  SocketServer server(ended.Script);
  Client client;
  client.Control->StateChanged = [&](int state) {
    client.States.push_back(state);
    if (state == HostResolved) client.Control->Cancel();
  };
  client.Control->Execute(server.Address(), "GET");
  ended.Wait();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, ElementsAre(1, 2));
}

TEST(CurlTransfer, ExecuteEndsTheTransferBeforeIt) {
  Ended ended;
  SocketServer first(ended.Script);
  SocketServer hanging([](SocketConnection& connection) { connection.WaitForEnd(); });
  SocketServer last(Answer_With(Http_Answer("the last one")));
  Client client;
  client.Control->Execute(first.Address(), "GET");
  ended.Wait();
  client.Control->Execute(hanging.Address(), "GET");
  EXPECT_EQ(client.Get(last.Address()), ResponseCompleted);
  client.Run_The_Rest();
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Body(), "the last one");
}

TEST(CurlTransfer, ExecuteInsideTheLastEventStartsAnew) {
  SocketServer first(Answer_With(Http_Answer("first")));
  SocketServer second(Answer_With(Http_Answer("second")));
  Client client;
  int completed = 0;
  client.Control->StateChanged = [&](int state) {
    client.States.push_back(state);
    if (state == ResponseCompleted && ++completed == 1) client.Control->Execute(second.Address(), "GET");
  };
  client.Control->Execute(first.Address(), "GET");
  EXPECT_TRUE(client.Run_Until([&] { return completed == 2; }));
  EXPECT_EQ(client.Body(), "second");
  EXPECT_EQ(client.States.size(), 22U);
}

TEST(CurlTransfer, MayBeDestroyedWhileATransferRuns) {
  SocketServer server([](SocketConnection& connection) { connection.WaitForEnd(); });
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ASSERT_TRUE(client.Run_Until([&] { return !client.States.empty(); }));
  client.Control.reset();
  const size_t states = client.States.size();
  client.Run_The_Rest();
  EXPECT_EQ(client.States.size(), states);
}

TEST(CurlTransfer, MayBeDestroyedWhileEventsWait) {
  Ended ended;
  SocketServer server(ended.Script);
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ended.Wait();
  client.Control.reset();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, IsEmpty());
}

TEST(CurlTransfer, MayBeDestroyedInsideItsEvent) {
  Ended ended;
  SocketServer server(ended.Script);
  Client client;
  client.Control->StateChanged = [&client](int state) {
    std::vector<int>& states = client.States;
    if (state == Requesting) client.Control.reset();
    states.push_back(state);
  };
  client.Control->Execute(server.Address(), "GET");
  ended.Wait();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 4, 5));
}

TEST(CurlTransfer, WorksWithoutAnEventHandler) {
  SocketServer server(Answer_With(Http_Answer("body")));
  Client client;
  client.Control->StateChanged = nullptr;
  client.Control->Execute(server.Address(), "GET");
  std::string body;
  EXPECT_TRUE(client.Run_Until([&] { return !(body = client.Control->GetChunk(1024, 0)).empty(); }));
  EXPECT_EQ(body, "body");
}

TEST(CurlTransfer, TwoControlsDoNotDisturbEachOther) {
  SocketServer hanging([](SocketConnection& connection) { connection.WaitForEnd(); });
  SocketServer server(Answer_With(Http_Answer("body")));
  Client client;
  CurlTransfer other(client.Loop);
  std::vector<int> other_states;
  other.StateChanged = [&](int state) { other_states.push_back(state); };
  other.Execute(hanging.Address(), "GET");
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_THAT(client.States, All_States);
  client.Control->Cancel();
  ASSERT_TRUE(client.Run_Until([&] { return other_states.size() == 7; }));
  EXPECT_THAT(other_states, ElementsAre(1, 2, 3, 4, 5, 6, 7));
  other.Cancel();
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_EQ(client.Body(), "body");
  EXPECT_EQ(other_states.size(), 7U);
}

TEST(CurlTransfer, ARefusedExecuteEndsTheTransferBeforeIt) {
  Ended ended;
  SocketServer server(ended.Script);
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ended.Wait();
  EXPECT_THROW(client.Control->Execute("nonsense", "GET"), RunTimeError);
  client.Run_The_Rest();
  EXPECT_THAT(client.States, IsEmpty());
}

}  // namespace
}  // namespace hq
