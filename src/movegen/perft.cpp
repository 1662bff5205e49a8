#include "movegen/perft.h"

#include <stdexcept>

namespace {
void check_node(const ChessPosition &pos) {
#ifndef NDEBUG
    if (pos.key() != pos.full_key_from_scratch()) throw std::logic_error("perft: incremental key differs");
    if (pos.materialindex() != pos.compute_materialindex())
        throw std::logic_error("perft: incremental material index differs");
    if (!pos.consistent()) throw std::logic_error("perft: board inconsistent");
#else
    (void)pos;
#endif
}
} // namespace

std::uint64_t perft(ChessPosition &pos, MoveGenerator &gen, int depth) {
    check_node(pos);
    if (depth <= 1) return static_cast<std::uint64_t>(gen.count_moves(pos));
    Move buffer[MoveList::capacity];
    MoveList list(buffer);
    gen.generate_moves(pos, list);
    std::uint64_t nodes = 0;
    for (const Move &m : list) {
        pos.make_move(m);
        nodes += perft(pos, gen, depth - 1);
        pos.unmake_move();
    }
    return nodes;
}

std::vector<std::string> perft_divide(ChessPosition &pos, MoveGenerator &gen, int depth, bool chess960) {
    std::vector<std::string> lines;
    Move buffer[MoveList::capacity];
    MoveList list(buffer);
    gen.generate_moves(pos, list);
    std::uint64_t total = 0;
    for (const Move &m : list) {
        std::uint64_t n = 1;
        if (depth > 1) {
            pos.make_move(m);
            n = perft(pos, gen, depth - 1);
            pos.unmake_move();
        }
        total += n;
        lines.push_back(m.algebraic(chess960) + ": " + std::to_string(n));
    }
    lines.push_back("");
    lines.push_back("Nodes searched: " + std::to_string(total));
    return lines;
}
