// Static exchange: the material a capture wins or loses when both sides go on recapturing on its square
// with their weakest attacker, each free to stop when going on would lose.
#ifndef DRAVNIK_BOARD_STATIC_EXCHANGE_H
#define DRAVNIK_BOARD_STATIC_EXCHANGE_H

#include "board/chessposition.h"
#include "board/move.h"

// The balance of the move m (capture, promotion or quiet move) for the side that plays it, in centipawns.
// The position is changed during the count and left as it was.
int static_exchange(ChessPosition &pos, const Move &m);

// What the side to move gains by capturing first on s (0 when it does better not to). A king on s counts
// as won outright, beyond any material.
int static_exchange(ChessPosition &pos, const Square &s);

#endif
