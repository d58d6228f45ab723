#include <rdx/foundation/NameValueMap.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace QUORVAN::Rendix::Global {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs PairsOf(const NameValueMap& map) { return Pairs(map.begin(), map.end()); }

NameValueMap MapOf(const Pairs& pairs) {
  NameValueMap map;
  for (const auto& [name, value] : pairs) map[name] = value;
  return map;
}

std::string Saved(NameValueMap map) {
  std::uint32_t size = 0;
  if (map.Save(&size, nullptr) != 0) return "unexpected success";
  std::string block(size, '\x7f');
  if (map.Save(&size, block.data()) != 1) return "save failed";
  return block;
}

// Loads from a heap copy of exactly the block's bytes, so any read past it is caught by the
// address sanitizer.
int LoadExact(NameValueMap& map, const std::string& block) {
  auto copy = std::make_unique<char[]>(block.size());
  std::copy(block.begin(), block.end(), copy.get());
  return map.Load(static_cast<std::uint32_t>(block.size()), copy.get());
}

TEST(NameValueMap, TextFormAndFlatBlockAndNamesThatIgnoreCase) {
  NameValueMap map = MapOf({{"b", "2"}, {"A", "1"}});
  EXPECT_EQ(map.ToTextString("ignored label"), "|A:1|b:2");
  EXPECT_EQ(Saved(map), std::string("A\0001\0b\0002\0", 8));  // \000: NUL before a digit
  std::uint32_t size = 7;
  char small[7] = {};
  EXPECT_EQ(map.Save(&size, small), 0);
  EXPECT_EQ(size, 8u) << "a short capacity still learns the size";
  EXPECT_EQ(map.Save(nullptr, small), 0);
  size = 1234;
  EXPECT_EQ(NameValueMap().Save(&size, small), 0);
  EXPECT_EQ(size, 1234u) << "an empty map has no flat form and leaves the size alone";
  // Names and values end at their first NUL; the rest of their room stays zero.
  NameValueMap withNul = MapOf({{std::string("k\0n", 3), std::string("v\0tail", 6)}});
  EXPECT_EQ(Saved(withNul), std::string("k\0\0\0v\0\0\0\0\0\0", 11));

  // Names keep their first spelling.
  map["B"] = "3";
  map["_x"] = "u";  // letters fold to lower case, so "_" (0x5F) sorts before every letter
  EXPECT_EQ(map.ToTextString(""), "|_x:u|A:1|b:3");
  const NameValueMap& constMap = map;
  EXPECT_EQ(constMap["missing"], "");
  EXPECT_EQ(map.Exists("missing"), 0) << "the const lookup must not insert";
  map["missing"];
  EXPECT_EQ(map.Exists("MISSING"), 1);
}

