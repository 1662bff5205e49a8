// The endgame tables: indexing, the known longest mates, hand-checked positions, step-wise builds, memory.
#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "board/chessposition.h"
#include "egtb/egt4pieces.h"
#include "movegen/board_tables.h"
#include "movegen/movegenerator.h"

namespace {

BoardTables &board() {
    static BoardTables *t = new BoardTables;
    return *t;
}

// Each instance is built once, in one uninterrupted create() call, and shared by the tests.
const Egt4Pieces &built(piece_t first, piece_t second) {
    static std::unique_ptr<Egt4Pieces> kqkr, kbnk;
    std::unique_ptr<Egt4Pieces> &slot = (first == wqueen) ? kqkr : kbnk;
    if (!slot) {
        slot = std::make_unique<Egt4Pieces>(board().attacks(), first, second);
        slot->use_own_buffer();
        slot->set_step_budget(std::numeric_limits<long>::max());
        slot->create();
        EXPECT_TRUE(slot->complete());
    }
    return *slot;
}
const Egt4Pieces &kqkr() { return built(wqueen, wrook); }
const Egt4Pieces &kbnk() { return built(wbishop, wknight); }

// The longest win with the strong side to move, in plies.
int longest_win(const RetroTable &t) {
    int longest = -1;
    for (std::uint32_t i = 0; i < t.positions_per_side(); ++i) {
        const unsigned char v = t.entry_value(i);
        if (egt_value::win(v)) longest = std::max(longest, egt_value::plies(v));
    }
    return longest;
}

EgtProbe probe(const Egt4Pieces &egt, const std::string &fen) {
    ChessPosition pos(board());
    pos.fen(fen);
    return egt.probe(pos);
}

void expect(const EgtProbe &p, egt_result_t result, int plies = 0) {
    EXPECT_EQ(static_cast<int>(p.result), static_cast<int>(result));
    if (result == egt_result_t::win || result == egt_result_t::loss) {
        EXPECT_EQ(p.plies, plies);
    }
}

} // namespace

TEST(EgtIndex, EveryIndexRoundTripsAndSymmetricPositionsShareAnEntry) {
    const RetroTable four(board().attacks(), {wking, wqueen, brook, bking});
    const RetroTable three(board().attacks(), {wking, wbishop, bking});
    for (const RetroTable *t : {&four, &three}) {
        for (std::uint32_t i = 0; i < t->positions_per_side(); ++i) {
            ASSERT_EQ(t->index(t->placement(i)), i);
            ASSERT_EQ(t->diagonal_mirror(t->diagonal_mirror(i)), i);
        }
    }
    // The eight images of a position land on its entry, or on the mirror entry when the strong king
    // ends up on the diagonal.
    const Placement p{{53, 12, 40, 7}}; // f7, e2, a6, h1
    const std::uint32_t i = four.index(p);
    for (int t = 0; t < 8; ++t) {
        Placement q = p;
        for (int &sq : q.sq) {
            int f = sq % 8, r = sq / 8;
            if (t & 1) f = 7 - f;
            if (t & 2) r = 7 - r;
            if (t & 4) std::swap(f, r);
            sq = r * 8 + f;
        }
        EXPECT_EQ(four.index(q), i) << t;
    }
    const Placement diagonal{{9, 20, 33, 63}}; // Kb2 Qe3 Rb5 kh8 and its mirror Kb2 Qc5 Re2 kh8
    const Placement mirrored{{9, 34, 12, 63}};
    EXPECT_NE(four.index(diagonal), four.index(mirrored));
    EXPECT_EQ(four.diagonal_mirror(four.index(diagonal)), four.index(mirrored));
}

TEST(EgtBuild, LongestMatesAreTheKnownOnes) {
    // In moves of the winning side, that side to move: KQK 10, KRK 16, KQKR 35, KBNK 33.
    EXPECT_EQ(longest_win(kqkr().table(0)), 19);
    EXPECT_EQ(longest_win(kqkr().table(1)), 31);
    EXPECT_EQ(longest_win(kqkr().table(2)), 69);
    EXPECT_EQ(longest_win(kbnk().table(0)), 65);
}

