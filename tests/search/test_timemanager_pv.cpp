// Clock arithmetic of the time manager, and the ordering rules of the principal-variation containers.
#include <thread>

#include <gtest/gtest.h>

#include "search/pv.h"
#include "search/timemanager.h"

TEST(TimeManager, WorkedExampleAndLimits) {
    TimeManager t;
    t.set_white_to_move(true);
    t.set_wtime(60000);
    t.set_movestogo(40);
    EXPECT_EQ(t.target_ms(), 2142u);     // B = 1428, S = B + B - B / 2
    EXPECT_EQ(t.hard_limit_ms(), 3570u); // H = 2 * (714 + 1071)
    EXPECT_EQ(t.deadline_ms(), 2 * (1428u - TimeManager::move_overhead_ms));
    t.set_wtime(30); // nearly flagged: answer at once
    EXPECT_LE(t.deadline_ms(), 1u);
    t.set_wtime(60000);
    t.start();
    EXPECT_FALSE(t.time_to_move());
    EXPECT_LE(t.percentage(), 5);
    EXPECT_GT(t.remaining_time(), 59000);
    t.set_movestogo(0);
    EXPECT_EQ(t.movestogo(), 30);
    t.set_movetime(0);
    EXPECT_EQ(t.movetime(), 1u);
}

TEST(TimeManager, MoveTimeAgainstTheLag) {
    TimeManager t;
    t.set_movetime(150); // below the lag: movetime - lag wraps and never fires
    t.start();
    std::this_thread::sleep_for(std::chrono::milliseconds(160));
    EXPECT_FALSE(t.time_to_move());
    EXPECT_EQ(t.hard_limit_ms(), 150u); // the search still ends on it
    t.set_movetime(200);                // equal to the lag: fires at the first check
    EXPECT_TRUE(t.time_to_move());
    t.set_infinite(true);
    EXPECT_FALSE(t.time_to_move());
    EXPECT_EQ(t.percentage(), 0);
    TimeManager plain; // no limits at all: never stops
    plain.start();
    EXPECT_FALSE(plain.time_to_move());
    EXPECT_EQ(plain.hard_limit_ms(), time_not_given);
}

namespace {
Move mv(int from, int to) { return Move(Square(from), Square(to), normal_move, wknight, no_piece_t); }
PrincipalVariation line(Move m, int depth, int score) {
    PrincipalVariation pv;
    pv[0] = m;
    pv.set_depth(depth);
    pv.set_score(score);
    return pv;
}
} // namespace

TEST(PrincipalVariation, AppendingCapacityAndConcatenation) {
    PrincipalVariation pv;
    pv[0] = mv(1, 18);
    EXPECT_EQ(pv.size(), 1);
    EXPECT_THROW(pv[2], std::logic_error);
    for (int i = 1; i < 200; ++i)
        pv[pv.size()] = mv(1, 18);
    EXPECT_EQ(pv.size(), PrincipalVariation::capacity);
    const PrincipalVariation longer = mv(6, 21) + pv;
    EXPECT_EQ(longer.size(), PrincipalVariation::capacity);
    EXPECT_EQ(longer[0], mv(6, 21));
    EXPECT_TRUE(line(mv(1, 18), 5, -100) > line(mv(1, 16), 4, 300)); // depth decides first
}

TEST(MultiPV, AddReplacesTheSameFirstMoveAndKeepsTheRequiredOrder) {
    MultiPV one;
    one.add(line(mv(1, 18), 3, 10));
    one.add(line(mv(1, 16), 3, 50));
    ASSERT_EQ(one.size(), 1);
    EXPECT_EQ(one[0].score(), 50);
    one.add(line(mv(1, 18), 2, 90)); // shallower: the deeper line stays
    EXPECT_EQ(one[0][0], mv(1, 16));
    EXPECT_EQ(one.version(), 3);

    MultiPV three;
    three.set_number(3);
    three.add(line(mv(1, 18), 4, 10));
    three.add(line(mv(1, 16), 4, 30));
    three.add(line(mv(6, 21), 4, 20));
    EXPECT_EQ(three[0].score(), 30);
    // Replacing the 30 line moves the last line into its place; each later line is compared with the
    // one at the slot, and the last that beats it is swapped in: 15, 20, 10 - deliberately not sorted.
    three.add(line(mv(1, 16), 4, 15));
    ASSERT_EQ(three.size(), 3);
    EXPECT_EQ(three[0].score(), 15);
    EXPECT_EQ(three[1].score(), 20);
    EXPECT_EQ(three[2].score(), 10);
    three.add(line(mv(1, 18), 4, 99));
    EXPECT_EQ(three.size(), 3);
    three.randomize(0); // only a tie with the best may be chosen
    EXPECT_EQ(three[0].score(), 99);
}
