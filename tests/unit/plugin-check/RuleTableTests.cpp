// The validator's rule table: what --list prints, --only looks up and every FAIL line names.
#include "tools/plugin-check/Rules.h"

#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <string>

namespace wm::check {
namespace {

// An id is what a user types after --only= and what the suite greps for: lower-case words
// joined by hyphens, and no two rules share one.
TEST(RuleTableTest, IdsAreUniqueAndTypeable) {
    std::set<std::string> ids;
    for (const RuleInfo& info : RuleTable()) {
        const std::string id = info.id;
        EXPECT_TRUE(ids.insert(id).second) << id;
        EXPECT_FALSE(id.empty() || id.front() == '-' || id.back() == '-') << id;
        for (char c : id)
            EXPECT_TRUE(std::islower(static_cast<unsigned char>(c)) || c == '-') << id;
        EXPECT_FALSE(std::string(info.summary).empty()) << id;
    }
}

// Each rule has one row, found by its value and by its id: a rule without a row, or with two,
// would print another rule's id.
TEST(RuleTableTest, EachRuleHasOneRowFoundBothWays) {
    const std::vector<RuleInfo>& table = RuleTable();
    std::set<int> rules;
    for (const RuleInfo& info : table) {
        EXPECT_TRUE(rules.insert(static_cast<int>(info.rule)).second) << info.id;
        EXPECT_EQ(&InfoOf(info.rule), &info) << info.id;
        EXPECT_EQ(FindRule(info.id), &info) << info.id;
    }
    // The values run from 0 without a gap: no rule in between lacks a row.
    EXPECT_EQ(*rules.begin(), 0);
    EXPECT_EQ(*rules.rbegin(), static_cast<int>(table.size()) - 1);
    EXPECT_EQ(FindRule("no-such-rule"), nullptr);
    EXPECT_EQ(FindRule("block-whole-frame"), nullptr); // a prefix of an id is no id
}

} // namespace
} // namespace wm::check
