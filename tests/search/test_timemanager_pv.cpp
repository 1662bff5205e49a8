// Clock arithmetic of the time manager, and the ordering rules of the principal-variation containers.
#include <thread>

#include <gtest/gtest.h>

#include "search/pv.h"
#include "search/timemanager.h"

TEST(TimePlan, ExactPlansOfTypicalClocks) {
    // The plan is the engine's strength on the clock: each row pins one of the rules where it binds. Sudden
    // death plans from the pool of the coming moves, a nearly flagged clock from what the reserve leaves,
    // moves to go from the 40-move shares (with few to go the hard time is a third of the clock), a fixed
    // move time from its margin and floor.
    const std::uint64_t none = time_not_given;
    struct Row {
        std::uint64_t time, inc;
        int movestogo;
        std::uint64_t movetime, soft, hard;
    };
    // clang-format off
    const Row rows[] = {
        {60000, 0, 0, none, 1983, 3570}, {300000, 0, 0, none, 9983, 17856}, {20000, 0, 0, none, 649, 1190},
        {10000, 100, 0, none, 438, 832}, {180000, 2000, 0, none, 8433, 15476}, {2000, 50, 0, none, 110, 238},
        {1000, 0, 0, none, 16, 48}, {3000, 1000, 0, none, 940, 940}, {200, 50, 0, none, 40, 40},
        {100, 0, 0, none, 0, 0}, {0, 0, 0, none, 0, 0}, {60000, 0, 40, none, 2142, 3570},
        {60000, 0, 1, none, 10500, 19980}, {60000, 0, 5, none, 5357, 13928}, {300000, 0, 20, none, 13636, 27272},
        {600000, 0, 80, none, 18293, 25608}, {10000, 100, 10, none, 687, 1602}, {1000, 0, 2, none, 137, 313},
        {5000, 1000, 3, none, 920, 1480}, {none, 0, 0, 1, 1, 1}, {none, 0, 0, 11, 1, 1},
        {none, 0, 0, 150, 140, 140}, {none, 0, 0, 300, 190, 190}, {none, 0, 0, 391, 191, 191},
        {none, 0, 0, 5000, 4800, 4800}, {none, 0, 0, none, none, none},
    };
    // clang-format on
    for (const Row &r : rows) {
        const TimeBudget b = plan_time(r.time, r.inc, r.movestogo, r.movetime);
        EXPECT_EQ(b.soft, r.soft) << r.time << "+" << r.inc << " mtg " << r.movestogo << " mt " << r.movetime;
        EXPECT_EQ(b.hard, r.hard) << r.time << "+" << r.inc << " mtg " << r.movestogo << " mt " << r.movetime;
    }
    // The margin is the GUI's lag: a larger one shifts where the floor gives way, not the floor.
    EXPECT_EQ(fixed_time_used(500, 400), 190u);
    EXPECT_EQ(fixed_time_used(1000, 400), 600u);
}

TEST(TimePlan, EveryClockStaysInsideAndSurvivesTwoHundredMoves) {
    const std::uint64_t overhead = TimeManager::move_overhead_ms;
    for (std::uint64_t start : {1000, 2000, 5000, 10000, 60000, 300000, 3600000})
        for (std::uint64_t inc : {0, 10, 50, 100, 1000, 2000})
            for (int mtg : {0, 1, 2, 5, 20, 40}) {
                // Worst case: every search runs to its hard time. The clock is refilled by the increment
                // and, with moves to go, by the start time again at each control.
                std::uint64_t clock = start;
                int left = mtg;
                for (int move = 0; move < 200; ++move) {
                    const TimeBudget b = plan_time(clock, inc, left, time_not_given);
                    ASSERT_LE(b.soft, b.hard);
                    ASSERT_TRUE(b.hard == 0 || b.hard + overhead < clock)
                        << start << "+" << inc << " mtg " << mtg << " move " << move << " clock " << clock;
                    // The protocol's cost is charged too wherever the increment can pay for it.
                    const std::uint64_t cost = b.hard + (inc >= 2 * overhead ? overhead : 0);
                    ASSERT_GT(clock, cost) << start << "+" << inc << " mtg " << mtg << " move " << move;
                    clock = clock - cost + inc;
                    if (mtg > 0 && --left == 0) left = mtg, clock += start;
                }
            }
    EXPECT_EQ(plan_time(time_not_given, 0, 0, time_not_given).hard, time_not_given);
}

