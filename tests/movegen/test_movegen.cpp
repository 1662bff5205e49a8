// The generator: perft counts against reference figures for standard and Chess960 positions, corner cases,
// the order of the list, check flags, and legality with make and unmake over random games.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <tuple>

#include <gtest/gtest.h>

#include "movegen/movegenerator.h"
#include "movegen/perft.h"

namespace {
const BoardTables &tables() {
    static const BoardTables t;
    return t;
}

struct Generated {
    ChessPosition pos{tables()};
    MoveList list;
    explicit Generated(const std::string &fen) {
        pos.fen(fen);
        MoveGenerator gen(tables());
        gen.generate_moves(pos, list);
    }
    std::vector<std::string> texts(bool chess960 = false) const {
        std::vector<std::string> out;
        for (const Move &m : list)
            out.push_back(m.algebraic(chess960));
        return out;
    }
    bool has(const std::string &text, bool chess960 = false) const {
        const auto t = texts(chess960);
        return std::find(t.begin(), t.end(), text) != t.end();
    }
};

struct PerftCase {
    std::string fen;
    int depth;
    std::uint64_t nodes;
};

std::vector<PerftCase> load_cases(std::uint64_t limit) {
    std::vector<PerftCase> cases;
    std::ifstream in(std::string(DRAVNIK_TEST_DATA) + "/perft.txt");
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string fen, part;
        std::getline(fields, fen, ';');
        while (std::getline(fields, part, ';')) {
            int depth = 0;
            unsigned long long nodes = 0;
            if (std::sscanf(part.c_str(), "D%d %llu", &depth, &nodes) == 2 && nodes <= limit)
                cases.push_back({fen, depth, nodes});
        }
    }
    return cases;
}

std::uint64_t node_limit() {
    if (std::getenv("DRAVNIK_PERFT_FULL")) return ~0ULL;
#ifdef NDEBUG
    return 5000000;
#else
    return 300000; // the per-node consistency checks of debug builds are slow
#endif
}

std::vector<std::string> perft_fens() {
    std::vector<std::string> fens;
    std::ifstream in(std::string(DRAVNIK_TEST_DATA) + "/perft.txt");
    for (std::string line; std::getline(in, line);)
        if (line.find('/') != std::string::npos) fens.push_back(line.substr(0, line.find(';')));
    return fens;
}

// Makes every move to depth, comparing each move's check flag with the position's own check test.
int compare_flags(ChessPosition &p, MoveGenerator &gen, int depth, std::string &first_fault) {
    MoveList list;
    gen.generate_moves(p, list);
    int checks = 0;
    for (const Move &m : list) {
        p.make_move(m);
        if (p.check() != m.check() && first_fault.empty()) first_fault = p.fen() + " after " + m.algebraic();
        checks += p.check();
        if (depth > 1) checks += compare_flags(p, gen, depth - 1, first_fault);
        p.unmake_move();
    }
    return checks;
}
} // namespace

TEST(Perft, ReferenceCounts) {
    const auto cases = load_cases(node_limit());
    ASSERT_GT(cases.size(), 100u);
    ChessPosition pos(tables());
    MoveGenerator gen(tables());
    for (const PerftCase &c : cases) {
        pos.fen(c.fen);
        const std::string before = pos.fen();
        EXPECT_EQ(perft(pos, gen, c.depth), c.nodes) << c.fen << " depth " << c.depth;
        EXPECT_EQ(pos.fen(), before) << "make/unmake did not restore " << c.fen;
    }
}

TEST(MoveGenerator, EvasionsOnlyAndDoubleCheckAllowsOnlyKingMoves) {
    // Single check by a rook: capture, block or step aside.
    Generated single("4k3/8/8/8/8/8/4r3/R3K3 w - - 0 1");
    for (const Move &m : single.list) {
        ChessPosition p = single.pos;
        p.make_move(m);
        EXPECT_FALSE(p.black_attackers(p.pieces(wking))) << m.algebraic();
    }
    // Double check by knight and bishop: every move is a king move.
    Generated dbl("4k3/8/8/8/1b6/8/3n4/4K3 w - - 0 1");
    ASSERT_GT(dbl.list.size(), 0);
    for (const Move &m : dbl.list)
        EXPECT_EQ(m.piece_id(), wking) << m.algebraic();
}

