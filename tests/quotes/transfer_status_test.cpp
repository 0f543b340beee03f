#include "quotes/transfer_status.h"

#include <gtest/gtest.h>

#include "support/fakes.h"

namespace hq {
namespace {

using test::FakeLoop;
using test::FakeStatus;
using test::FakeTransfer;

class TransferStatus : public ::testing::Test {
 protected:
  void Raise(int state) {
    Inet1_StateChanged(Trap, Inet, Loop, Status, Transfer, [=] { return state; });
  }

  modFailSafe Trap;
  FakeLoop Loop;
  FakeTransfer Inet{Loop};
  FakeStatus Status;
  TransferState Transfer;
};

TEST_F(TransferStatus, EveryStateHasItsText) {
  const std::vector<std::pair<int, std::string>> texts = {
      {1, "Lookup host name.."},
      {2, "Host IP found .."},
      {3, "Connecting to the host computer .."},
      {4, "host computer connected..."},
      {5, "Sending request to host ..."},
      {6, "Requests sent successfully"},
      {7, "Waiting for server response..."},
      {8, "Downloading..."},
      {9, "Disconnecting from the server"},
      {10, "disconnected from the server"},
      {12, "Data downloading is done!"},
      {0, "Failed!"},
      {13, "Failed!"},
      {-1, "Failed!"},
  };
  for (const auto& [state, text] : texts) {
    Raise(state);
    EXPECT_EQ(Transfer.TransferStatus, text) << state;
    ASSERT_FALSE(Status.Shown.empty());
    EXPECT_EQ(Status.Shown.back(), text) << state;
  }
}

TEST_F(TransferStatus, TheErrorStateIsNotShown) {
  Raise(11);
  EXPECT_EQ(Transfer.TransferStatus, "Failed to download data! Try another time at night!");
  EXPECT_TRUE(Status.Shown.empty());
}

TEST_F(TransferStatus, OutcomesAreRecognisedByTheirTexts) {
  const auto ended = [&](int state) {
    Raise(state);
    return Transfer_Ended(Transfer);
  };
  for (int state = 1; state <= 10; ++state) EXPECT_FALSE(ended(state)) << state;
  EXPECT_TRUE(ended(11));
  EXPECT_TRUE(Transfer_Failed(Transfer));
  EXPECT_TRUE(ended(12));
  EXPECT_FALSE(Transfer_Failed(Transfer));
  EXPECT_TRUE(ended(99));
  EXPECT_TRUE(Transfer_Failed(Transfer));
  Transfer.TransferStatus = "Time out. no response";
  EXPECT_TRUE(Transfer_Ended(Transfer));
  Transfer.TransferStatus = "fail DONE time out";
  EXPECT_FALSE(Transfer_Ended(Transfer));
}

TEST_F(TransferStatus, BodyInSeveralPiecesIsJoinedInOrder) {
  for (int i = 0; i < 5000; ++i) Inet.Current.Body += static_cast<char>('a' + i % 26);
  Raise(12);
  EXPECT_EQ(Transfer.ResponseText, Inet.Current.Body);
  EXPECT_EQ(Inet.Pieces, 5);
  EXPECT_EQ(Inet.LastDataType, 0);
  EXPECT_EQ(Loop.Passes, 6) << "one pass of the loop for each piece asked for, the empty one included";
}

TEST_F(TransferStatus, EmptyBodyGivesAnEmptyText) {
  Transfer.ResponseText = "old";
  Raise(12);
  EXPECT_EQ(Transfer.ResponseText, "");
  EXPECT_EQ(Transfer.TransferStatus, "Data downloading is done!");
}

TEST_F(TransferStatus, TheTextIsReadBeforeTheStatusSaysDone) {
  Inet.Current.Body = "030115,0930,1,2,3,4,5\n";
  Transfer.TransferStatus = "Downloading...";
  Loop.On_Pass = [&] { EXPECT_FALSE(Transfer_Ended(Transfer)); };
  Raise(12);
  EXPECT_TRUE(Transfer_Ended(Transfer));
}

TEST_F(TransferStatus, AStateThatIsNoLongerOfAnyUseChangesNothing) {
  Transfer.TransferStatus = "Downloading...";
  Inet1_StateChanged(Trap, Inet, Loop, Status, Transfer, [] { return std::nullopt; });
  EXPECT_EQ(Transfer.TransferStatus, "Downloading...");
  EXPECT_TRUE(Status.Shown.empty());
}

TEST_F(TransferStatus, ABodyThatAnotherTransferBreaksIntoIsDropped) {
  Inet.Current.Body = std::string(3000, 'x');
  Transfer.ResponseText = "the other's";
  Transfer.TransferStatus = "Start downloading B";
  Loop.On_Pass = [&] { Transfer.Number = 2; };
  Raise(12);
  EXPECT_EQ(Transfer.ResponseText, "the other's");
  EXPECT_EQ(Transfer.TransferStatus, "Start downloading B");
  EXPECT_TRUE(Status.Shown.empty());
  EXPECT_EQ(Inet.Pieces, 1) << "the rest of the body is another transfer's";
}

}  // namespace
}  // namespace hq