TEST(NameValueMap, LoadReadsBlocksOfOlderPeers) {
  struct Row {
    const char* label;
    std::string block;
    Pairs pairs;
  };
  const Row rows[] = {
      {"last empty value dropped", std::string("k\0\0", 3), {}},
      {"earlier empty value kept", std::string("k\0\0m\0v\0", 7), {{"k", ""}, {"m", "v"}}},
      {"first spelling wins", std::string("Port\0001\0PORT\0002\0", 14), {{"Port", "1"}}},
      {"empty name swallows a string", std::string("\0x\0y\0k\0v\0", 9), {{"", "y"}, {"k", "v"}}},
      {"value without its NUL", std::string("a\0bc", 4), {{"a", "bc"}}},
      {"name without a value", std::string("a\0b\0name\0", 9), {{"a", "b"}}},
      {"nothing", std::string(), {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    NameValueMap map = MapOf({{"stale", "1"}});
    EXPECT_EQ(LoadExact(map, row.block), 1);
    EXPECT_EQ(PairsOf(map), row.pairs);
  }
  NameValueMap map = MapOf({{"stale", "1"}});
  EXPECT_EQ(map.Load(8, nullptr), 0);
  EXPECT_TRUE(map.empty()) << "the map is emptied even when nothing can be read";
}

TEST(NameValueMap, FlatBlocksRoundTripAndSurviveAnyCut) {
  const NameValueMap original =
      MapOf({{"Alpha", "1"}, {"beta", ""}, {"Gamma", "three"}, {"delta", "4 4"}});
  const std::string block = Saved(original);
  NameValueMap back;
  ASSERT_EQ(LoadExact(back, block), 1);
  EXPECT_EQ(PairsOf(back), PairsOf(original));

  const Pairs all = PairsOf(original);
  for (std::size_t cut = 0; cut < block.size(); ++cut) {
    SCOPED_TRACE(cut);
    NameValueMap part;
    ASSERT_EQ(LoadExact(part, block.substr(0, cut)), 1);
    const Pairs got = PairsOf(part);
    ASSERT_LE(got.size(), all.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
      EXPECT_EQ(got[i].first, all[i].first);
      // Only the pair the cut runs through may come back shortened.
      if (i + 1 < got.size()) {
        EXPECT_EQ(got[i].second, all[i].second);
      }
      EXPECT_EQ(all[i].second.rfind(got[i].second, 0), 0u);
    }
  }
}

TEST(NameValueMap, WritesXml) {
  struct Row {
    Pairs pairs;
    const char* xml;
  };
  const Row rows[] = {
      {{{"A", "x&y"}}, "<Props><A>x_y</A>\n</Props>"},
      {{{"A", "a<b"}, {"b", "c>d"}}, "<Props><A>a_b</A>\n<b>c>d</b>\n</Props>"},
      {{{"A", "<i>1</i><j/>"}}, "<Props><A><i>1</i><j/></A>\n</Props>"},
      {{{"A", "<A>v</A>"}, {"B", "1"}}, "<Props><A>v</A><B>1</B>\n</Props>"},
      {{{"A", ""}}, "<Props><A></A>\n</Props>"},
      {{{"A", "<open>"}}, "<Props><A>_open_</A>\n</Props>"},
      {{}, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    EXPECT_EQ(MapOf(row.pairs).ToXmlString("Props"), row.xml);
  }
}

TEST(NameValueMap, LoadsXml) {
  struct Row {
    const char* xml;
    const char* root;
    int result;
    Pairs pairs;
  };
  const Row rows[] = {
      {"<Cfg><Port>80</Port><Host>a</Host><port>81</port></Cfg>",
       "/*",
       1,
       {{"Host", "a"}, {"Port", "80"}}},
      {"<Cfg>\n  <A>1</A>\n  <!-- skip -->\n  <B>2</B>\n</Cfg>", "", 1, {{"A", "1"}, {"B", "2"}}},
      {"<Cfg><A><i>1</i>t</A><E/></Cfg>", "/*", 1, {{"A", "<A><i>1</i>t</A>"}, {"E", ""}}},
      // Child i is the first i-th child of any S; the count comes from the first S.
      {"<R><S><!--c--><A>1</A></S><S><B>2</B><C>3</C></S><S/></R>",
       "//S",
       1,
       {{"A", "1"}, {"C", "3"}}},
      {"<R><S><A>1</A></S></R>", "/R/T", 0, {}},
      {"", "/*", 0, {}},
      {"<R/>", "/*", 1, {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    NameValueMap map = MapOf({{"stale", "1"}});
    EXPECT_EQ(map.LoadXml(row.xml, row.root), row.result);
    EXPECT_EQ(PairsOf(map), row.pairs);
  }

  // What ToXmlString writes, LoadXml reads back. A nested value comes back wrapped in its own
  // element, which ToXmlString then writes as it stands, so a second round trip changes nothing.
  const NameValueMap original = MapOf({{"Port", "80"}, {"Nested", "<i>1</i>"}, {"Empty", ""}});
  NameValueMap back;
  ASSERT_EQ(back.LoadXml(original.ToXmlString("Props"), ""), 1);
  EXPECT_EQ(PairsOf(back),
            (Pairs{{"Empty", ""}, {"Nested", "<Nested><i>1</i></Nested>"}, {"Port", "80"}}));
  NameValueMap again;
  ASSERT_EQ(again.LoadXml(back.ToXmlString("Props"), ""), 1);
  EXPECT_EQ(PairsOf(again), PairsOf(back));

  const std::string small = "<Cfg><A x='1'>1</A><B><![CDATA[2]]></B></Cfg>";
  for (std::size_t cut = 1; cut < small.size(); ++cut) {  // broken sections leave it empty
    SCOPED_TRACE(cut);
    again["stale"] = "1";
    EXPECT_EQ(again.LoadXml(small.substr(0, cut)), 0);
    EXPECT_TRUE(again.empty());
  }
}

TEST(NameValueMap, MergesUnderNewNames) {
  NameValueMap target = MapOf({{"svc.port", "1"}});
  const NameValueMap other = MapOf({{"Port", "80"}, {"Host", ""}});
  EXPECT_EQ(target.UpdateUsing(other, true, "Svc.", ""), 1);
  EXPECT_EQ(PairsOf(target), (Pairs{{"svc.port", "80"}}));
  EXPECT_EQ(target.UpdateUsing(other, false, "", "_1"), 1);
  EXPECT_EQ(PairsOf(target), (Pairs{{"Host_1", ""}, {"Port_1", "80"}, {"svc.port", "80"}}));

  struct Row {
    const char* oldPrefix;
    const char* newPrefix;
    Pairs copied;
  };
  const NameValueMap source = MapOf({{"Old_x_Old_y", "1"}, {"old_z", "2"}, {"Other", "3"}});
  const Row rows[] = {
      {"Old_", "New_", {{"New_x_New_y", "1"}, {"New_z", "2"}}},
      {"Missing", "X", {}},
      {"Other", "", {{"", "3"}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.oldPrefix);
    NameValueMap from = source;
    NameValueMap to;
    EXPECT_EQ(ReplaceKey(from, to, row.oldPrefix, row.newPrefix), 1);
    EXPECT_EQ(PairsOf(to), row.copied);
    EXPECT_EQ(PairsOf(from), PairsOf(source));
  }
  // Re-keying into the same map visits only the names that were there.
  NameValueMap self = MapOf({{"a", "1"}});
  EXPECT_EQ(ReplaceKey(self, self, "a", "aa"), 1);
  EXPECT_EQ(PairsOf(self), (Pairs{{"a", "1"}, {"aa", "1"}}));
}

}  // namespace
}  // namespace QUORVAN::Rendix::Global
