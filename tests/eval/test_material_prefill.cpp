// The constant pre-fill table of the material cache.
#include <set>

#include <gtest/gtest.h>

#include "eval/material.h"

TEST(MaterialPrefill, EveryStoredScoreIsTheMaterialValue) {
    std::set<std::uint64_t> keys;
    for (const auto &row : material_prefill) {
        EXPECT_EQ(static_cast<int>(row[1]), MaterialIndex(row[0]).value()) << std::hex << row[0];
        EXPECT_TRUE(keys.insert(row[0]).second) << "duplicate " << std::hex << row[0];
    }
    // The start position and a plain queen trade are among the most frequent configurations.
    EXPECT_TRUE(keys.count(0x1222800012228ULL));
    EXPECT_TRUE(keys.count(0x222800002228ULL));
}
