#include "errortrap/circular_records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "base/run_time_error.h"
#include "errortrap/circular_log_support.h"
#include "errortrap/rich_text.h"
#include "support/raises.h"

namespace hq {
namespace {

using test::MemoryStore;
using test::Records_In_Order;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr CircularLayout Small{64, 5, false};
constexpr CircularLayout SmallRich{128, 5, true};

std::string Record(std::string text, size_t size = 64) {
  text.resize(size - 2, ' ');
  return text + "\r\n";
}

std::string Mark(size_t size = 64) {
  return Record("CIRCULAR\r\n", size);
}

// The numbers from first to last as texts.
std::vector<std::string> Numbers(int first, int last) {
  std::vector<std::string> numbers;
  for (int i = first; i <= last; ++i) numbers.push_back(std::to_string(i));
  return numbers;
}

void Write_Numbers(MemoryStore& store, const CircularLayout& layout, int first, int last) {
  CircularRecords records(store, layout);
  for (int i = first; i <= last; ++i) records.Write(std::to_string(i));
}

TEST(CircularRecords, BeginWithTheMark) {
  MemoryStore store;
  const CircularRecords records(store, Small);
  EXPECT_EQ(store.Bytes, Mark());
}

TEST(CircularRecords, AreFollowedByTheMark) {
  MemoryStore store;
  CircularRecords records(store, Small);
  records.Write("one");
  EXPECT_EQ(store.Bytes, Record("one") + Mark());
  records.Write("two");
  EXPECT_EQ(store.Bytes, Record("one") + Record("two") + Mark());
}

TEST(CircularRecords, WrapOntoTheOldest) {
  MemoryStore store;
  Write_Numbers(store, Small, 1, 4);
  EXPECT_EQ(store.Bytes, Record("1") + Record("2") + Record("3") + Record("4") + Mark());
  Write_Numbers(store, Small, 5, 5);
  EXPECT_EQ(store.Bytes, Mark() + Record("2") + Record("3") + Record("4") + Record("5"));
  Write_Numbers(store, Small, 6, 6);
  EXPECT_EQ(store.Bytes, Record("6") + Mark() + Record("3") + Record("4") + Record("5"));
}

TEST(CircularRecords, HoldTheNewestWhateverTheirNumber) {
  for (const size_t most : {2U, 3U, 4U, 7U, 100U}) {
    const CircularLayout layout{64, most, false};
    MemoryStore store;
    CircularRecords records(store, layout);
    for (int i = 1; i <= 250; ++i) {
      records.Write(std::to_string(i));
      ASSERT_LE(store.Bytes.size(), most * 64);
      ASSERT_EQ(Records_In_Order(store.Bytes, 64), Numbers(std::max(1, i - static_cast<int>(most) + 2), i));
    }
  }
}

TEST(CircularRecords, GoOnWhereTheyEnded) {
  MemoryStore store;
  for (int i = 1; i <= 50; ++i) {
    Write_Numbers(store, Small, i, i);
    ASSERT_EQ(Records_In_Order(store.Bytes, 64), Numbers(std::max(1, i - 3), i));
  }
}

TEST(CircularRecords, AreCutToTheirLength) {
  MemoryStore store;
  CircularRecords records(store, Small);
  const std::string text = "0123456789012345678901234567890123456789012345678901234567890123456789";
  records.Write(text.substr(0, 62));
  records.Write(text.substr(0, 63));
  records.Write(text + std::string(100000, 'x'));
  const std::string expected = text.substr(0, 62) + "\r\n";
  EXPECT_EQ(store.Bytes, expected + expected + expected + Mark());
}

TEST(CircularRecords, AreNeverCutWithinACharacter) {
  MemoryStore store;
  CircularRecords records(store, Small);
  records.Write(std::string(61, 'x') + "\xC3\xA4");
  EXPECT_EQ(store.Bytes, std::string(61, 'x') + " \r\n" + Mark());
}

TEST(CircularRecords, HoldNoLineEnds) {
  MemoryStore store;
  CircularRecords records(store, Small);
  records.Write("one\r\ntwo\nthree\r");
  EXPECT_EQ(store.Bytes, Record("one  two three") + Mark());
}

TEST(CircularRecords, AreNotTakenForTheMark) {
  MemoryStore store;
  CircularRecords records(store, Small);
  records.Write("CIRCULAR");
  records.Write("CIRCULAR\r\n");
  records.Write("CIRCULAR\r\nmore");
  EXPECT_EQ(store.Bytes, Record("CIRCULAR") + Record("CIRCULAR") + Record("CIRCULAR  more") + Mark());
  Write_Numbers(store, Small, 4, 4);
  EXPECT_THAT(Records_In_Order(store.Bytes, 64), ElementsAre("CIRCULAR", "CIRCULAR", "CIRCULAR  more", "4"));
}

TEST(CircularRecords, MayBeEmpty) {
  MemoryStore store;
  CircularRecords records(store, Small);
  records.Write("");
  EXPECT_EQ(store.Bytes, Record("") + Mark());
}

TEST(CircularRecords, KeepEveryOtherByte) {
  std::string text;
  for (int c = 0; c < 256; ++c) {
    if (c != '\r' && c != '\n') text += static_cast<char>(c);
  }
  MemoryStore store;
  CircularRecords records(store, {300, 5, false});
  records.Write(text);
  EXPECT_EQ(store.Bytes.substr(0, 300), Record(text, 300));
}

TEST(CircularRecords, GrowInOrderWhenMoreAreAllowed) {
  for (int written = 1; written <= 12; ++written) {
    MemoryStore store;
    Write_Numbers(store, Small, 1, written);
    const CircularLayout larger{64, 8, false};
    // The records that were there stay until the larger log is full or the mark comes to their place.
    for (int i = written + 1; i <= written + 30; ++i) {
      Write_Numbers(store, larger, i, i);
      ASSERT_LE(store.Bytes.size(), 8U * 64);
      const std::vector<std::string> now = Records_In_Order(store.Bytes, 64);
      ASSERT_EQ(now, Numbers(i - static_cast<int>(now.size()) + 1, i)) << written;
      ASSERT_GE(now.size(), std::min(static_cast<size_t>(i), size_t{4})) << written;
    }
    EXPECT_EQ(Records_In_Order(store.Bytes, 64).size(), 7U);
  }
}

TEST(CircularRecords, CutOffARecordThatWasOnlyBegun) {
  for (size_t extra = 1; extra < 64; ++extra) {
    MemoryStore store;
    Write_Numbers(store, Small, 1, 2);
    store.Bytes += Mark().substr(0, extra);
    Write_Numbers(store, Small, 3, 3);
    EXPECT_EQ(store.Bytes, Record("1") + Record("2") + Record("3") + Mark());
  }
}

TEST(CircularRecords, GoOnAtTheFirstOfAdjacentMarks) {
  MemoryStore store;
  store.Bytes = Record("1") + Mark() + Mark() + Record("x") + Record("y");
  Write_Numbers(store, Small, 2, 2);
  EXPECT_EQ(store.Bytes, Record("1") + Record("2") + Mark() + Record("x") + Record("y"));

  store.Bytes = Mark() + Record("2") + Record("3") + Record("4") + Mark();
  Write_Numbers(store, Small, 5, 5);
  EXPECT_EQ(store.Bytes, Mark() + Record("2") + Record("3") + Record("4") + Record("5"));

  store.Bytes = Mark() + Mark() + Record("3") + Mark() + Mark();
  Write_Numbers(store, Small, 4, 4);
  EXPECT_EQ(store.Bytes, Mark() + Mark() + Record("3") + Record("4") + Mark());

  store.Bytes = Mark() + Mark() + Mark();
  Write_Numbers(store, {64, 3, false}, 1, 2);
  EXPECT_EQ(store.Bytes, Record("1") + Record("2") + Mark());
}

TEST(CircularRecords, AreInOrderAgainAfterMarksWhereNoneBelong) {
  for (int stray = 0; stray < 32; ++stray) {
    MemoryStore store;
    for (int place = 0; place < 5; ++place) store.Bytes += stray >> place & 1 ? Mark() : Record("old");
    if (stray == 0) continue;
    for (int i = 1; i <= 20; ++i) {
      Write_Numbers(store, Small, i, i);
      ASSERT_EQ(store.Bytes.size(), 5U * 64);
      ASSERT_EQ(Records_In_Order(store.Bytes, 64).back(), std::to_string(i)) << stray;
    }
    EXPECT_EQ(Records_In_Order(store.Bytes, 64), Numbers(17, 20)) << stray;
  }
}

TEST(CircularRecords, AreAsTheyWereWhenAWriteFails) {
  MemoryStore store;
  CircularRecords records(store, Small);
  for (int i = 1; i <= 12; ++i) {
    const std::string before = store.Bytes;
    store.Full = true;
    EXPECT_RAISES(records.Write("lost"), DiskFull);
    EXPECT_EQ(store.Bytes, before);
    store.Full = false;
    records.Write(std::to_string(i));
    EXPECT_EQ(Records_In_Order(store.Bytes, 64), Numbers(std::max(1, i - 3), i));
  }
}

TEST(CircularRecords, RefuseALayoutOutOfItsRanges) {
  MemoryStore store;
  EXPECT_RAISES(CircularRecords(store, {63, 5, false}), InvalidProcedureCall);
  EXPECT_RAISES(CircularRecords(store, {65537, 5, false}), InvalidProcedureCall);
  EXPECT_RAISES(CircularRecords(store, {64, 1, false}), InvalidProcedureCall);
  EXPECT_RAISES(CircularRecords(store, {64, 2, true}), InvalidProcedureCall);
  EXPECT_EQ(store.Bytes, "");
  const CircularRecords smallest(store, {64, 2, false});
  MemoryStore rich_store;
  const CircularRecords smallest_rich(rich_store, {64, 3, true});
  EXPECT_EQ(rich_store.Bytes.size(), 128U);
}

TEST(CircularRecords, SurviveADeathAtAnyByte) {
  // What each write puts into the file is cut at every byte, as by a kill at that moment.
  MemoryStore store;
  {
    CircularRecords records(store, Small);
    for (int i = 1; i <= 14; ++i) records.Write("record " + std::to_string(i));
  }
  std::string bytes;
  int whole = 0;
  for (size_t write = 0; write < store.Writes.size(); ++write) {
    const auto& [offset, piece] = store.Writes[write];
    for (size_t length = 0; length < piece.size(); ++length) {
      MemoryStore killed;
      killed.Bytes = bytes;
      MemoryStore::Put(killed.Bytes, offset, std::string_view(piece).substr(0, length));
      Write_Numbers(killed, Small, 1000, 1000);
      std::vector<std::string> left = Records_In_Order(killed.Bytes, 64);
      ASSERT_FALSE(left.empty());
      ASSERT_EQ(left.back(), "1000");
      left.pop_back();
      // At most the record then written is spoiled, or was there before its write was known to be whole.
      if (!left.empty() && left.back() != "record " + std::to_string(whole)) left.pop_back();
      for (size_t i = 0; i < left.size(); ++i) {
        ASSERT_EQ(left[i], "record " + std::to_string(whole - static_cast<int>(left.size() - 1 - i)))
            << "write " << write << " cut at " << length;
      }
      ASSERT_GE(left.size(), static_cast<size_t>(std::min(whole, 2)));
      ASSERT_LE(killed.Bytes.size(), 5U * 64);
    }
    MemoryStore::Put(bytes, offset, piece);
    // The beginning is one write, each record two.
    whole = static_cast<int>(write) / 2;
  }
  EXPECT_EQ(whole, 14);
  EXPECT_EQ(bytes, store.Bytes);
}

TEST(RecogniseCircularFile, KnowsAnEmptyOne) {
  MemoryStore store;
  EXPECT_EQ(Recognise(store, Small), CircularFile::Empty);
  for (size_t length = 1; length < 64; ++length) {
    store.Bytes = Mark().substr(0, length);
    EXPECT_EQ(Recognise(store, Small), CircularFile::Empty) << length;
    Write_Numbers(store, Small, 1, 1);
    EXPECT_EQ(store.Bytes, Record("1") + Mark()) << length;
  }
}

TEST(RecogniseCircularFile, KnowsOneOfAnotherLayout) {
  MemoryStore store;
  Write_Numbers(store, Small, 1, 12);
  EXPECT_EQ(Recognise(store, Small), CircularFile::Continuable);
  EXPECT_EQ(Recognise(store, {64, 6, false}), CircularFile::Continuable);
  EXPECT_EQ(Recognise(store, {64, 4, false}), CircularFile::Other);
  EXPECT_EQ(Recognise(store, {64, 5, true}), CircularFile::Other);
  EXPECT_EQ(Recognise(store, {65, 5, false}), CircularFile::Other);
  EXPECT_RAISES(CircularRecords(store, {64, 4, false}), PathFileAccessError);
}

TEST(RecogniseCircularFile, TellsRecordLengthsApart) {
  for (const size_t written_size : {64U, 96U, 128U, 192U, 256U, 512U}) {
    for (int written = 1; written <= 20; ++written) {
      MemoryStore store;
      Write_Numbers(store, {written_size, 9, false}, 1, written);
      for (const size_t size : {64U, 96U, 128U, 192U, 256U, 512U, 1024U}) {
        EXPECT_EQ(Recognise(store, {size, 100, false}),
                  size == written_size ? CircularFile::Continuable : CircularFile::Other)
            << written_size << " " << written << " " << size;
      }
    }
  }
}

TEST(RecogniseCircularFile, KnowsAForeignOne) {
  MemoryStore store;
  for (const std::string& bytes :
       {std::string("x"), std::string(64, ' '), std::string("CIRCULAR"), std::string("CIRCULARX"),
        std::string("Dear reader,\r\n\r\nCIRCULAR\r\n is a word.\r\n"), Record("1") + Record("2"),
        Record("1") + Mark().substr(0, 63), "x" + Mark(), Record("1") + "x" + Mark(),
        std::string(200000, '\r'), std::string("CIRCULAR\r\n") + std::string(100, 'x')}) {
    store.Bytes = bytes;
    if (bytes == "CIRCULAR") {
      EXPECT_EQ(Recognise(store, Small), CircularFile::Empty);
      continue;
    }
    EXPECT_EQ(Recognise(store, Small), CircularFile::Foreign) << bytes.substr(0, 80);
    EXPECT_RAISES(CircularRecords(store, Small), PathFileAccessError);
    EXPECT_EQ(store.Bytes, bytes);
  }
}

// A record as the trace writes them.
std::string Trace_Text(int number) {
  return "[quotes] [" + std::to_string(10000 + number) + "] [00000.0280] ->global.bas : Sub Main : ";
}

// The bytes of a log that has come round.
std::string Trace_Of(const CircularLayout& layout) {
  MemoryStore store;
  CircularRecords records(store, layout);
  for (int i = 1; i <= 12; ++i) records.Write(Trace_Text(i));
  return store.Bytes;
}

TEST(RecogniseCircularFile, KnowsWhatAPowerCutLeaves) {
  for (const CircularLayout& layout : {CircularLayout{128, 5, false}, SmallRich}) {
    const std::string whole = Trace_Of(layout);
    // Each choice of records that did not get to the disk.
    for (unsigned lost = 1; lost < 32; ++lost) {
      MemoryStore store;
      store.Bytes = whole;
      for (size_t place = 0; place < 5; ++place) {
        if ((lost >> place & 1U) != 0) store.Bytes.replace(place * 128, 128, 128, '\0');
      }
      const std::string before = store.Bytes;
      for (const size_t size : {128U, 512U}) {
        EXPECT_EQ(Recognise(store, {size, 100, layout.RichText}), CircularFile::Spoiled)
            << lost << " " << size;
      }
      EXPECT_RAISES(CircularRecords(store, layout), PathFileAccessError);
      EXPECT_EQ(store.Bytes, before);
    }
  }
}

TEST(RecogniseCircularFile, KnowsNulsAsWhatIsLeftOfOne) {
  MemoryStore store;
  for (const size_t length : {1U, 511U, 512U, 4096U, 2U * 1024 * 1024 + 1}) {
    store.Bytes = std::string(length, '\0');
    EXPECT_EQ(Recognise(store, Small), CircularFile::Spoiled) << length;
  }
  store.Bytes += 'x';
  EXPECT_EQ(Recognise(store, Small), CircularFile::Foreign);
}

TEST(RecogniseCircularFile, KnowsOneWithoutItsMarkOrItsEnd) {
  MemoryStore store;
  store.Bytes = Record(Trace_Text(1), 128) + Record(Trace_Text(2), 128);
  EXPECT_EQ(Recognise(store, {128, 5, false}), CircularFile::Spoiled);
  store.Bytes = Record(Trace_Text(1), 128).substr(0, 100);
  EXPECT_EQ(Recognise(store, {128, 5, false}), CircularFile::Spoiled);
  store.Bytes = Mark(128).substr(0, 70) + std::string(58, '\0');
  EXPECT_EQ(Recognise(store, {128, 5, false}), CircularFile::Spoiled);
  // Far behind what was lost, and longer than a part that is read at once.
  for (const size_t size : {128U, 65536U}) {
    store.Bytes = std::string(size * (3 * 1024 * 1024 / size), '\0') + Record(Trace_Text(1), size);
    EXPECT_EQ(Recognise(store, {128, 5, false}), CircularFile::Spoiled) << size;
  }
}

TEST(RecogniseCircularFile, TakesNoOtherFileForASpoiledOne) {
  std::string trace = "Quotes 1.2 <03/14/03, 10:00:00>\r\n";
  for (int i = 1; i <= 3000; ++i) trace += Trace_Text(i) + (i % 2 == 0 ? " : [mem = 11%]\r\n" : "\r\n");
  MemoryStore store;
  for (const std::string& bytes :
       {trace, "CIRCULAR\r\n\r\n" + std::string(60, ' ') + "Dear members,\r\n",
        std::string("[one] [two] [three]  \r\n"), Record("a line of a table", 64) + Record("and another", 64),
        std::string(RichTextHeader) + "\r\nmine}", std::string(3 * 1024 * 1024, 'x') + "\r\n",
        std::string(5000, '\0') + "mine" + std::string(5000, '\0')}) {
    store.Bytes = bytes;
    EXPECT_EQ(Recognise(store, {64, 5, false}), CircularFile::Foreign) << bytes.substr(0, 80);
  }
}

// Whether the bytes are one group of rich text and nothing more.
bool Is_Closed_Group(std::string_view rich) {
  int depth = 0;
  for (size_t i = 0; i < rich.size(); ++i) {
    if (rich[i] == '\\') {
      ++i;
    } else if (rich[i] == '{') {
      ++depth;
    } else if (rich[i] == '}' && --depth == 0) {
      return rich.substr(i + 1) == "\r\n";
    }
  }
  return false;
}

TEST(RichCircularRecords, AreOneDocumentAfterEveryRecord) {
  MemoryStore store;
  CircularRecords records(store, SmallRich);
  EXPECT_TRUE(store.Bytes.starts_with(RichTextHeader));
  EXPECT_TRUE(Is_Closed_Group(store.Bytes));
  for (int i = 1; i <= 20; ++i) {
    records.Write("C:\\{" + std::to_string(i) + "}");
    ASSERT_TRUE(Is_Closed_Group(store.Bytes)) << store.Bytes;
    ASSERT_LE(store.Bytes.size(), 5U * 128);
    ASSERT_EQ(store.Bytes.size() % 128, 0U);
    for (size_t at = 128; at < store.Bytes.size(); at += 128) {
      const std::string record = store.Bytes.substr(at, 128);
      const bool last = at + 128 == store.Bytes.size();
      ASSERT_TRUE(record.ends_with(last ? "\\par}\r\n" : " \\par\r\n")) << record;
    }
    ASSERT_NE(store.Bytes.find("C:\\\\\\{" + std::to_string(i) + "\\}"), std::string::npos);
  }
  EXPECT_TRUE(store.Bytes.starts_with(RichTextHeader));
}

TEST(RichCircularRecords, GoOnWhereTheyEnded) {
  MemoryStore store;
  for (int i = 1; i <= 20; ++i) {
    Write_Numbers(store, SmallRich, i, i);
    ASSERT_TRUE(Is_Closed_Group(store.Bytes));
    for (int kept = std::max(1, i - 2); kept <= i; ++kept) {
      ASSERT_NE(store.Bytes.find("\r\n" + std::to_string(kept) + " "), std::string::npos) << i << " " << kept;
    }
  }
}

TEST(RichCircularRecords, AreNeverCutWithinAnEscape) {
  MemoryStore store;
  CircularRecords records(store, SmallRich);
  records.Write(std::string(1000, '{'));
  // 121 bytes are left to the text, which is an odd number.
  std::string expected;
  for (int i = 0; i < 60; ++i) expected += "\\{";
  EXPECT_EQ(store.Bytes.substr(128, 128), expected + "  \\par\r\n");
  EXPECT_TRUE(Is_Closed_Group(store.Bytes));
}

TEST(RichCircularRecords, SurviveADeathAtAnyByte) {
  MemoryStore store;
  Write_Numbers(store, SmallRich, 1, 10);
  std::string bytes;
  for (const auto& [offset, piece] : store.Writes) {
    for (size_t length = 0; length < piece.size(); ++length) {
      MemoryStore killed;
      killed.Bytes = bytes;
      MemoryStore::Put(killed.Bytes, offset, std::string_view(piece).substr(0, length));
      Write_Numbers(killed, SmallRich, 1000, 1003);
      ASSERT_TRUE(Is_Closed_Group(killed.Bytes)) << killed.Bytes;
      ASSERT_NE(killed.Bytes.find("\r\n1003 "), std::string::npos);
    }
    MemoryStore::Put(bytes, offset, piece);
  }
}

TEST(RichCircularRecords, KnowAPlainLogAsOfAnotherLayout) {
  MemoryStore store;
  Write_Numbers(store, {128, 5, false}, 1, 3);
  EXPECT_EQ(Recognise(store, SmallRich), CircularFile::Other);
  MemoryStore rich_store;
  Write_Numbers(rich_store, SmallRich, 1, 3);
  EXPECT_EQ(Recognise(rich_store, {128, 5, false}), CircularFile::Other);
  EXPECT_EQ(Recognise(rich_store, {256, 5, true}), CircularFile::Other);
  EXPECT_EQ(Recognise(rich_store, SmallRich), CircularFile::Continuable);
}

}  // namespace
}  // namespace hq