TEST(MoveGenerator, EnPassantThatExposesTheKingAlongTheRankIsNotGenerated) {
    Generated pinned("8/8/8/KPp4r/8/8/8/7k w - c6 0 1");
    EXPECT_FALSE(pinned.has("b5c6"));
    Generated free("8/8/8/1Pp4r/K7/8/8/7k w - c6 0 1");
    EXPECT_TRUE(free.has("b5c6"));
    // Capturing en passant removes the checking pawn.
    Generated evasion("8/8/8/2k5/3Pp3/8/8/4K3 b - d3 0 1");
    EXPECT_TRUE(evasion.has("e4d3"));
}

TEST(MoveGenerator, ListOrderCapturesByVictimAndCastlingLast) {
    // Queen victim, rook victim, knight victim (pawn before rook), then the straight promotions (no victim).
    Generated g("r1q4k/1P6/8/8/8/n7/1PP4P/R3K2R w KQ - 0 1");
    const auto t = g.texts();
    ASSERT_GE(t.size(), 16u);
    EXPECT_EQ(std::vector<std::string>(t.begin(), t.begin() + 14),
              (std::vector<std::string>{"b7c8q", "b7c8r", "b7c8b", "b7c8n", "b7a8q", "b7a8r", "b7a8b",
                                        "b7a8n", "b2a3", "a1a3", "b7b8q", "b7b8r", "b7b8b", "b7b8n"}));
    // Castling last, walked from the a-file up.
    EXPECT_EQ(t[t.size() - 2], "e1c1");
    EXPECT_EQ(t.back(), "e1g1");
    // Equal victims: pawn, knight, queen.
    const auto eq = Generated("4k3/8/8/3p4/2P5/2N5/8/3QK3 w - - 0 1").texts();
    EXPECT_EQ(std::vector<std::string>(eq.begin(), eq.begin() + 3),
              (std::vector<std::string>{"c4d5", "c3d5", "d1d5"}));
}

TEST(MoveGenerator, Chess960CastlingRules) {
    Generated ok("6k1/8/8/8/8/8/8/RK6 w A - 0 1");
    EXPECT_TRUE(ok.has("b1a1", true));
    EXPECT_TRUE(ok.has("b1a1", false)); // king-takes-rook text is only translated for e1 and e8
    Generated attacked_path("2r3k1/8/8/8/8/8/8/RK6 w A - 0 1");
    EXPECT_FALSE(attacked_path.has("b1a1", true)); // c1 is attacked
    // The castling rook on b1 shields c1 from the black rook on a1: castling would leave the king in check.
    Generated shield("6k1/8/8/8/8/8/8/rRK5 w B - 0 1");
    EXPECT_FALSE(shield.has("c1b1", true));
    Generated noshield("6k1/8/8/8/8/8/8/1RK5 w B - 0 1");
    EXPECT_TRUE(noshield.has("c1b1", true));
}

namespace {
// A move as the transposition table gives it back: squares and kind of move, the pieces read off the board.
Move from_table(const ChessPosition &pos, int from, int to, unsigned code) {
    const int piece = pos.get_piece_id_from(Square(from));
    int captured = pos.get_piece_id_from(Square(to));
    if (code == en_passant) captured = piece == wpawn ? bpawn : wpawn;
    if (code == castling) captured = 0;
    return Move(Square(from), Square(to), code, Piece(piece), Piece(captured));
}
} // namespace

