// Move generator benchmark: perft of two reference positions with nodes per second, and table sizes.
#include <chrono>
#include <cstdio>

#include "movegen/perft.h"

namespace {
void run(const BoardTables &tables, const char *name, const char *fen, int depth) {
    ChessPosition pos(tables);
    MoveGenerator gen(tables);
    pos.fen(fen);
    const auto t0 = std::chrono::steady_clock::now();
    const std::uint64_t nodes = perft(pos, gen, depth);
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    std::printf("perft %d %-10s %12llu nodes  %7.3f s  %6.1f Mnps\n", depth, name,
                static_cast<unsigned long long>(nodes), s, nodes / s / 1e6);
}
} // namespace

int main() {
    const auto t0 = std::chrono::steady_clock::now();
    const BoardTables tables;
    const double build = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    std::printf(
        "attack and key tables built in %.1f ms: slider index bytes %zu, distinct attack sets %zu bytes, "
        "line segments %zu bytes\n",
        build * 1e3, tables.attacks().index_bytes(), tables.attacks().set_bytes(), sizeof(Connections));
    run(tables, "start", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 6);
    run(tables, "kiwipete", "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 5);
    return 0;
}