TEST(EgtBuild, HandCheckedPositions) {
    // Mate and stalemate with the queen; the sampled test below tells them apart too.
    expect(probe(kqkr(), "k7/8/1K6/8/8/8/8/2Q5 w - - 0 1"), egt_result_t::win, 1);
    expect(probe(kqkr(), "k7/2Q5/1K6/8/8/8/8/8 b - - 0 1"), egt_result_t::draw);
    // Colours reversed: the black queen mates.
    expect(probe(kqkr(), "2q5/8/8/8/8/1k6/8/K7 b - - 0 1"), egt_result_t::win, 1);
    // Queen against rook: the boxed king's rook must take the queen and is taken back (a draw).
    expect(probe(kqkr(), "k7/8/1QK5/8/8/8/8/1r6 b - - 0 1"), egt_result_t::draw);
    // The rook skewers king and queen: Re1+ and Rxe8 leave black king and rook against king.
    const EgtProbe skewer = probe(kqkr(), "4Q3/8/8/8/4K3/8/8/k6r b - - 0 1");
    EXPECT_EQ(skewer.result, egt_result_t::win);
    EXPECT_GT(skewer.plies, 3);
    // Black takes the undefended knight: a draw.
    expect(probe(kbnk(), "8/8/8/8/8/8/1n6/K4b1k w - - 0 1"), egt_result_t::draw);
    // The side to move giving check is an impossible position.
    expect(probe(kqkr(), "k7/8/8/8/8/8/8/Q3K2r w - - 0 1"), egt_result_t::illegal);
    // Other material, castling rights and unfinished tables are unknown.
    EXPECT_EQ(probe(kqkr(), "k7/8/1K6/8/8/8/8/2B4N w - - 0 1").result, egt_result_t::unknown);
    EXPECT_EQ(probe(kbnk(), "k7/8/1K6/8/8/8/8/2Q5 w - - 0 1").result, egt_result_t::unknown);
    EXPECT_EQ(probe(kqkr(), "4k3/8/8/8/8/8/8/R3K3 w Q - 0 1").result, egt_result_t::unknown);
    Egt4Pieces fresh(board().attacks(), wqueen, wrook);
    EXPECT_EQ(probe(fresh, "k7/8/1K6/8/8/8/8/2Q5 w - - 0 1").result, egt_result_t::unknown);
}

// Sets up the position of a table entry; false when two pieces share a square.
bool set_entry(ChessPosition &pos, const RetroTable &t, std::size_t e) {
    const Placement p = t.entry_placement(e);
    pos.clear();
    for (int k = 0; k < t.slots(); ++k) {
        if (pos.get_piece_id_from(Square(p.sq[k]))) return false;
        pos.set_piece_on(Square(p.sq[k]), t.piece(k));
    }
    if (t.side_of(e)) pos.switch_color_to_move();
    pos.fen(pos.fen()); // read back: keys, check and material of the placed board
    return true;
}

