// Move-path enumeration: counts the leaves of the legal move tree, the standard generator self-test.
#ifndef DRAVNIK_MOVEGEN_PERFT_H
#define DRAVNIK_MOVEGEN_PERFT_H

#include <cstdint>
#include <string>
#include <vector>

#include "board/chessposition.h"
#include "movegen/movegenerator.h"

// Leaf count of the tree of the given depth (>= 1); the last ply is counted, not generated. In builds without
// NDEBUG every node also checks its incremental key and material index against a fresh computation and
// throws std::logic_error on a mismatch.
std::uint64_t perft(ChessPosition &pos, MoveGenerator &gen, int depth);

// One "<move>: <count>" line per root move, then "", then "Nodes searched: <total>".
std::vector<std::string> perft_divide(ChessPosition &pos, MoveGenerator &gen, int depth,
                                      bool chess960 = false);

#endif
