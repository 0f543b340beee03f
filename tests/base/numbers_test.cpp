#include "base/numbers.h"

#include <array>
#include <bit>
#include <cfenv>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <locale>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/run_time_error.h"
#include "support/raises.h"

namespace hq {
namespace {

constexpr float InfinityF = std::numeric_limits<float>::infinity();
constexpr double InfinityD = std::numeric_limits<double>::infinity();

std::string Fixed(float value, int decimals) {
  std::string text;
  Append_Fixed(text, value, decimals);
  return text;
}

// Makes the C and the C++ locale of the process write a decimal comma and grouping points as far as the
// machine can, and puts both back.
class CommaLocale {
 public:
  CommaLocale() : c_before_(std::setlocale(LC_ALL, nullptr)) {
    for (const char* name :
         {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "it_IT.UTF-8", "de_DE"}) {
      if (std::setlocale(LC_ALL, name) != nullptr) break;
    }
    cpp_before_ = std::locale::global(std::locale(std::locale(), new Comma));
  }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;
  ~CommaLocale() {
    std::locale::global(cpp_before_);
    std::setlocale(LC_ALL, c_before_.c_str());
  }

 private:
  class Comma : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  std::string c_before_;
  std::locale cpp_before_;
};

// The rounding mode of the processor, put back at the end.
class RoundingMode {
 public:
  explicit RoundingMode(int mode) : before_(std::fegetround()) { std::fesetround(mode); }
  RoundingMode(const RoundingMode&) = delete;
  RoundingMode& operator=(const RoundingMode&) = delete;
  ~RoundingMode() { std::fesetround(before_); }