// Every stride-th entry against the board's own rules: illegal exactly when the position cannot be set up;
// a win in n plies has a move to a loss in n - 1 and none quicker; a loss in n has only moves to wins, the
// slowest in n - 1 (none at all when mated); a draw has no winning move and a move that does not lose.
void check_against_moves(const Egt4Pieces &egt, const RetroTable &t, std::size_t stride) {
    ChessPosition pos(board());
    MoveGenerator gen(board());
    int checked = 0;
    for (std::size_t e = 0; e < t.bytes_needed(); e += stride) {
        const unsigned char v = t.entry_value(e);
        if (!set_entry(pos, t, e)) {
            ASSERT_EQ(v, egt_value::illegal);
            continue;
        }
        const std::string fen = pos.fen();
        ASSERT_EQ(v == egt_value::illegal, !pos.setup_error().empty()) << fen;
        if (v == egt_value::illegal) continue;
        const EgtProbe here = egt.probe(pos);
        MoveList list;
        gen.generate_moves(pos, list);
        int quickest_win = 1000, slowest_loss = -1;
        bool holds = false;
        for (const Move &m : list) {
            pos.make_move(m);
            const EgtProbe child = egt.probe(pos); // unknown: material that cannot mate
            pos.unmake_move();
            if (child.result == egt_result_t::loss) quickest_win = std::min(quickest_win, child.plies + 1);
            if (child.result == egt_result_t::win) slowest_loss = std::max(slowest_loss, child.plies + 1);
            if (child.result != egt_result_t::win) holds = true;
        }
        if (here.result == egt_result_t::win) {
            ASSERT_EQ(here.plies, quickest_win) << fen;
        } else if (here.result == egt_result_t::loss) {
            ASSERT_FALSE(holds) << fen;
            ASSERT_TRUE(list.size() > 0 || pos.check()) << fen; // mated, not stalemated
            ASSERT_EQ(here.plies, list.size() == 0 ? 0 : slowest_loss) << fen;
        } else {
            ASSERT_EQ(here.result, egt_result_t::draw) << fen;
            ASSERT_EQ(quickest_win, 1000) << fen;
            ASSERT_TRUE(holds || (list.size() == 0 && !pos.check())) << fen; // a holding move, or stalemate
        }
        ++checked;
    }
    EXPECT_GT(checked, 1000);
}

TEST(EgtBuild, ResultsAgreeWithTheMovesOfSampledPositions) {
    check_against_moves(kqkr(), kqkr().table(0), 3);
    check_against_moves(kqkr(), kqkr().table(1), 3);
    check_against_moves(kqkr(), kqkr().table(2), 401);
    check_against_moves(kbnk(), kbnk().table(0), 401);
}

TEST(EgtBuild, AStepWiseBuildEqualsAnUninterruptedOne) {
    // Small steps stop inside every phase and generation; the tables must come out byte for byte equal.
    Egt4Pieces stepwise(board().attacks(), wqueen, wrook);
    stepwise.set_step_budget(997);
    std::vector<unsigned char> memory(stepwise.bytes_needed() + 64, 0xA5);
    ASSERT_FALSE(stepwise.set_memory(memory.data(), stepwise.bytes_needed() - 1));
    ASSERT_TRUE(stepwise.set_memory(memory.data(), stepwise.bytes_needed()));
    EXPECT_EQ(stepwise.progress(), -1);
    int last = -1, steps = 0;
    while (!stepwise.complete()) {
        stepwise.create();
        ASSERT_GE(stepwise.progress(), last);
        ASSERT_LE(stepwise.progress(), 101);
        last = stepwise.progress();
        ++steps;
    }
    EXPECT_GT(steps, 1000);
    const Egt4Pieces &whole = kqkr();
    for (int t = 0; t < whole.table_count(); ++t)
        for (std::size_t e = 0; e < whole.table(t).bytes_needed(); ++e)
            ASSERT_EQ(stepwise.table(t).entry_value(e), whole.table(t).entry_value(e)) << t << " " << e;
    // Nothing past the memory it was given.
    for (std::size_t e = stepwise.bytes_needed(); e < memory.size(); ++e)
        ASSERT_EQ(memory[e], 0xA5);
    EXPECT_LE(stepwise.bytes_needed(), 6000000u);
    EXPECT_LE(kbnk().bytes_needed(), 6000000u);
    // Released, it answers nothing and starts over on the next step.
    stepwise.release();
    EXPECT_EQ(stepwise.progress(), -1);
    EXPECT_EQ(probe(stepwise, "k7/8/1K6/8/8/8/8/2Q5 w - - 0 1").result, egt_result_t::unknown);
    stepwise.create();
    EXPECT_EQ(stepwise.progress(), -1); // no memory any more
}
