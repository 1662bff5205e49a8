// The evaluation driver: phase, material and its cache, the fixed terms, colour and side symmetry.
#include <cmath>
#include <set>

#include <gtest/gtest.h>

#include "eval/evaluation.h"
#include "eval/material.h"
#include "eval/measures.h"
#include "eval_test_util.h"

using evaltest::linear;
using evaltest::tables;

namespace {

struct Evaluated {
    ChessPosition pos{tables()};
    Evaluation eval{pos, tables()};
    int score = 0;
    explicit Evaluated(const std::string &fen) {
        pos.fen(fen);
        eval.init();
        score = eval.static_eval();
    }
    float var(int i) { return eval.variable_vector()[i]; }
};

const char *start_fen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

} // namespace

TEST(Evaluation, StartPositionIsTheSideToMoveTermAlone) {
    Evaluated w(start_fen);
    for (int i = 0; i < v_stm; ++i)
        EXPECT_EQ(w.var(i), 0.0f) << w.eval.weights().names()[i];
    EXPECT_EQ(w.score, 14);
    Evaluated b("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1");
    EXPECT_EQ(b.score, 14);
    EXPECT_EQ(b.eval.last_score(), -14.0f); // white's point of view
}

TEST(Evaluation, PhaseFactorsFollowThePieceMaterialUnclamped) {
    EXPECT_EQ(Evaluated(start_fen).eval.mg_factor(), 1.0f);
    Evaluated pawns("4k3/pppp4/8/8/8/8/4PPPP/4K3 w - - 0 1");
    EXPECT_EQ(pawns.eval.mg_factor(), 0.0f);
    EXPECT_EQ(pawns.eval.eg_factor(), 1.0f);
    Evaluated promoted("rnbqkbnr/pppppppp/8/8/8/8/QQQQQQQQ/RNBQKBNR w KQkq - 0 1");
    EXPECT_FLOAT_EQ(promoted.eval.mg_factor(), 13400.0f / 6200.0f);
    EXPECT_LT(promoted.eval.eg_factor(), 0.0f);
}

TEST(Evaluation, MaterialVariableAndCache) {
    EXPECT_EQ(Evaluated("3rk3/8/8/8/8/8/8/3QK3 w - - 0 1").var(v_material), 450.0f);
    EXPECT_EQ(Evaluated("3bk3/8/8/8/8/8/8/3RK3 w - - 0 1").var(v_material), 27.0f);
    // Two indexes sharing a slot of the cache: each lookup answers its own value.
    Material table;
    const MaterialIndex a(0x0000000300000000ULL);
    std::uint64_t other = a.index() + 1;
    while (Material::slot(other) != Material::slot(a.index()))
        ++other;
    for (const MaterialIndex &m : {a, MaterialIndex(other), a})
        EXPECT_EQ(table.get_eval(m), m.value()) << std::hex << m.index();
}

// The constant pre-fill table of the material cache.
TEST(MaterialPrefill, EveryStoredScoreIsTheMaterialValue) {
    std::set<std::uint64_t> keys;
    for (const auto &row : material_prefill) {
        EXPECT_EQ(static_cast<int>(row[1]), MaterialIndex(row[0]).value()) << std::hex << row[0];
        EXPECT_TRUE(keys.insert(row[0]).second) << "duplicate " << std::hex << row[0];
    }
    ChessPosition start(tables());
    start.newgame();
    EXPECT_TRUE(keys.count(start.materialindex().index())); // the commonest balance of all
}

TEST(Evaluation, OppositeColouredBishopsHalveTheLinearScore) {
    // White bishop d3 (light), black bishop d6 (dark); white a pawn up.
    Evaluated opposite("4k3/pp3ppp/3b4/8/8/3B4/PPP2PPP/4K3 w - - 0 1");
    EXPECT_EQ(opposite.var(v_opposite_colored_bishops), 1.0f);
    EXPECT_EQ(opposite.eval.last_score(), std::roundf(linear(opposite.eval) / 2.0f));
    EXPECT_GT(opposite.eval.last_score(), 50.0f);
    Evaluated same("4k3/pp3ppp/2b5/8/8/3B4/PPP2PPP/4K3 w - - 0 1");
    EXPECT_EQ(same.var(v_opposite_colored_bishops), 0.0f);
    EXPECT_EQ(same.eval.last_score(), std::roundf(linear(same.eval)));
    // Two bishops of one side are not opposite-coloured bishops.
    EXPECT_EQ(Evaluated("4k3/8/8/8/8/3B4/4B3/4K3 w - - 0 1").var(v_opposite_colored_bishops), 0.0f);
}