TEST(TimePlan, FixedMoveTimeNeverThinksLessForMoreTime) {
    std::uint64_t previous = 1;
    for (std::uint64_t movetime = 1; movetime <= 3000; ++movetime) {
        const TimeBudget b = plan_time(time_not_given, 0, 0, movetime);
        ASSERT_EQ(b.soft, b.hard);
        ASSERT_GE(b.hard, previous) << movetime; // no cliff anywhere
        previous = b.hard;
        // Room for the answer's way out wherever the move time leaves any.
        ASSERT_LE(b.hard + std::min<std::uint64_t>(movetime - 1, TimeManager::move_overhead_ms), movetime);
    }
}

TEST(TimeManager, PlansFromTheMoversClockAndThisGoFromItsArrival) {
    // The other side's clock and increment never enter the plan, whichever side moves.
    for (const bool white : {true, false}) {
        TimeManager t;
        t.set_white_to_move(white);
        (white ? t.set_wtime(60000) : t.set_btime(60000));
        (white ? t.set_winc(1000) : t.set_binc(1000));
        (white ? t.set_btime(1500) : t.set_wtime(1500));
        const TimeBudget own = plan_time(60000, 1000, 0, time_not_given);
        t.start();
        EXPECT_EQ(t.target_ms(), own.soft) << white;
        EXPECT_EQ(t.hard_limit_ms(), own.hard) << white;
    }
    // A "go" with moves to go, then one without: the second plans for sudden death, not 1 move to go.
    TimeManager t;
    t.set_wtime(60000);
    t.set_movestogo(1);
    t.reset();
    t.set_wtime(60000);
    t.start();
    EXPECT_EQ(t.target_ms(), 1983u);
    // The GUI's clock started when "go" arrived: a command that waited counts its wait. Pondering never
    // stops itself, however long it runs; after ponderhit the clock rules.
    t.reset();
    t.set_wtime(1000);
    t.set_pondering(true);
    t.set_origin(std::chrono::system_clock::now() - std::chrono::milliseconds(600));
    t.start();
    EXPECT_FALSE(t.time_to_move());
    EXPECT_EQ(t.percentage(), 0);
    t.ponderhit();
    EXPECT_TRUE(t.time_to_move());
    // A move time at the lag still thinks about 190 ms: not done after 100, done after 195.
    t.reset();
    t.set_movetime(200);
    t.set_origin(std::chrono::system_clock::now() - std::chrono::milliseconds(100));
    t.start();
    EXPECT_FALSE(t.time_to_move());
    t.set_origin(std::chrono::system_clock::now() - std::chrono::milliseconds(195));
    t.start();
    EXPECT_TRUE(t.time_to_move());
    t.set_infinite(true);
    EXPECT_FALSE(t.time_to_move());
    TimeManager plain; // no limits at all: never stops
    plain.start();
    EXPECT_FALSE(plain.time_to_move());
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

TEST(PrincipalVariation, CapacityConcatenationAndOrder) {
    PrincipalVariation pv;
    for (int i = 0; i < 200; ++i)
        pv[pv.size()] = mv(1, 18);
    EXPECT_EQ(pv.size(), PrincipalVariation::capacity);
    EXPECT_THROW(pv[PrincipalVariation::capacity + 1], std::logic_error);
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
    // Replacing the 30 line re-sorts the lines by score, best first; a shallower line goes below every
    // line of the deeper iteration whatever its score (a stop leaves it from the iteration before).
    three.add(line(mv(1, 16), 4, 15));
    ASSERT_EQ(three.size(), 3);
    EXPECT_EQ(three[0].score(), 20);
    EXPECT_EQ(three[1].score(), 15);
    EXPECT_EQ(three[2].score(), 10);
    three.add(line(mv(6, 21), 3, 80));
    EXPECT_EQ(three[2].score(), 80);
    EXPECT_EQ(three[0].score(), 15);
    three.add(line(mv(1, 18), 4, 99));
    EXPECT_EQ(three.size(), 3);
    three.randomize(0); // only a tie with the best may be chosen
    EXPECT_EQ(three[0].score(), 99);
}
