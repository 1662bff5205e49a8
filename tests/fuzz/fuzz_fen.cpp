// Fuzz target: any text read as a FEN; a playable position then has every legal move made and unmade to
// depth 2, with the position's self-check after each step.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "fuzz_util.h"
#include "movegen/movegenerator.h"

namespace {
void walk(ChessPosition &p, MoveGenerator &gen, int depth) {
    MoveList list;
    gen.generate_moves(p, list);
    const std::string before = p.fen();
    for (const Move &m : list) {
        p.make_move(m);
        fuzz::self_check(p);
        fuzz::require(p.check() == p.look_for_check(), "check flag", p.fen());
        if (depth > 1) walk(p, gen, depth - 1);
        p.unmake_move();
        fuzz::require(p.fen() == before, "unmake restores the position", before + " / " + m.algebraic());
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size > 200) return 0; // a FEN is short; longer texts only slow the search down
    ChessPosition p(fuzz::tables());
    try {
        p.fen(std::string(reinterpret_cast<const char *>(data), size));
    } catch (const std::logic_error &) {
        return 0; // rejected with a message, as the engine does
    }
    if (!p.setup_error().empty()) return 0; // the engine refuses to play these
    fuzz::self_check(p);
    MoveGenerator gen(fuzz::tables());
    walk(p, gen, 2);
    return 0;
}