TEST(Evaluation, SpecialEndgameReplacesTheScoreAndTakesTheSideToMoveSign) {
    // |rounded linear score| + 1000 for the king on the edge - 10 per step between the kings.
    Evaluated w("4k3/8/8/8/8/8/8/R3K3 w - - 0 1");
    const int krk_w = static_cast<int>(std::fabs(std::roundf(linear(w.eval)))) + 1000 - 70;
    EXPECT_EQ(w.score, krk_w);
    EXPECT_EQ(w.eval.last_score(), static_cast<float>(krk_w));
    Evaluated b("4k3/8/8/8/8/8/8/R3K3 b - - 0 1");
    const int krk_b = static_cast<int>(std::fabs(std::roundf(linear(b.eval)))) + 1000 - 70;
    EXPECT_EQ(b.score, -krk_b);
    // Black with the rook: the value is negated for white.
    Evaluated black_rook("r3k3/8/8/8/8/8/8/4K3 b - - 0 1");
    EXPECT_EQ(black_rook.score, krk_w);
    EXPECT_EQ(black_rook.eval.last_score(), static_cast<float>(-krk_w));
}

// Each term must point the right way: white's advantage is positive.
TEST(Evaluation, TermsFavourTheRightSide) {
    struct Case {
        const char *fen;
        int var;
    };
    const Case better_for_white[] = {
        {"4k3/8/8/3P4/8/8/8/4K3 w - - 0 1", v_passed_pawns},
        {"4k3/pp6/p7/8/8/8/PP6/4K3 w - - 0 1", v_doubled_pawns},
        {"4k3/p1p1p3/8/8/8/8/PPP5/4K3 w - - 0 1", v_isolated_pawns},
        {"4k3/p1p1p3/8/8/8/8/PPP5/4K3 w - - 0 1", v_pawn_islands},
        {"r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R w KQ - 0 1", v_castling_rights},
        {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 1", v_mobility},
        {"rnbqkbnr/pppppppp/8/8/8/2N2N2/PPPPPPPP/R1BQKB1R w KQkq - 0 1", v_development},
        {"rnbqkbnr/pppppppp/8/8/8/2N2N2/PPPPPPPP/R1BQKB1R w KQkq - 0 1", v_knight_mobility},
        {"6k1/5ppp/8/8/8/8/5PPP/6K1 w - - 0 1", v_stm},
        {"6k1/5p1p/8/8/8/8/5PPP/6K1 w - - 0 1", v_pawn_shield},
        {"6k1/5p1p/8/8/8/8/5PPP/6K1 w - - 0 1", v_open_files_on_king},
        {"6k1/5ppp/8/6N1/8/8/5PPP/6K1 w - - 0 1", v_knight_battlefield_contact},
        {"6k1/5ppp/8/8/r7/8/5PPP/5RK1 w - - 0 1", v_undefended_pieces},
        {"6k1/5ppp/8/8/3n4/2B5/5PPP/6K1 w - - 0 1", v_own_hanging_material},
        {"6kr/5ppp/8/8/8/8/5PPP/6K1 w - - 0 1", v_locked_up_rook},
        {"6k1/5ppp/5P2/8/8/8/6PP/6K1 w - - 0 1", v_pawn_storm},
        {"4k3/3b4/8/8/Q7/8/8/4K3 w - - 0 1", v_pinned_pieces},
        {"6k1/5p1p/6pB/8/8/8/5PPP/6K1 w - - 0 1", v_bishop_battlefield_attack},
    };
    // A fit may switch a rule off (a constant of 0); the direction is checked with the constants on.
    const Measures fitted = measures();
    Measures &m = tunable_measures();
    m.castling_right = 100;
    m.half_open_file = -50;
    m.open_file = -100;
    m.storm_rank[0] = m.storm_rank[1] = m.storm_rank[2] = m.storm_rank[3] = 2;
    for (const Case &c : better_for_white) {
        Evaluated e(c.fen);
        EXPECT_GT(e.var(c.var), 0.0f) << e.eval.weights().names()[c.var] << " in " << c.fen;
    }
    tunable_measures() = fitted;
    // Black's passed pawn counts against white.
    EXPECT_LT(Evaluated("3k4/8/8/8/8/3p4/8/3K4 w - - 0 1").var(v_passed_pawns), 0.0f);
}

// The king danger grows with each part of an attack on a castled king and falls without the queen.
TEST(Evaluation, KingDangerGrowsWithTheAttack) {
    const float queen = Evaluated("6k1/5ppp/8/7Q/8/8/5PPP/6K1 w - - 0 1").var(v_king_attack);
    const float with_knight = Evaluated("6k1/5ppp/8/6NQ/8/8/5PPP/6K1 w - - 0 1").var(v_king_attack);
    const float rook_check = Evaluated("6k1/5ppp/8/6NQ/8/8/5PPP/4R1K1 w - - 0 1").var(v_king_attack);
    const float queenless = Evaluated("6k1/5ppp/8/6N1/8/8/5PPP/4R1K1 w - - 0 1").var(v_king_attack);
    EXPECT_GT(queen, 0.0f);
    EXPECT_LT(queen, with_knight);
    EXPECT_LT(with_knight, rook_check);
    EXPECT_LT(queenless, rook_check);
    EXPECT_GT(queenless, 0.0f);
}

// Rooks on files without own pawns and minor pieces on outposts count for activity, white's minus black's.
TEST(Evaluation, OpenFilesAndOutpostsCountForActivity) {
    const Measures fitted = measures();
    // The count a rule adds to the mobility variable in a position: the variable with only that rule at
    // 1000, less the variable with none of the activity rules, in units of 1000.
    auto count = [&](const char *fen, int Measures::*rule) {
        Measures &m = tunable_measures();
        m = fitted;
        m.rook_open_file = m.rook_half_open_file = m.knight_outpost = m.bishop_outpost = 0;
        const float none = Evaluated(fen).var(v_mobility);
        m.*rule = 1000;
        const float with = Evaluated(fen).var(v_mobility);
        tunable_measures() = fitted;
        return std::lround((with - none) / fitted.scale[v_mobility] / 1000.0f);
    };
    // d-file empty of pawns, e-file holds a black pawn only; black's a8 rook stands behind its own pawn.
    const char *rooks = "r5k1/p4ppp/4p3/8/8/8/5PPP/3R1RK1 w - - 0 1";
    EXPECT_EQ(count(rooks, &Measures::rook_open_file), 1);
    EXPECT_EQ(count(rooks, &Measures::rook_half_open_file), 0);
    EXPECT_EQ(count("r5k1/p4ppp/4p3/8/8/8/5PPP/4RRK1 w - - 0 1", &Measures::rook_half_open_file), 1);
    EXPECT_EQ(count("4r1k1/p4ppp/8/8/8/8/P3PPPP/3R2K1 w - - 0 1", &Measures::rook_half_open_file), -1);
    // Nd5 guarded by e4 with no black c- or e-pawn left to chase it; black's Nd4 guarded by e5 likewise.
    const char *knights = "6k1/pp3ppp/8/3Np3/3nP3/8/PP3PPP/6K1 w - - 0 1";
    EXPECT_EQ(count(knights, &Measures::knight_outpost), 0);
    EXPECT_EQ(count("6k1/pp3ppp/8/3Np3/4P3/8/PP3PPP/6K1 w - - 0 1", &Measures::knight_outpost), 1);
    EXPECT_EQ(count("6k1/pp3ppp/8/4p3/3nP3/8/PP3PPP/6K1 w - - 0 1", &Measures::knight_outpost), -1);
    // A c-pawn that may still advance to c6 takes the outpost away; one already past it does not.
    EXPECT_EQ(count("6k1/ppp2ppp/8/3Np3/4P3/8/PP3PPP/6K1 w - - 0 1", &Measures::knight_outpost), 0);
    EXPECT_EQ(count("6k1/pp3ppp/8/3Np3/2p1P3/8/PP3PPP/6K1 w - - 0 1", &Measures::knight_outpost), 1);
    // An unguarded square and the third rank are no outposts; a bishop counts by its own rule.
    EXPECT_EQ(count("6k1/pp3ppp/8/3N4/8/8/PP3PPP/6K1 w - - 0 1", &Measures::knight_outpost), 0);
    EXPECT_EQ(count("6k1/pp3ppp/8/8/8/3N4/PP2PPPP/6K1 w - - 0 1", &Measures::knight_outpost), 0);
    EXPECT_EQ(count("6k1/pp3ppp/8/3Bp3/4P3/8/PP3PPP/6K1 w - - 0 1", &Measures::bishop_outpost), 1);
    EXPECT_EQ(count("6k1/pp3ppp/8/3Bp3/4P3/8/PP3PPP/6K1 w - - 0 1", &Measures::knight_outpost), 0);
}

TEST(Evaluation, PassedPawnSetsOfTheLastEvaluation) {
    Evaluated e("4k3/p7/8/1p1P4/8/8/PP5P/4K3 w - - 0 1");
    // a2 is held by a7 and b5 (its neighbour file), b2 by b5; d5 and h2 run free.
    EXPECT_EQ(e.eval.white_passed_pawns(), BitBoard({Square("d5"), Square("h2")}));
    EXPECT_EQ(e.eval.black_passed_pawns(), BitBoard());
    Evaluated d("4k3/8/8/8/8/3P4/3P4/4K3 w - - 0 1"); // of doubled pawns only the front one is passed
    EXPECT_EQ(d.eval.white_passed_pawns(), BitBoard({Square("d3")}));
}

// A position and its colour mirror get the same score for the side to move; a left-right mirror keeps it
// when no castling rights remain. Checked over the perft suite and random continuations of it.
TEST(Evaluation, ColourAndSideMirrorsScoreAlike) {
    std::mt19937 rng(2024);
    int compared = 0, flop_compared = 0, endings = 0;
    ChessPosition pos(tables()), mirror(tables());
    Evaluation e(pos, tables()), m(mirror, tables()); // caches shared across positions, as in a search
    for (const std::string &fen : evaltest::perft_fens()) {
        for (int walk = 0; walk < 40; ++walk) {
            pos.fen(fen);
            evaltest::random_walk(pos, static_cast<int>(rng() % 60), rng);
            if (!pos.setup_error().empty()) continue;
            mirror.fen(pos.fen());
            e.init();
            const int score = e.full_eval(); // the variables are read below
            mirror.flip();
            m.init();
            // The opposite-coloured-bishops term is +1 whoever profits, so it alone is not colour-symmetric.
            if (e.variable_vector()[v_opposite_colored_bishops] == 0.0f) {
                ASSERT_EQ(score, m.static_eval()) << pos.fen() << " vs " << mirror.fen();
                ++compared;
            }
            if (pos.castlingrights() == 0) {
                mirror.flip();
                mirror.flop();
                m.init();
                ASSERT_EQ(score, m.static_eval()) << pos.fen() << " vs " << mirror.fen();
                ++flop_compared;
            }
            if (pos.nobelmen() <= 1400) ++endings;
        }
    }
    EXPECT_GT(compared, 1000);
    EXPECT_GT(flop_compared, 300);
    EXPECT_GT(endings, 50); // the walks reach endings too
}

// A score found in the cache is the one a full evaluation gives, with the passed pawns the search's
// extensions read, also when a position comes back after many others.
TEST(Evaluation, CachedScoresAreFullEvaluations) {
    std::mt19937 rng(11);
    ChessPosition pos(tables());
    Evaluation cached(pos, tables()), full(pos, tables());
    auto check = [&] {
        cached.init();
        full.init();
        ASSERT_EQ(cached.static_eval(), full.full_eval()) << pos.fen();
        ASSERT_EQ(cached.white_passed_pawns(), full.white_passed_pawns()) << pos.fen();
        ASSERT_EQ(cached.black_passed_pawns(), full.black_passed_pawns()) << pos.fen();
    };
    int positions = 0;
    for (const std::string &fen : evaltest::perft_fens()) {
        pos.fen(fen);
        const std::vector<Move> made = evaltest::random_walk(pos, 30, rng);
        for (std::size_t i = 0; i <= made.size(); ++i, ++positions) {
            check();
            if (i < made.size()) pos.unmake_move(); // back along the walk: evaluated for the first time
        }
        for (const Move &m : made) { // and out again: every position now comes from the cache
            pos.make_move(m);
            check();
        }
    }
    EXPECT_GT(positions, 100);
}
