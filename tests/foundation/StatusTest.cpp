#include <rdx/foundation/Status.h>

#include "foundation/StatusItemsMatch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

using rdx::test::ExpectSameItems;

TEST(StatusItem, TextForm) {
  struct Row { const char* prefix; StatusItem item; std::string text; };
  const Row rows[] = {
      {"Main", {64279, "Could not open.", "QUORVAN.Rendix.Global.Reporter", ""},
       "[Main]: [Global.Reporter : 00FB17] Error: Could not open."},
      {nullptr, {64279, "Could not open.", "QUORVAN.Rendix.Global.Reporter", ""},
       "[Global.Reporter : 00FB17] Error: Could not open."},
      {"Main", {0, "Started.", "Manager", "pid 12"}, "[Main]: [Manager] Started.\npid 12"},
      {"Main", {10, "Lost.", "", "why"}, "Lost.\nwhy"},
      {"", {-5, "m", "S", ""}, "[]: [S : FFFFFFFB] Error: m"},
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
  EXPECT_EQ(StatusItem::FormatSource("quorvan.rendix.A::B"), "quorvan.rendix.A.B");
  EXPECT_EQ(StatusItem::FormatSource(":::"), ".:");
  // Items are equal by id alone, and an item has no string form of its own.
  EXPECT_TRUE(StatusItem(1, "a", "b", "c") == StatusItem(1, "x", "y", "z"));
  EXPECT_FALSE(StatusItem(1, "a", "b", "c") == StatusItem(2, "a", "b", "c"));
  EXPECT_EQ(StatusItem(1, "a", "b", "c").ToString(), "");
}

TEST(Status, AddingKeepsOrderAndDefaultSourceClearingAddsNothing) {
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
  ExpectSameItems(status.items, expected);

  status.Clear("s");
  status.Append(1, "a", "", "");
  status.Append(status);  // doubles, in order
  EXPECT_EQ(status.ToTextString(nullptr), "[s : 000001] Error: a\n[s : 000001] Error: a");
  Status other;
  other.defaultSource = "ignored";
  other.Append(StatusItem(9, "z", "", ""));
  status.add(other);
  ASSERT_EQ(status.items.size(), 3u);
  ExpectSameItems({status.items.back()}, {{9, "z", "", ""}});

  status.clear(1, "x", "NewSource", "y");
  EXPECT_TRUE(status.items.empty());
  EXPECT_EQ(status.defaultSource, "NewSource");
  EXPECT_EQ(status.ToTextString("P"), "");
}

}  // namespace
}  // namespace QUORVAN::Rendix::GeneralUtilityLib
