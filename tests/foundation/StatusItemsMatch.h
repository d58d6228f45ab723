#pragma once
// Items compare by id only, so tests that care about the texts compare every field.
#include <rdx/foundation/StatusItem.h>

#include <gtest/gtest.h>

#include <vector>

namespace rdx::test {

using Items = std::vector<QUORVAN::Rendix::GeneralUtilityLib::StatusItem>;

inline void ExpectSameItems(const Items& actual, const Items& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(actual[i].id, expected[i].id);
    EXPECT_EQ(actual[i].message, expected[i].message);
    EXPECT_EQ(actual[i].source, expected[i].source);
    EXPECT_EQ(actual[i].details, expected[i].details);
  }
}

}  // namespace rdx::test
