// Semi-random play for the offline tools: captures that win material are preferred, with noise.
#ifndef DRAVNIK_TOOLS_RANDOM_PLAY_H
#define DRAVNIK_TOOLS_RANDOM_PLAY_H

#include <random>

#include "board/chessposition.h"

// Material won by the move minus the mover when the opponent can take it back on the destination, plus
// noise; one move in four is uniformly random.
inline Move choose_move(const ChessPosition &pos, const MoveList &list, std::mt19937_64 &rng) {
    static const int kind_value[8] = {0, 100, 300, 300, 500, 900, 0, 0};
    if (rng() % 4 == 0) return list[static_cast<int>(rng() % static_cast<unsigned>(list.size()))];
    Move best;
    int best_score = -1000000;
    for (const Move &m : list) {
        int gain = kind_value[m.capture_id() & 7];
        if (m.is_promotion()) gain += kind_value[7 - m.code()] - 100;
        const BitBoard occupied = pos.all_pieces() ^ Square(m.from_id()).bitboard();
        const BitBoard to = Square(m.to_id()).bitboard();
        const bool recapture = pos.white_to_move() ? static_cast<bool>(pos.attackers<0>(to, occupied))
                                                   : static_cast<bool>(pos.attackers<1>(to, occupied));
        if (recapture && m.code() != castling) gain -= kind_value[m.piece_id() & 7];
        const int score = gain + static_cast<int>(rng() % 120);
        if (score > best_score) {
            best_score = score;
            best = m;
        }
    }
    return best;
}

#endif
