#include "output/file_writer.h"

#include <gtest/gtest.h>

#include "support/fakes.h"
#include "support/quote_text.h"

namespace hq {
namespace {

using test::Parse;

class FileWriter : public ::testing::Test {
 protected:
  FileWriter() {
    Load_Format(Trap, Catalogue, Settings);
    Settings.CurrentSymbol = "msft";
    Table = Parse("030310,0930,1,1,1,1,1\n030310,1330,23.04,23.14,22.98,23.01,5875387\n").Table;
    Table.FirstRow = 1;
  }

  WriteResult Write_It() {
    return Write_File(Trap, Loop, Boxes, Disk, Catalogue, Settings, Table, "out/file.txt");
  }
  // The first error; there is a file exactly when there is none.
  std::optional<RunTimeError> Write() {
    const WriteResult result = Write_It();
    EXPECT_EQ(result.Written, !result.Error);
    return result.Error;
  }
  std::string Written(int format) {
    Settings.CurrentFormat = static_cast<std::int16_t>(format);
    EXPECT_FALSE(Write()) << format;
    return Disk.Contents["out/file.txt"];
  }

  modFailSafe Trap;
  test::FakeLoop Loop;
  test::FakeMessageBoxes Boxes;
  test::MemoryFiles Disk;
  FormatCatalogue Catalogue;
  RunSettings Settings;
  QuoteTable Table;
};

TEST_F(FileWriter, DataLineOfEveryFormat) {
  const std::string bar = "23.040,23.140,22.980,23.010,5875387";
  const std::string intraday = "Date,Time,Open,High,Low,Close,Volume\r\n";
  EXPECT_EQ(Written(0), "03/10/03," + bar + ",0\r\n");
  EXPECT_EQ(Written(1), "030310,1330," + bar + "\r\n");
  EXPECT_EQ(Written(2), "20030310," + bar + "\r\n");
  EXPECT_EQ(Written(3),
            "<ticker>,<per>,<date>,<time>,<open>,<high>,<low>,<close>,<vol>\r\nMSFT,D,20030310,13:30," + bar +
                "\r\n");
  EXPECT_EQ(Written(4), intraday + "03/10/03,13:30," + bar + "\r\n");
  EXPECT_EQ(Written(5), intraday + "03/10/03,13:30," + bar + "\r\n");
  EXPECT_EQ(Written(6), "DateOpenHighLowCloseVolumeOpenInterest\r\n03/10/03," + bar + ",0\r\n");
  EXPECT_EQ(Written(7), "DateTimeOpenHighLowCloseVolumeOpenInterest\r\n03/10/03,1330," + bar + "\r\n");
  EXPECT_EQ(Written(8), intraday + "2003/03/10,1330," + bar + "\r\n");
  EXPECT_EQ(Written(9), intraday + "03/10/2003,1330," + bar + "\r\n");
  EXPECT_EQ(Written(10), intraday + "2003/03/10,1330," + bar + "\r\n");
  EXPECT_EQ(Written(11), intraday + "03/10/03,13:30," + bar + "\r\n");
  EXPECT_EQ(Written(12), "03/10/03,13:30," + bar + "\r\n");
  EXPECT_EQ(Written(13), "Date,Open,High,Low,Close,Volume\r\n03/10/03," + bar + "\r\n");
  EXPECT_EQ(Written(14), "03/10/03," + bar + "\r\n");
  EXPECT_TRUE(Boxes.Shown.empty());
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(FileWriter, RowsFromTheFirstToTheLastInOrder) {
  Table.FirstRow = 0;
  EXPECT_EQ(Written(14),
            "03/10/03,1.000,1.000,1.000,1.000,1\r\n03/10/03,23.040,23.140,22.980,23.010,5875387\r\n");
}

TEST_F(FileWriter, FirstRowBehindTheLastLeavesTheHeaderOnly) {
  Table.FirstRow = Table.QuoteCount;
  EXPECT_EQ(Written(13), "Date,Open,High,Low,Close,Volume\r\n");
  EXPECT_EQ(Written(14), "");
}

TEST_F(FileWriter, AnExistingFileIsReplaced) {
  Disk.Contents["out/file.txt"] = std::string(1000, 'x');
  EXPECT_EQ(Written(14), "03/10/03,23.040,23.140,22.980,23.010,5875387\r\n");
  EXPECT_EQ(Written(14), "03/10/03,23.040,23.140,22.980,23.010,5875387\r\n");
}

TEST_F(FileWriter, AnUnknownPrefixIsToldForEveryRowAndTheFileWritten) {
  Catalogue.SymbolPrefix[14] = "FUND,D";
  Table.FirstRow = 0;
  EXPECT_EQ(Written(14),
            "03/10/03,1.000,1.000,1.000,1.000,1\r\n03/10/03,23.040,23.140,22.980,23.010,5875387\r\n");
  EXPECT_EQ(Boxes.Texts(), (std::vector<std::string>{"invalid preload format!", "invalid preload format!"}));
}

TEST_F(FileWriter, TheLoopRunsOnceAfterTheFile) {
  Written(14);
  EXPECT_EQ(Loop.Passes, 1);
}

TEST_F(FileWriter, AFileThatCannotBeOpenedIsToldToTheCallerOnly) {
  Disk.OpenError = PathNotFound;
  const auto error = Write();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->Number(), PathNotFound);
  EXPECT_TRUE(Disk.Contents.empty());
  EXPECT_TRUE(Boxes.Shown.empty());
  EXPECT_EQ(Loop.Passes, 1);
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(FileWriter, AWriteThatFailsLeavesTheEarlierFileAsItWas) {
  Disk.Contents["out/file.txt"] = "earlier";
  Disk.WriteError = DiskFull;
  const auto error = Write();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->Number(), DiskFull);
  EXPECT_EQ(Disk.Contents["out/file.txt"], "earlier");
  EXPECT_TRUE(Boxes.Shown.empty());
}

TEST_F(FileWriter, ACloseThatFailsIsTold) {
  Disk.CloseError = PermissionDenied;
  const auto error = Write();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->Number(), PermissionDenied);
  EXPECT_TRUE(Disk.Contents.empty());
}

TEST_F(FileWriter, AFormatOutsideTheCatalogueFailsWithoutACrash) {
  Settings.CurrentFormat = 99;
  const WriteResult result = Write_It();
  ASSERT_TRUE(result.Error);
  EXPECT_EQ(result.Error->Number(), SubscriptOutOfRange);
}

TEST_F(FileWriter, APieceLeftOutOfALineIsToldToTheCallerAndTheFileWritten) {
  Settings.CurrentFormat = 14;
  Table = Parse("030310,0930,1,2,3,4,5\n039910,0931,1,2,3,4,5\n").Table;
  const WriteResult result = Write_It();
  EXPECT_TRUE(result.Written);
  EXPECT_EQ(Disk.Contents["out/file.txt"],
            "03/10/03,1.000,2.000,3.000,4.000,5\r\n,1.000,2.000,3.000,4.000,5\r\n");
  ASSERT_TRUE(result.Error);
  EXPECT_EQ(result.Error->Number(), TypeMismatch);
  EXPECT_EQ(result.Error->Detail(), "line 2 of the rows lacks what could not be read");
  EXPECT_TRUE(Boxes.Shown.empty());
}

}  // namespace
}  // namespace hq
