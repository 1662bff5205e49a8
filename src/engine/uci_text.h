// Pure text helpers of the UCI front end: parsing of "go" and "setoption", formatting of "info" lines.
#ifndef DRAVNIK_ENGINE_UCI_TEXT_H
#define DRAVNIK_ENGINE_UCI_TEXT_H

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "board/chessposition.h"
#include "search/timemanager.h"

struct GoCommand {
    std::uint64_t wtime = time_not_given, btime = time_not_given, winc = 0, binc = 0;
    std::uint64_t movetime = time_not_given;
    int movestogo = 0; // 0: not given, the clock is sudden death
    int depth = 102;
    std::int64_t nodes = std::int64_t(1) << 62;
    bool infinite = false, ponder = false;
    int perft = 0; // "go perft N": count the move tree instead of searching
    std::vector<Move> searchmoves;
};

// Reads the words after "go"; stops at the end or at the first word that is no sub-keyword.
GoCommand parse_go(std::istringstream &words, const ChessPosition &pos);

struct SetOption {
    bool valid = false;
    std::string name;  // as written
    std::string value; // the rest of the line after "value"
};
SetOption parse_setoption(std::istringstream &words);
// Option names compare case-insensitively.
bool equal_options(std::string a, std::string b);

// The evaluation's units per pawn, which a GUI reads as 100 "cp". Measured by tools/pawn_value.py: 300-odd
// positions from moves 10 to 30 of games against other engines (queens on, ten pieces or more), each pawn
// taken off the board in turn: the side that lost it fell by a median of 266 units (quartiles 227 and 315,
// mean 273). The material term alone weighs a pawn 263 in the middle game and 216 in the end game, so an
// end-game pawn reads about 80 cp. Measure again when the evaluation changes.
constexpr int eval_units_per_pawn = 266;
// An evaluation score in centipawns, rounded to the nearest (halves away from zero).
int centipawns(int score);
// " score cp N" (in centipawns) or " score mate N" with the engine's mate-distance conversion.
std::string score_text(int score);

#endif
