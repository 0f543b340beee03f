#include "quotes/quote_parser.h"

#include <cmath>
#include <gtest/gtest.h>

#include "support/quote_text.h"

namespace hq {
namespace {

using test::Parse;
using test::Parsed;

constexpr const char* NoData = "Server returns no data. try later!";
constexpr const char* Incomplete = "Incomplete data received! retry!";
constexpr const char* BadData = "Bad data inside received stream. try to re-download!";

std::string Lines(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += "030115,0930,1,2,3,4,5\n";
  return text;
}

TEST(QuoteParser, OneLineGivesOneRow) {
  const Parsed parsed = Parse("030115,0930,1,2,3,4,5\n");
  ASSERT_EQ(parsed.Table.QuoteCount, 1);
  EXPECT_EQ(parsed.Table.Key(0).Text(), "01/15/03 09:300000");
  for (int column = 0; column < 5; ++column) {
    EXPECT_EQ(parsed.Table.Value(0, column), static_cast<float>(column + 1));
  }
  EXPECT_EQ(parsed.Table.Value(0, 5), 0.0F);
  EXPECT_EQ(parsed.Transfer.TransferStatus, "Data downloading is done!");
  EXPECT_EQ(parsed.Transfer.ResponseText, "");
}

TEST(QuoteParser, FieldsGoToTheirColumns) {
  const Parsed parsed = Parse("030115,0930,12.5,12.75,12.4,12.6,150000\n030115,0931,12.6,13,12.5,12.9,90\n");
  ASSERT_EQ(parsed.Table.QuoteCount, 2);
  EXPECT_EQ(parsed.Table.Value(0, 0), 12.5F);
  EXPECT_EQ(parsed.Table.Value(0, 1), 12.75F);
  EXPECT_EQ(parsed.Table.Value(0, 2), 12.4F);
  EXPECT_EQ(parsed.Table.Value(0, 3), 12.6F);
  EXPECT_EQ(parsed.Table.Value(0, 4), 150000.0F);
  EXPECT_EQ(parsed.Table.Key(1).Text(), "01/15/03 09:310001");
  EXPECT_EQ(parsed.Table.Value(1, 4), 90.0F);
}

TEST(QuoteParser, TheTableHasTwoSpareRows) {
  const Parsed parsed = Parse(Lines(3));
  EXPECT_EQ(parsed.Table.QuoteKeys.size(), 5U);
  EXPECT_EQ(parsed.Table.QuoteValues.size(), 5U);
  EXPECT_EQ(parsed.Table.Key(3).Text(), "");
  EXPECT_EQ(parsed.Table.Key(4).Text(), "");
}

TEST(QuoteParser, HeaderBeforeTheDataIsSkippedWithoutATrace) {
  const Parsed parsed = Parse("Date,Time,Open,High,Low,Close,Volume\nsource: x\n030115,0930,1,2,3,4,5\n");
  ASSERT_EQ(parsed.Table.QuoteCount, 1);
  EXPECT_EQ(parsed.Table.Key(0).Text(), "01/15/03 09:300000");
}

TEST(QuoteParser, LinesBeforeTheFirstOpeningAreDropped) {
  const Parsed parsed = Parse("030114,1559,9,9,9,9,9\n030115,0930,1,2,3,4,5\n030115,0929,1,2,3,4,5\n");
  ASSERT_EQ(parsed.Table.QuoteCount, 2);
  EXPECT_EQ(parsed.Table.Key(0).DateText(), "01/15/03");
}

TEST(QuoteParser, EmptyAnswerIsNoData) {
  const Parsed parsed = Parse("");
  EXPECT_EQ(parsed.Table.QuoteCount, 0);
  EXPECT_EQ(parsed.Transfer.TransferStatus, NoData);
}

TEST(QuoteParser, AnswerWithoutAnOpeningBarIsNoDataAndIsDropped) {
  const Parsed parsed = Parse("030115,0931,1,2,3,4,5\n030115,0932,1,2,3,4,5\n");
  EXPECT_EQ(parsed.Table.QuoteCount, 0);
  EXPECT_EQ(parsed.Transfer.TransferStatus, NoData);
  EXPECT_EQ(parsed.Transfer.ResponseText, "");
}

TEST(QuoteParser, LastLineWithoutALineFeedIsIgnoredAndStays) {
  const Parsed parsed = Parse("030115,0930,1,2,3,4,5\n030115,0931,1,2");
  EXPECT_EQ(parsed.Table.QuoteCount, 1);
  EXPECT_EQ(parsed.Transfer.ResponseText, "030115,0931,1,2");
}

TEST(QuoteParser, NoLineFeedGivesNoRowsAndNoMessage) {
  const Parsed parsed = Parse("030115,0930,1,2,3,4,5");
  EXPECT_EQ(parsed.Table.QuoteCount, 0);
  EXPECT_EQ(parsed.Transfer.TransferStatus, "Data downloading is done!");
}

TEST(QuoteParser, FiveCommasAbortTheWholeParse) {
  const Parsed parsed = Parse("030115,0930,9,9,9,9,9\n030115,0930,1,2,3,4\n030115,0931,1,2,3,4,5\n");
  EXPECT_EQ(parsed.Table.QuoteCount, 0);
  EXPECT_EQ(parsed.Transfer.TransferStatus, Incomplete);
  EXPECT_EQ(parsed.Transfer.ResponseText, "");
  EXPECT_EQ(parsed.Table.Value(0, 0), 9.0F) << "rows already filled stay in the arrays";
}

TEST(QuoteParser, EmptyLineBetweenLinesIsIncomplete) {
  EXPECT_EQ(Parse("030115,0930,1,2,3,4,5\n\n030115,0931,1,2,3,4,5\n").Transfer.TransferStatus, Incomplete);
}

TEST(QuoteParser, OnlyLineFeedsAreNoData) {
  EXPECT_EQ(Parse(std::string(100000, '\n')).Transfer.TransferStatus, NoData);
}

TEST(QuoteParser, OpeningTimeWithinTheFirstSixCharactersIsBadData) {
  for (const char* answer : {",0930,1,2,3,4,5\n", "15,0930,1,2,3,4,5\n", "30115,0930,1,2,3,4,5\n"}) {
    const Parsed parsed = Parse(answer);
    EXPECT_EQ(parsed.Table.QuoteCount, 0) << answer;
    EXPECT_EQ(parsed.Transfer.TransferStatus, BadData) << answer;
  }
}

TEST(QuoteParser, FieldsThatAreNoNumbersAreBadData) {
  for (const char* number :
       {"", "-", "nan", "inf", "1e39", "-1e39", "abc", "1.2.3", "0x10", "1 2", "12,5x"}) {
    const Parsed parsed = Parse("030115,0930,1,2,3,4,5\n030115,0931,1,2," + std::string(number) + ",4,5\n");
    EXPECT_EQ(parsed.Table.QuoteCount, 0) << number;
    EXPECT_EQ(parsed.Transfer.TransferStatus, BadData) << number;
  }
}

TEST(QuoteParser, TheLineThatCannotBeReadIsNamed) {
  const auto trouble = [](const std::string& answer) { return Parse(answer).Transfer.Trouble; };
  const std::string good = "030115,0930,1,2,3,4,5\n";
  EXPECT_EQ(trouble(good), "");
  EXPECT_EQ(trouble(""), "");
  EXPECT_EQ(trouble("Source: x\n\n" + good + "030115,0931,1,x,3,4,5\r\n" + good),
            "line 4: 030115,0931,1,x,3,4,5");
  EXPECT_EQ(trouble("title\n" + good + good + "030115,0932,1\n"), "line 4: 030115,0932,1");
  EXPECT_EQ(trouble(good + "\n" + good), "line 2: ");
  EXPECT_EQ(trouble("15,0930,1,2,3,4,5\n"), "line 1: 15,0930,1,2,3,4,5");
  EXPECT_EQ(trouble("a title 030115,0930,x,2,3,4,5\n"), "line 1: a title 030115,0930,x,2,3,4,5");
  EXPECT_EQ(trouble(good + "030115,0931,\t\x1b[1m\xff,2,3,4,5\n"), "line 2: 030115,0931,??[1m?,2,3,4,5");
  EXPECT_EQ(trouble(good + std::string(1000, 'y') + "\n"), "line 2: " + std::string(200, 'y') + "...");
  EXPECT_EQ(trouble(Lines(32768)), "the answer has more than 32767 lines");
}

TEST(QuoteParser, TheTroubleOfAnEarlierAnswerIsForgotten) {
  modFailSafe trap;
  QuoteTable table;
  TransferState transfer;
  transfer.ResponseText = "030115,0930,x,2,3,4,5\n";
  Process_Interday(trap, transfer, table);
  EXPECT_NE(transfer.Trouble, "");
  transfer.ResponseText = "030115,0930,1,2,3,4,5\n";
  Process_Interday(trap, transfer, table);
  EXPECT_EQ(transfer.Trouble, "");
}

TEST(QuoteParser, SeventhCommaMakesTheVolumeBad) {
  EXPECT_EQ(Parse("030115,0930,1,2,3,4,5,0\n").Transfer.TransferStatus, BadData);
}

TEST(QuoteParser, TrailingCarriageReturnDoesNotSpoilTheVolume) {
  const Parsed parsed = Parse("030115,0930,1,2,3,4,150000\r\n030115,0931,1,2,3,4,7\r\n");
  ASSERT_EQ(parsed.Table.QuoteCount, 2);
  EXPECT_EQ(parsed.Table.Value(0, 4), 150000.0F);
  EXPECT_EQ(parsed.Table.Value(1, 4), 7.0F);
}

TEST(QuoteParser, NumbersTooSmallToHoldAreZero) {
  EXPECT_EQ(Parse("030115,0930,1e-60,2,3,4,5\n").Table.Value(0, 0), 0.0F);
}

TEST(QuoteParser, VolumeAbove16777216LosesPrecision) {
  EXPECT_EQ(Parse("030115,0930,1,2,3,4,16777217\n").Table.Value(0, 4), 16777216.0F);
}

TEST(QuoteParser, EqualBarsStayDistinctByTheirRowNumbers) {
  const Parsed parsed = Parse(Lines(2));
  EXPECT_EQ(parsed.Table.Key(0).Text(), "01/15/03 09:300000");
  EXPECT_EQ(parsed.Table.Key(1).Text(), "01/15/03 09:300001");
  EXPECT_LT(parsed.Table.Key(0), parsed.Table.Key(1));
}

TEST(QuoteParser, RowNumbersWidenPast9999) {
  const Parsed parsed = Parse(Lines(10002));
  ASSERT_EQ(parsed.Table.QuoteCount, 10002);
  EXPECT_EQ(parsed.Table.Key(9999).Text(), "01/15/03 09:309999");
  EXPECT_EQ(parsed.Table.Key(10000).Text(), "01/15/03 09:3010000");
  EXPECT_EQ(parsed.Table.Key(10000).RowText(), "0000") << "the last four characters no longer name the row";
  EXPECT_EQ(parsed.Table.Key(10001).RowText(), "0001");
}

TEST(QuoteParser, AsManyLinesAsA16BitCountHolds) {
  const Parsed parsed = Parse(Lines(32767));
  EXPECT_EQ(parsed.Table.QuoteCount, 32767);
  EXPECT_EQ(parsed.Table.Key(32766).Text(), "01/15/03 09:3032766");
}

TEST(QuoteParser, MoreThan32767LinesAreBadData) {
  const Parsed parsed = Parse(Lines(32768));
  EXPECT_EQ(parsed.Table.QuoteCount, 0);
  EXPECT_EQ(parsed.Transfer.TransferStatus, BadData);
}

TEST(QuoteParser, MillionCharacterLine) {
  const std::string tail = ",1,2,3,4,5\n";
  EXPECT_EQ(Parse("030115,0930" + std::string(1000000, 'x') + tail).Transfer.TransferStatus, NoData);
  EXPECT_EQ(Parse("030115,0930,1,2,3,4," + std::string(1000000, '9') + "\n").Transfer.TransferStatus,
            BadData);
  EXPECT_EQ(Parse("030115,0930,1,2,3,4," + std::string(1000000, '0') + "7\n").Table.Value(0, 4), 7.0F);
  EXPECT_EQ(Parse("030115,0930,1,2,3,4,5\n" + std::string(1000000, 'x') + "\n").Transfer.TransferStatus,
            Incomplete);
}

TEST(QuoteParser, NulBytesAreCharactersLikeOthers) {
  const std::string nul(1, '\0');
  EXPECT_EQ(Parse(nul + "\n030115,0930,1,2,3,4,5\n").Table.QuoteCount, 1);
  EXPECT_EQ(Parse("030115,0930,1,2,3,4,5" + nul + "\n").Transfer.TransferStatus, BadData);
  EXPECT_EQ(Parse(std::string(1000, '\0')).Transfer.TransferStatus, NoData);
}

TEST(QuoteParser, ShortAndLongDateAndTimeFieldsAreTakenAsTheyCome) {
  EXPECT_EQ(Parse("030115,0930,1,2,3,4,5\n03,9,1,2,3,4,5\n").Table.Key(1).Text(), "//03 9:90001");
  EXPECT_EQ(Parse("030115,0930,1,2,3,4,5\n,,1,2,3,4,5\n").Table.Key(1).Text(), "// :0001");
  EXPECT_EQ(Parse("030115,0930,1,2,3,4,5\n20030115,093000,1,2,3,4,5\n").Table.Key(1).Text(),
            "03/01/20 09:000001");
}

TEST(QuoteParser, DatesAndTimesAreNotChecked) {
  EXPECT_EQ(Parse("039999,0930,1,2,3,4,5\n").Table.Key(0).Text(), "99/99/03 09:300000");
}

TEST(QuoteParser, EarlierContentOfTheTableIsDiscarded) {
  modFailSafe trap;
  TransferState transfer;
  QuoteTable table;
  transfer.ResponseText = Lines(5);
  Process_Interday(trap, transfer, table);
  ASSERT_EQ(table.QuoteCount, 5);
  transfer.ResponseText = "030116,0930,7,7,7,7,7\n";
  Process_Interday(trap, transfer, table);
  EXPECT_EQ(table.QuoteCount, 1);
  EXPECT_EQ(table.QuoteKeys.size(), 3U);
  transfer.ResponseText.clear();
  Process_Interday(trap, transfer, table);
  EXPECT_EQ(table.QuoteCount, 0);
}

}  // namespace
}  // namespace hq
