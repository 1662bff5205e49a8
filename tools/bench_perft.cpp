// Move generator benchmark: perft of two reference positions with nodes per second, and table sizes.
//
//   bench_perft                   both positions, with the table sizes
//   bench_perft start|middle      one position: "<nodes> <seconds>" on one line, for bench_figures.py
#include <chrono>
#include <cstdio>
#include <cstring>

#include "movegen/perft.h"

namespace {
struct Reference {
    const char *name;
    const char *fen;
    int depth;
};
const Reference references[2] = {
    {"start", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 6},
    {"middle", "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 5}, // "kiwipete"
};

// Leaf count and seconds.
std::pair<std::uint64_t, double> run(const BoardTables &tables, const Reference &r) {
    ChessPosition pos(tables);
    MoveGenerator gen(tables);
    pos.fen(r.fen);
    const auto t0 = std::chrono::steady_clock::now();
    const std::uint64_t nodes = perft(pos, gen, r.depth);
    return {nodes, std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count()};
}
} // namespace

int main(int argc, char **argv) {
    const auto t0 = std::chrono::steady_clock::now();
    const BoardTables tables;
    const double build = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (argc > 1) {
        for (const Reference &r : references)
            if (std::strcmp(argv[1], r.name) == 0) {
                const auto [nodes, s] = run(tables, r);
                std::printf("%llu %.6f\n", static_cast<unsigned long long>(nodes), s);
                return 0;
            }
        std::fprintf(stderr, "bench_perft: unknown position %s (start or middle)\n", argv[1]);
        return 2;
    }
    std::printf(
        "attack and key tables built in %.1f ms: slider index bytes %zu, distinct attack sets %zu bytes, "
        "line segments %zu bytes\n",
        build * 1e3, tables.attacks().index_bytes(), tables.attacks().set_bytes(), sizeof(Connections));
    for (const Reference &r : references) {
        const auto [nodes, s] = run(tables, r);
        std::printf("perft %d %-10s %12llu nodes  %7.3f s  %6.1f Mnps\n", r.depth, r.name,
                    static_cast<unsigned long long>(nodes), s, nodes / s / 1e6);
    }
    return 0;
}
