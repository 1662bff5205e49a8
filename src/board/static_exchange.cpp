#include "board/static_exchange.h"

#include <stdexcept>

namespace {
// What a promotion adds to the capture's gain: the new piece less the pawn.
int promotion_bonus(move_t code) {
    switch (code) {
    case promo_queen:
        return 800;
    case promo_rook:
        return 400;
    case promo_bishop:
    case promo_knight:
        return 200;
    default:
        return 0;
    }
}

// Above any exchange of material: taking the king ends every count.
constexpr int king_taken = 32000;
} // namespace

int static_exchange(ChessPosition &pos, const Move &m) {
    const int gain = Piece(m.capture_id()).abs_value() + promotion_bonus(m.code());
    pos.force_move(m);
    const int result = gain - static_exchange(pos, m.to());
    pos.undo_forced_move(m);
    return result;
}

int static_exchange(ChessPosition &pos, const Square &s) {
    Square from;
    if (pos.stm() == 1)
        from = pos.white_weakest_attacker(s);
    else if (pos.stm() == 0)
        from = pos.black_weakest_attacker(s);
    else
        throw std::logic_error("static_exchange   side to move is corrupt");
    if (from.id() == 64) return 0;
    const Piece victim = pos.get_piece_from(s);
    if (victim.king()) return king_taken;
    const Piece mover = pos.get_piece_from(from);
    const bool promotes = mover.pawn() && (s.rank_number() == 7 || s.rank_number() == 0);
    const Move capture = pos.convert_to_move(from, s, promotes ? promo_queen : normal_move);
    const int gain = victim.abs_value() + promotion_bonus(capture.code());
    pos.force_move(capture);
    const int v = gain - static_exchange(pos, s);
    pos.undo_forced_move(capture);
    return v > 0 ? v : 0;
}
