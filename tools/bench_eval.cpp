// Evaluation benchmark: evaluations per second over a fixed set of positions (from semi-random games
// started in the start position and the perft positions), with the pawn hash cold and warm, and over the
// nodes of small search-like trees, where make/unmake keeps the piece-square sums incremental.
//
//   bench_eval [perft.txt]
#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "board/chessposition.h"
#include "eval/evaluation.h"
#include "movegen/movegenerator.h"
#include "random_play.h"

namespace {

using Clock = std::chrono::steady_clock;
double seconds_since(Clock::time_point t0) {
    return std::chrono::duration<double>(Clock::now() - t0).count();
}

std::uint64_t sink = 0;

// Copies each position into the evaluated one and re-initialises; with eval also evaluates.
double pass(const std::vector<ChessPosition> &set, ChessPosition &cur, Evaluation &e, bool eval) {
    const auto t0 = Clock::now();
    for (const ChessPosition &p : set) {
        cur = p;
        e.init();
        if (eval) sink += static_cast<std::uint64_t>(e.full_eval());
    }
    return seconds_since(t0);
}

std::uint64_t tree(ChessPosition &pos, Evaluation &e, MoveGenerator &gen, int depth, bool eval) {
    if (eval) sink += static_cast<std::uint64_t>(e.full_eval());
    if (depth == 0) return 1;
    MoveList list;
    gen.generate_moves(pos, list);
    std::uint64_t nodes = 1;
    for (const Move &m : list) {
        pos.make_move(m);
        e.make_move(m);
        nodes += tree(pos, e, gen, depth - 1, eval);
        e.unmake_move(m);
        pos.unmake_move();
    }
    return nodes;
}

} // namespace

int main(int argc, char **argv) {
    const std::string perft_path = argc > 1 ? argv[1] : "tests/data/perft.txt";
    std::vector<std::string> starts = {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"};
    std::ifstream in(perft_path);
    for (std::string line; std::getline(in, line);) {
        const std::string fen = line.substr(0, line.find(';'));
        if (fen.find('/') != std::string::npos) starts.push_back(fen);
    }

    const BoardTables tables;
    MoveGenerator gen(tables);
    std::mt19937_64 rng(7);
    std::vector<ChessPosition> set;
    for (int g = 0; set.size() < 4000; ++g) {
        ChessPosition pos(tables);
        pos.fen(starts[g % 3 == 0 ? 0 : 1 + g % (starts.size() - 1)]);
        for (int ply = 0; ply < 120 && set.size() < 4000; ++ply) {
            MoveList list;
            gen.generate_moves(pos, list);
            if (list.size() == 0 || pos.draw_by_fifty_move_rule()) break;
            pos.make_move(choose_move(pos, list, rng));
            if (ply % 3 == 0) {
                ChessPosition snapshot(tables);
                snapshot.fen(pos.fen()); // without the game history, so copies stay cheap
                set.push_back(snapshot);
            }
        }
    }
    const double n = static_cast<double>(set.size());
    std::printf("%zu positions\n", set.size());

    ChessPosition cur(tables);
    {
        Evaluation e(cur, tables);
        const double base = pass(set, cur, e, false);
        Evaluation cold(cur, tables);
        const double t_cold = pass(set, cur, cold, true);
        std::printf("pawn hash cold: %8.0f evals/s  (%.0f ns per eval; %s)\n", n / (t_cold - base),
                    1e9 * (t_cold - base) / n, cold.stats().c_str());
        double t_warm = 0, t_base = 0;
        const int rounds = 20;
        for (int r = 0; r < rounds; ++r) {
            t_base += pass(set, cur, cold, false);
            t_warm += pass(set, cur, cold, true);
        }
        std::printf("pawn hash warm: %8.0f evals/s  (%.0f ns per eval; %s)\n", rounds * n / (t_warm - t_base),
                    1e9 * (t_warm - t_base) / (rounds * n), cold.stats().c_str());
    }

    // Search-like: every node of depth-3 trees, incremental piece-square sums, mostly warm caches.
    const char *fens[3] = {"r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N2N2/PP2BPPP/R2QKB1R w KQ - 0 8",
                           "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
                           "8/5pk1/6p1/2pP4/2P2K1P/8/8/8 w - - 0 40"};
    double with = 0, without = 0;
    std::uint64_t nodes = 0;
    for (const char *fen : fens) {
        ChessPosition pos(tables);
        pos.fen(fen);
        Evaluation e(pos, tables);
        auto t0 = Clock::now();
        tree(pos, e, gen, 3, false);
        without += seconds_since(t0);
        t0 = Clock::now();
        nodes += tree(pos, e, gen, 3, true);
        with += seconds_since(t0);
    }
    std::printf("tree nodes:     %8.0f evals/s  (%.0f ns per eval over %llu nodes)\n",
                nodes / (with - without), 1e9 * (with - without) / nodes,
                static_cast<unsigned long long>(nodes));
    std::printf("checksum %llu\n", static_cast<unsigned long long>(sink));
    return 0;
}
