#include "server/services/json_tree.h"

#include <gtest/gtest.h>

namespace hq::server {
namespace {

JsonTree Tree(std::string_view text) {
  auto read = JsonTree::Read(text);
  if (auto* tree = std::get_if<JsonTree>(&read)) return std::move(*tree);
  ADD_FAILURE() << "no JSON: " << text;
  return {};
}

std::string Text_At(const JsonTree& tree, const Path& path) {
  const auto place = tree.Find(JsonTree::Root, path);
  return place ? std::string{tree.Text(*place)} : "nothing";
}

TEST(JsonTree, ValuesAreFoundByNamesAndPlaces) {
  const JsonTree tree = Tree(R"({"a": [1, {"b.c": "x"}, [true, null]], "d": {"e": 2}})");
  EXPECT_EQ(Text_At(tree, {"a", 0U}), "1");
  EXPECT_EQ(Text_At(tree, {"a", 1U, "b.c"}), "x");
  EXPECT_EQ(Text_At(tree, {"a", 2U, 0U}), "true");
  EXPECT_EQ(Text_At(tree, {"a", 2U, 1U}), "");
  EXPECT_EQ(tree.Kind(tree.Find(JsonTree::Root, {"a", 2U, 1U}).value()), JsonKind::Null);
  EXPECT_EQ(Text_At(tree, {"d", "e"}), "2");
  EXPECT_EQ(tree.Find(JsonTree::Root, {}), JsonTree::Root);
  for (const Path& path :
       {Path{"x"}, Path{"a", 3U}, Path{"a", "b"}, Path{"d", 0U}, Path{"d", "e", "f"}, Path{0U}})
    EXPECT_FALSE(tree.Find(JsonTree::Root, path));
}

TEST(JsonTree, NumbersKeepTheirDigits) {
  const JsonTree tree =
      Tree(R"([9999.990, 1.0E3, -0.5, 12345678901234567890, 123456789012345678901234567890, -7])");
  EXPECT_EQ(Text_At(tree, {0U}), "9999.990");
  EXPECT_EQ(Text_At(tree, {1U}), "1.0E3");
  EXPECT_EQ(Text_At(tree, {2U}), "-0.5");
  EXPECT_EQ(Text_At(tree, {3U}), "12345678901234567890");
  EXPECT_EQ(Text_At(tree, {4U}), "123456789012345678901234567890");
  EXPECT_EQ(Text_At(tree, {5U}), "-7");
}

TEST(JsonTree, TextsAreDecoded) {
  const JsonTree tree = Tree(R"({"a\u0062": "x\ny\u20ac"})");
  EXPECT_EQ(Text_At(tree, {"ab"}), "x\ny\xE2\x82\xAC");
}

TEST(JsonTree, OfMembersOfOneNameTheLastCounts) {
  EXPECT_EQ(Text_At(Tree(R"({"a": 1, "a": 2})"), {"a"}), "2");
}

TEST(JsonTree, ChildrenAreWalkedOneByOne) {
  const JsonTree tree = Tree(R"({"x": [[], {}, 3], "y": 4})");
  std::string names;
  for (auto child = tree.First(JsonTree::Root); child != tree.End(JsonTree::Root); child = tree.Next(child))
    names += tree.Name(child);
  EXPECT_EQ(names, "xy");
  const auto list = tree.Find(JsonTree::Root, {"x"}).value();
  std::size_t count = 0;
  for (auto child = tree.First(list); child != tree.End(list); child = tree.Next(child)) ++count;
  EXPECT_EQ(count, 3U);
}

TEST(JsonTree, DeepNestingDoesNoHarm) {
  constexpr std::size_t depth = 200000;
  const std::string open(depth, '[');
  EXPECT_TRUE(std::holds_alternative<JsonTree>(JsonTree::Read(open + std::string(depth, ']'))));
  EXPECT_TRUE(std::holds_alternative<JsonError>(JsonTree::Read(open)));
}

TEST(JsonTree, WhatIsNoJsonTellsWhereItStops) {
  for (const auto* text :
       {"", "{", "[1,]", "{\"a\":1} x", "NaN", "[1e400]", "\"\xFF\"", "'a'", "[01]", "{a:1}"})
    EXPECT_TRUE(std::holds_alternative<JsonError>(JsonTree::Read(text))) << text;
  EXPECT_EQ(std::get<JsonError>(JsonTree::Read("{\"a\":1} x")).Position, 9U);
}

}  // namespace
}  // namespace hq::server