 private:
  int before_;
};

const std::vector<std::pair<std::string_view, double>>& Leading_Number_Table() {
  static const std::vector<std::pair<std::string_view, double>> table = {
      {"", 0},
      {"   ", 0},
      {"abc", 0},
      {"5", 5},
      {"007", 7},
      {"12 days", 12},
      {"12days3", 12},
      {"  42", 42},
      {"-3", -3},
      {"+3", 3},
      {"  -2.5x", -2.5},
      {"-", 0},
      {"+", 0},
      {"--1", 0},
      {"+-1", 0},
      {"- 1", 0},
      {".", 0},
      {"-.", 0},
      {".5", 0.5},
      {"-.25", -0.25},
      {"5.", 5},
      {"1.2.3", 1.2},
      {"..5", 0},
      {"1,5", 1},
      {"1.000,5", 1},
      {"1e3", 1},
      {"0x10", 0},
      {"nan", 0},
      {"inf", 0},
      {"-inf", 0},
      {"12\r", 12},
      {"12\n13", 12},
      {"71 (max)", 71},
      {"500", 500},
      {"32767.5", 32767.5},
      {"0.1", 0.1},
      {"9007199254740993", 9007199254740992.0},
      {std::string_view("1\0002", 3), 1},
  };
  return table;
}

TEST(LeadingNumber, TakesWhatTheTextBeginsWith) {
  for (const auto& [text, value] : Leading_Number_Table()) EXPECT_EQ(Leading_Number(text), value) << text;
}

TEST(LeadingNumber, TakesNumbersOfAnyLength) {
  EXPECT_EQ(Leading_Number(std::string(5000, '0') + "12"), 12);
  EXPECT_EQ(Leading_Number("12." + std::string(5000, '0')), 12);
  EXPECT_EQ(Leading_Number("1" + std::string(20, '0')), 1e20);
}

TEST(LeadingNumber, GivesInfinityBeyondDoublePrecision) {
  EXPECT_EQ(Leading_Number(std::string(5000, '9')), InfinityD);
  EXPECT_EQ(Leading_Number("-1" + std::string(400, '0') + ".5"), -InfinityD);
}

TEST(LeadingNumber, GivesZeroBelowDoublePrecision) {
  EXPECT_EQ(Leading_Number("." + std::string(400, '0') + "1"), 0);
  EXPECT_EQ(Leading_Number("-0." + std::string(5000, '0') + "1"), 0);
}

TEST(ToInteger16, RoundsHalvesToTheEvenNeighbour) {
  const std::vector<std::pair<double, int>> table = {
      {0, 0},
      {-0.0, 0},
      {0.5, 0},
      {-0.5, 0},
      {1.5, 2},
      {-1.5, -2},
      {2.5, 2},
      {-2.5, -2},
      {3.5, 4},
      {-3.5, -4},
      {0.49999999999999994, 0},
      {2.4999999, 2},
      {2.5000001, 3},
      {1.2, 1},
      {-1.7, -2},
      {32766.5, 32766},
      {32767, 32767},
      {32767.49, 32767},
      {-32768, -32768},
      {-32768.5, -32768},
      {-32767.5, -32768},
  };
  for (const auto& [value, rounded] : table) EXPECT_EQ(To_Integer16(value), rounded) << value;
}

TEST(ToInteger16, RaisesOverflowOutsideOf16Bits) {
  for (const double value : {32767.5, 32768.0, 40000.0, -32768.51, -32769.0, 1e10, -1e300, 1e308, InfinityD,
                             -InfinityD, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_RAISES(To_Integer16(value), Overflow) << value;
  }
}

TEST(ToInteger16, DoesNotDependOnTheRoundingMode) {
  for (const int mode : {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
    const RoundingMode keep(mode);
    EXPECT_EQ(To_Integer16(2.5), 2);
    EXPECT_EQ(To_Integer16(3.5), 4);
    EXPECT_EQ(To_Integer16(-1.5), -2);
    EXPECT_EQ(To_Integer16(2.75), 3);
    EXPECT_EQ(To_Integer16(-2.25), -2);
  }
}

TEST(ToInteger16, AgreesWithTheNeighboursForEveryQuarter) {
  for (int quarters = -32768 * 4; quarters <= 32767 * 4; ++quarters) {
    const int floor = quarters >= 0 ? quarters / 4 : -((-quarters + 3) / 4);
    const int part = quarters - floor * 4;
    const int expected = part < 2 || (part == 2 && floor % 2 == 0) ? floor : floor + 1;
    ASSERT_EQ(To_Integer16(quarters / 4.0), expected) << quarters;
  }
}

TEST(NarrowTo16, PassesWhatFitsAndRaisesOverflowElse) {
  EXPECT_EQ(Narrow_To_16(0), 0);
  EXPECT_EQ(Narrow_To_16(32767), 32767);
  EXPECT_EQ(Narrow_To_16(-32768), -32768);
  EXPECT_RAISES(Narrow_To_16(32768), Overflow);
  EXPECT_RAISES(Narrow_To_16(-32769), Overflow);
  EXPECT_RAISES(Narrow_To_16(65536), Overflow);
  EXPECT_RAISES(Narrow_To_16(std::numeric_limits<std::int64_t>::max()), Overflow);
  EXPECT_RAISES(Narrow_To_16(std::numeric_limits<std::int64_t>::min()), Overflow);
}

TEST(ToSingle, ReadsWholeNumbers) {
  const std::vector<std::pair<std::string, float>> table = {
      {"12.5", 12.5F},
      {" 12.5 ", 12.5F},
      {"12.5\r", 12.5F},
      {"12.5 \r", 12.5F},
      {"+1", 1},
      {"-1", -1},
      {"-12.25\r", -12.25F},
      {".5", 0.5F},
      {"-.5", -0.5F},
      {"5.", 5},
      {"0", 0},
      {"-0", 0},
      {"000123", 123},
      {"1e3", 1000},
      {"1E+3", 1000},
      {"25e-1", 2.5F},
      {".5e1", 5},
      {"5.e1", 50},
      {"23.04", 23.04F},
      {"0.1", 0.1F},
      {"5875387", 5875387},
      {"16777217", 16777216},
      {"16777219", 16777220},
      {"3.4028234e38", std::numeric_limits<float>::max()},
  };
  for (const auto& [text, value] : table) EXPECT_EQ(To_Single(text), value) << text;
}

TEST(ToSingle, RoundsLongNumbersOnce) {
  // A half between two neighbours goes to the even one, and one digit far behind decides against it.
  EXPECT_EQ(To_Single("16777217.0000000000000000000000000000000"), 16777216.0F);
  EXPECT_EQ(To_Single("16777217.0000000000000000000000000000001"), 16777218.0F);
  EXPECT_EQ(To_Single("0.1234567890123456789012345678901234567890"), 0.12345679F);
  EXPECT_EQ(To_Single("123456789012345678901234567890123456789"), 1.2345679e38F);
  EXPECT_EQ(To_Single("1." + std::string(5000, '0')), 1.0F);
}

TEST(ToSingle, RaisesTypeMismatchForWhatIsNoNumber) {
  for (const std::string_view text :
       {"",     " ",   "\r",    "-",        "+",       ".",      "-.",     "--1",   "++1",   "+-1",
        "-+1",  "- 1", "nan",   "NaN",      "-nan",    "nan(1)", "inf",    "INF",   "-inf",  "+infinity",
        "0x10", "0x",  "#1",    "1,5",      "1,000.5", "1.5.5",  "1e",     "1e+",   "1e1.5", "e5",
        ".e5",  "1 2", "12.5f", "12.5\r\r", "12.5\r ", "12.5\n", "\t12.5", "12.5%", "$1",    "N/A"}) {
    EXPECT_RAISES(To_Single(text), TypeMismatch) << text;
  }
  EXPECT_RAISES(To_Single(std::string_view("1\0", 2)), TypeMismatch);
  EXPECT_RAISES(To_Single("\xC2\xA0"
                          "1"),
                TypeMismatch);
}

TEST(ToSingle, RaisesOverflowBeyondSinglePrecision) {
  for (const std::string& text :
       {std::string("1e39"), std::string("-1e39"), std::string("3.4028236e38"), std::string("1e309"),
        std::string("1e99999999999999999999"), std::string("1234567890123456789012345678901234567890"),
        std::string(5000, '9'), "1" + std::string(60, '0') + "e-5"}) {
    EXPECT_RAISES(To_Single(text), Overflow) << text;
  }
}

TEST(ToSingle, GivesZeroForWhatIsTooSmall) {
  for (const std::string& text :
       {std::string("1e-60"), std::string("-1e-60"), std::string("1e-46"), std::string("1e-400"),
        std::string("1e-99999999999999999999"), std::string("0e99999999999999999999"), std::string("0e-5"),
        "0." + std::string(5000, '0') + "1", "0." + std::string(60, '0') + "1e5",
        "." + std::string(400, '0') + "1E+5"}) {
    EXPECT_EQ(To_Single(text), 0.0F) << text;
  }
}

TEST(ToSingle, WeighsThePlaceOfTheFirstDigitAndTheExponentTogether) {
  EXPECT_EQ(To_Single("0." + std::string(60, '0') + "1e61"), 1.0F);
  EXPECT_EQ(To_Single("1" + std::string(60, '0') + "e-60"), 1.0F);
}

TEST(ToSingle, KeepsTheSmallestNumbers) {
  EXPECT_EQ(To_Single("1e-45"), std::numeric_limits<float>::denorm_min());
  EXPECT_EQ(To_Single("1.17549435e-38"), std::numeric_limits<float>::min());
}

TEST(ToSingle, ReadsBackWhatTheSystemWritesShortest) {
  std::mt19937 random(20030115);
  for (int i = 0; i < 20000; ++i) {
    const auto value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
    if (!std::isfinite(value)) continue;
    std::array<char, 64> buffer;
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
    ASSERT_EQ(To_Single(std::string_view(buffer.data(), static_cast<size_t>(end - buffer.data()))), value);
  }
}

TEST(TextToInteger16, ReadsTheWholeTextAndRounds) {
  EXPECT_EQ(Text_To_Integer16("2.5"), 2);
  EXPECT_EQ(Text_To_Integer16("3.5\r"), 4);
  EXPECT_EQ(Text_To_Integer16(" -7 "), -7);
  EXPECT_EQ(Text_To_Integer16("32767.49"), 32767);
  // Read with more than single precision: in that it would be a half.
  EXPECT_EQ(Text_To_Integer16("2.50000001"), 3);
  EXPECT_RAISES(Text_To_Integer16("32767.5"), Overflow);
  EXPECT_RAISES(Text_To_Integer16("1e400"), Overflow);
  EXPECT_RAISES(Text_To_Integer16(""), TypeMismatch);
  EXPECT_RAISES(Text_To_Integer16("5x"), TypeMismatch);
  EXPECT_RAISES(Text_To_Integer16("nan"), TypeMismatch);
}

TEST(AppendFixed, WritesExactlyTheDecimalsAsked) {
  struct Row {
    float Value;
    int Decimals;
    const char* Text;
  };
  const std::vector<Row> table = {
      {23.04F, 3, "23.040"},
      {0, 3, "0.000"},
      {-0.0F, 3, "0.000"},
      {1, 3, "1.000"},
      {12.3445F, 3, "12.345"},
      {12.3444F, 3, "12.344"},
      {-12.3445F, 3, "-12.345"},
      {0.0625F, 3, "0.063"},
      {0.0005F, 3, "0.001"},
      {0.0004F, 3, "0.000"},
      {-0.0001F, 3, "0.000"},
      {-0.0004999F, 3, "0.000"},
      {-0.0005F, 3, "-0.001"},
      {999.9996F, 3, "1000.000"},
      {999.9994F, 3, "999.999"},
      {-999.9996F, 3, "-1000.000"},
      {9.9995F, 3, "10.000"},
      {0.9996F, 3, "1.000"},
      {99.5F, 0, "100"},
      {9.5F, 0, "10"},
      {2.5F, 0, "3"},
      {-2.5F, 0, "-3"},
      {3.5F, 0, "4"},
      {0.5F, 0, "1"},
      {0.4999F, 0, "0"},
      {-0.4999F, 0, "0"},
      {0, 0, "0"},
      {5875387, 0, "5875387"},
      {16777217.0F, 0, "16777216"},
      {16777216, 3, "16777216.000"},
      {1234567.9F, 3, "1234567.900"},
      {1e30F, 0, "1000000015047466219876688855040"},
      {1e30F, 3, "1000000015047466219876688855040.000"},
      {-1e30F, 1, "-1000000015047466219876688855040.0"},
      {std::numeric_limits<float>::max(), 0, "340282346638528859811704183484516925440"},
      {std::numeric_limits<float>::max(), 3, "340282346638528859811704183484516925440.000"},
      {std::numeric_limits<float>::lowest(), 0, "-340282346638528859811704183484516925440"},
      {std::numeric_limits<float>::denorm_min(), 3, "0.000"},
      {-std::numeric_limits<float>::denorm_min(), 3, "0.000"},
      {std::numeric_limits<float>::min(), 3, "0.000"},
      {std::numeric_limits<float>::denorm_min(), 45, "0.000000000000000000000000000000000000000000001"},
      {1.5F, 10, "1.5000000000"},
  };
  for (const auto& [value, decimals, text] : table)
    EXPECT_EQ(Fixed(value, decimals), text) << value << ' ' << decimals;
}

TEST(AppendFixed, LeavesWhatTheTextHeldBefore) {
  std::string text = "AAA,9";
  Append_Fixed(text, 9.9999F, 3);
  EXPECT_EQ(text, "AAA,910.000");
}

TEST(AppendFixed, RaisesOverflowForWhatIsNoNumber) {
  for (const float value : {InfinityF, -InfinityF, std::numeric_limits<float>::quiet_NaN()}) {
    std::string text = "kept";
    EXPECT_RAISES(Append_Fixed(text, value, 3), Overflow);
    EXPECT_EQ(text, "kept");
  }
}

// The schoolbook way: the shortest digits and the place of the point, cut and carried digit by digit.
std::string Slow_Fixed(float value, int decimals) {
  std::array<char, 64> buffer;
  const bool whole = std::fabs(value) >= 16777216.0F;
  // From 2 to the 24 on a float is a whole number, and is written with all of its digits.
  const auto end = whole ? std::to_chars(buffer.data(), buffer.data() + buffer.size(), std::fabs(value),
                                         std::chars_format::fixed, 0)
                         : std::to_chars(buffer.data(), buffer.data() + buffer.size(), std::fabs(value),
                                         std::chars_format::scientific);
  const std::string text(buffer.data(), end.ptr);
  std::vector<int> digits;
  int place = 0;  // how many of the digits stand before the point
  const size_t e = text.find('e');
  for (const char c : text.substr(0, e)) {
    if (c != '.') digits.push_back(c - '0');
  }
  place = whole ? static_cast<int>(digits.size()) : std::stoi(text.substr(e + 1)) + 1;
  while (place < 1) {
    digits.insert(digits.begin(), 0);
    ++place;
  }
  const auto kept = static_cast<size_t>(place + decimals);
  while (digits.size() <= kept) digits.push_back(0);
  bool carry = digits[kept] >= 5;
  digits.resize(kept);
  for (size_t i = kept; carry && i > 0; --i) {
    carry = digits[i - 1] == 9;
    digits[i - 1] = carry ? 0 : digits[i - 1] + 1;
  }
  if (carry) {
    digits.insert(digits.begin(), 1);
    ++place;
  }
  std::string result;
  bool any = false;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i == static_cast<size_t>(place)) result += '.';
    result += static_cast<char>('0' + digits[i]);
    any = any || digits[i] != 0;
  }
  return (std::signbit(value) && any ? "-" : "") + result;
}

TEST(AppendFixed, AgreesWithSchoolbookRoundingForAnyFloat) {
  std::mt19937 random(19750131);
  for (int i = 0; i < 60000; ++i) {
    const auto value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
    if (!std::isfinite(value)) continue;
    for (const int decimals : {0, 1, 3, 7}) {
      ASSERT_EQ(Fixed(value, decimals), Slow_Fixed(value, decimals))
          << std::hexfloat << value << ' ' << decimals;
    }
  }
}

TEST(AppendFixed, AgreesWithSchoolbookRoundingForPrices) {
  std::mt19937 random(19870601);
  std::uniform_int_distribution<int> ten_thousandths(0, 20000000);
  for (int i = 0; i < 60000; ++i) {
    const auto value = static_cast<float>(ten_thousandths(random)) / 10000.0F;
    ASSERT_EQ(Fixed(value, 3), Slow_Fixed(value, 3)) << value;
    ASSERT_EQ(Fixed(-value, 2), Slow_Fixed(-value, 2)) << value;
  }
}

TEST(AppendFixed, KeepsPricesOfThreeDecimalsAsTheyCame) {
  for (int thousandths = 0; thousandths <= 400000; thousandths += 7) {
    std::string text = std::to_string(thousandths % 1000);
    text = std::to_string(thousandths / 1000) + "." + std::string(3 - text.size(), '0') + text;
    ASSERT_EQ(Fixed(To_Single(text), 3), text);
  }
}

TEST(Numbers, AreReadAndWrittenTheSameUnderADecimalComma) {
  const CommaLocale comma;
  ASSERT_EQ(std::use_facet<std::numpunct<char>>(std::locale()).decimal_point(), ',');
  for (const auto& [text, value] : Leading_Number_Table()) EXPECT_EQ(Leading_Number(text), value) << text;
  EXPECT_EQ(To_Single("1234.5"), 1234.5F);
  EXPECT_RAISES(To_Single("1234,5"), TypeMismatch);
  EXPECT_RAISES(To_Single("1.234,5"), TypeMismatch);
  EXPECT_EQ(Text_To_Integer16("12.5"), 12);
  EXPECT_EQ(Fixed(1234567.9F, 3), "1234567.900");
  EXPECT_EQ(Fixed(23.04F, 3), "23.040");
  EXPECT_EQ(Fixed(5875387, 0), "5875387");
}

}  // namespace
}  // namespace hq
