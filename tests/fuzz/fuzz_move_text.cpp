// Fuzz target: a move text read against a position. The first byte picks one of a few positions rich in
// special moves; the rest is the text. A text is refused with a message or read as a move of the piece on
// its origin; a legal move reads back from its own text and is made and unmade with the position's
// self-check after each step.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "fuzz_util.h"
#include "movegen/movegenerator.h"

namespace {
const char *const positions[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "r3k2r/1P4P1/8/3pP3/8/8/1p4p1/R3K2R w KQkq d6 0 1",
    "r3k2r/1P4P1/8/8/3Pp3/8/1p4p1/R3K2R b KQkq d3 0 1",
    "bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w FHfh - 2 9",
    "4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1",
    "4k3/8/8/3P4/8/8/8/4K3 w - e6 0 1", // an en-passant square no pawn can use
};
constexpr std::size_t count = sizeof(positions) / sizeof(positions[0]);
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < 1 || size > 16) return 0;
    ChessPosition p(fuzz::tables());
    p.fen(positions[data[0] % count]);
    p.set_chess960(data[0] % count == 4);
    const std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
    Move m;
    try {
        m = p.convert_to_move(text);
    } catch (const std::logic_error &) {
        return 0; // refused with a message
    }
    fuzz::require(m.piece_id() == p.get_piece_id_from(m.from()), "the piece on the origin moves", text);
    fuzz::require(text.compare(0, 2, m.from().name()) == 0, "origin as written", text);
    MoveList legal;
    MoveGenerator(fuzz::tables()).generate_moves(p, legal);
    for (const Move &l : legal) {
        if (!(l == m)) continue;
        fuzz::require(p.convert_to_move(l.algebraic(p.chess960())) == l, "text round trip", text);
        const std::string before = p.fen();
        p.make_move(m);
        fuzz::self_check(p);
        p.unmake_move();
        fuzz::require(p.fen() == before, "unmake restores the position", before + " / " + text);
    }
    return 0;
}