// Along random games from every reference position: the count agrees with the list, and every listed move
// keeps the own king safe, keeps the keys, the material and the board consistent, and is undone exactly.
// The table's move, searched before the list is made, is recognised for every listed move with its check
// flag, and never for anything else.
TEST(MoveGenerator, MovesAreLegalAndMakeAndUnmakeRestoreEverything) {
    const std::vector<std::string> fens = perft_fens();
    ASSERT_GT(fens.size(), 20u);
    MoveGenerator gen(tables());
    std::mt19937 rng(2024);
    auto state = [](const ChessPosition &q) {
        return std::make_tuple(q.fen(), q.key(), q.get_pawnhash(), q.materialindex().index());
    };
    int positions = 0;
    for (const std::string &fen : fens)
        for (int game = 0; game < 4; ++game) {
            ChessPosition pos(tables());
            pos.fen(fen);
            for (int ply = 0; ply < 80; ++ply, ++positions) {
                MoveList list;
                gen.generate_moves(pos, list);
                ASSERT_EQ(gen.count_moves(pos), list.size()) << pos.fen();
                if (list.size() == 0) break;
                MoveGenerator::MoveTable table;
                gen.create_movetable(pos, table);
                for (const Move &m : list)
                    ASSERT_EQ(gen.legal_move(pos, table, from_table(pos, m.from_id(), m.to_id(), m.code())),
                              m)
                        << pos.fen() << " " << m.algebraic(true);
                const BitBoard own = pos.white_to_move() ? pos.white_pieces() : pos.black_pieces();
                for (std::uint64_t b = own.value(); b; b &= b - 1)
                    for (int k = 0; k < 4; ++k) {
                        const Move t =
                            from_table(pos, BitBoard::first_square(b).id(), static_cast<int>(rng() % 64),
                                       static_cast<unsigned>(rng() % 8));
                        const Move found = gen.legal_move(pos, table, t);
                        ASSERT_TRUE(!found.word() || std::count(list.begin(), list.end(), found) == 1)
                            << pos.fen() << " " << t.algebraic(true);
                    }
                const auto before = state(pos);
                const int own_king = pos.white_to_move() ? wking : bking;
                for (const Move &m : list) {
                    pos.make_move(m);
                    ASSERT_FALSE(own_king == wking ? pos.black_attacks(pos.pieces(wking))
                                                   : pos.white_attacks(pos.pieces(bking)))
                        << std::get<0>(before) << " " << m.algebraic(true);
                    ASSERT_EQ(pos.key(), pos.full_key_from_scratch()) << pos.fen();
                    ASSERT_EQ(pos.materialindex(), pos.compute_materialindex()) << pos.fen();
                    ASSERT_TRUE(pos.consistent()) << pos.fen();
                    pos.unmake_move();
                    ASSERT_EQ(state(pos), before) << m.algebraic(true);
                }
                pos.make_move(list[static_cast<int>(rng() % static_cast<unsigned>(list.size()))]);
            }
        }
    EXPECT_GT(positions, 5000);
}

// The search extends and orders by the check flag: it must say whether the move gives check. Two plies
// from every reference position and from positions where a check is easily got wrong.
TEST(MoveGenerator, EveryCheckFlagTellsWhetherTheMoveChecks) {
    std::vector<std::string> fens = {
        "8/8/8/8/R1K4k/8/8/8 w - - 0 1",      // the king shields its rook: along the line, or off it
        "8/8/8/8/8/8/2K5/B6k w - - 0 1",      // the same on a diagonal
        "8/8/8/8/R1P4k/8/8/4K3 w - - 0 1",    // a pawn in the way: pushes keep the line shut
        "4k3/8/8/8/4N3/8/8/4R1K1 w - - 0 1",  // every knight move uncovers the rook
        "8/8/8/K2pP2k/8/8/8/8 w - d6 0 1",    // en passant opens a rank... for the other side
        "8/8/8/R2pP2k/8/8/8/4K3 w - d6 0 1",  // ...and here for the capturer: discovered check
        "7k/8/8/3pP3/8/8/8/B3K3 w - d6 0 1",  // en passant opens the bishop's diagonal
        "4k3/8/8/8/8/3B4/8/R3K1N1 w Q - 0 1", // castling rooks that may check, or not
        "3k4/8/8/8/8/8/8/R3K3 w Q - 0 1",     // long castling gives check on the d-file
        "1r5k/P1P5/8/8/8/8/8/4K3 w - - 0 1",  // promotions that check, with and without capture
        // Every promotion piece along every line from the new piece: diagonal, rank, file, knight's jump,
        // and a capture that promotes onto a diagonal; for both colours.
        "8/4P3/8/7k/8/8/8/K7 w - - 0 1",
        "k7/4P3/8/8/8/8/8/4K3 w - - 0 1",
        "8/4P3/8/8/8/4k3/8/K7 w - - 0 1",
        "8/4P1k1/8/8/8/8/8/K7 w - - 0 1",
        "3r4/4P3/8/k7/8/8/8/4K3 w - - 0 1",
        "k7/8/8/8/8/8/4p3/7K b - - 0 1",
        "4K3/8/8/8/8/8/4p3/k7 b - - 0 1",
        "8/8/8/K7/8/8/4p3/k7 b - - 0 1",
        "k7/8/8/8/8/8/2K1p3/3R4 b - - 0 1",
        "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1",
    };
    for (const std::string &fen : perft_fens())
        fens.push_back(fen);
    MoveGenerator gen(tables());
    int checks = 0;
    std::string fault;
    for (const std::string &fen : fens) {
        ChessPosition p(tables());
        p.fen(fen);
        checks += compare_flags(p, gen, 2, fault);
    }
    EXPECT_EQ(fault, "");
    EXPECT_GT(checks, 500);
}
