#include <rdx/foundation/Status.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

// Items compare by id only, so tests that care about texts compare every field.
void ExpectSameFields(const StatusItem& actual, const StatusItem& expected) {
  EXPECT_EQ(actual.id, expected.id);
  EXPECT_EQ(actual.message, expected.message);
  EXPECT_EQ(actual.source, expected.source);
  EXPECT_EQ(actual.details, expected.details);
}

TEST(StatusItem, TextForm) {
  struct Row {
    const char* prefix;
    StatusItem item;
    std::string text;
  };
  const Row rows[] = {
      {"Main", {64279, "Could not open.", "QUORVAN.Rendix.Global.Reporter", ""},
       "[Main]: [Global.Reporter : 00FB17] Error: Could not open."},
      {nullptr, {64279, "Could not open.", "QUORVAN.Rendix.Global.Reporter", ""},
       "[Global.Reporter : 00FB17] Error: Could not open."},
      {"Main", {0, "Started.", "Manager", "pid 12"}, "[Main]: [Manager] Started.\npid 12"},
      {"Main", {10, "Lost.", "", ""}, "Lost."},
      {"Main", {10, "Lost.", "", "why"}, "Lost.\nwhy"},
      {"", {-5, "m", "S", ""}, "[]: [S : FFFFFFFB] Error: m"},
      {nullptr, {-1, "m", "S", ""}, "[S : FFFFFFFF] Error: m"},
      {nullptr, {1, "m", "S", ""}, "[S : 000001] Error: m"},
      {nullptr, {0x1234567, "m", "S", ""}, "[S : 1234567] Error: m"},
      {nullptr, {2, "m", "quorvan.rendix.A::B", ""}, "[A::B : 000002] Error: m"},
      // Removal searches again from the start, so a prefix that forms after a cut goes too.
      {nullptr, {0, "m", "QUORVAN.QUORVAN.Rendix.Rendix.X", ""}, "[X] m"},
      {nullptr, {0, "m", "A.QUORVAN.Rendix.B", ""}, "[A.B] m"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.item.ToTextString(row.prefix), row.text);
  }
  // Long and binary texts pass whole, well beyond any formatting buffer.
  const std::string huge(10000, 'm');
  EXPECT_EQ(StatusItem(0, huge + std::string("\0z", 2), "S", "").ToTextString(nullptr),
            "[S] " + huge + std::string("\0z", 2));
}

TEST(StatusItem, FormatSourceAndIdentity) {
  EXPECT_EQ(StatusItem::FormatSource("Global::Object::Report"), "Global.Object.Report");
  EXPECT_EQ(StatusItem::FormatSource("quorvan.rendix.A::B"), "quorvan.rendix.A.B");
  EXPECT_EQ(StatusItem::FormatSource(":::"), ".:");
  EXPECT_EQ(StatusItem::FormatSource(""), "");
  EXPECT_TRUE(StatusItem(1, "a", "b", "c") == StatusItem(1, "x", "y", "z"));
  EXPECT_FALSE(StatusItem(1, "a", "b", "c") == StatusItem(2, "a", "b", "c"));
  EXPECT_EQ(StatusItem(1, "a", "b", "c").ToString(), "");
}

TEST(Status, AddingKeepsOrderAndDefaultSource) {
  Status status;
  status.Clear("Mgr");
  EXPECT_TRUE(status.Append(5, "m", "", "d"));
  EXPECT_TRUE(status.Append(StatusItem(6, "n", "", "")));  // no default applied
  EXPECT_TRUE(status.Prepend(4, "p", "", "e"));
  EXPECT_TRUE(status.Prepend(StatusItem(3, "q", "own", "")));
  status.add(7, "a", "s", "dropped");
  status(2, "o", "", "dropped");
  const std::vector<StatusItem> expected = {
      {2, "o", "Mgr", ""}, {3, "q", "own", ""}, {4, "p", "Mgr", "e"}, {5, "m", "Mgr", "d"},
      {6, "n", "", ""},    {7, "a", "s", ""},
  };
  ASSERT_EQ(status.items.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(i);
    ExpectSameFields(status.items[i], expected[i]);
  }
  EXPECT_EQ(status.defaultSource, "Mgr");
}

TEST(Status, AppendingStatusesAndClearing) {
  Status status;
  status.Append(1, "a", "s", "");
  status.Append(2, "b", "s", "");
  status.Append(status);  // doubles, in order
  ASSERT_EQ(status.items.size(), 4u);
  EXPECT_EQ(status.ToTextString(nullptr), "[s : 000001] Error: a\n[s : 000002] Error: b\n"
                                          "[s : 000001] Error: a\n[s : 000002] Error: b");

  Status other;
  other.defaultSource = "ignored";
  other.Append(StatusItem(9, "z", "", ""));
  status.add(other);
  ASSERT_EQ(status.items.size(), 5u);
  ExpectSameFields(status.items.back(), {9, "z", "", ""});

  const Status copy = status;
  status.clear(1, "x", "NewSource", "y");
  EXPECT_TRUE(status.items.empty());
  EXPECT_EQ(status.defaultSource, "NewSource");
  EXPECT_EQ(status.ToTextString("P"), "");
  EXPECT_EQ(copy.items.size(), 5u);  // a copy is independent
  EXPECT_TRUE(status.Clear(""));
  EXPECT_EQ(status.defaultSource, "");
}

}  // namespace
}  // namespace QUORVAN::Rendix::GeneralUtilityLib
