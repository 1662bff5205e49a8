// Shared fixtures of the evaluation tests: the tables, the perft positions and random legal walks.
#ifndef DRAVNIK_TESTS_EVAL_TEST_UTIL_H
#define DRAVNIK_TESTS_EVAL_TEST_UTIL_H

#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "board/chessposition.h"
#include "eval/evaluation.h"
#include "movegen/movegenerator.h"

namespace evaltest {

inline const BoardTables &tables() {
    static const BoardTables t;
    return t;
}

// The FEN part of every line of the perft suite.
inline std::vector<std::string> perft_fens() {
    std::vector<std::string> out;
    std::ifstream in(std::string(DRAVNIK_TEST_DATA) + "/perft.txt");
    std::string line;
    while (std::getline(in, line)) {
        const std::string fen = line.substr(0, line.find(';'));
        if (fen.find('/') != std::string::npos) out.push_back(fen);
    }
    return out;
}

// Makes up to n random legal moves; returns the moves made (stops early at mate or stalemate).
inline std::vector<Move> random_walk(ChessPosition &pos, int n, std::mt19937 &rng) {
    MoveGenerator gen(tables());
    std::vector<Move> made;
    for (int i = 0; i < n; ++i) {
        MoveList list;
        gen.generate_moves(pos, list);
        if (list.size() == 0) break;
        const Move m = list[static_cast<int>(rng() % static_cast<unsigned>(list.size()))];
        pos.make_move(m);
        made.push_back(m);
    }
    return made;
}

// The linear score of the last evaluation rebuilt from its variables, before rounding, the halving for
// opposite-coloured bishops and the special endgames.
inline float linear(Evaluation &e) {
    float acc = 0.0f;
    for (int i = 0; i < Weight::size; ++i)
        acc += e.variable_vector()[i] * e.weight_mg_vector()[i] * e.mg_factor() +
               e.variable_vector()[i] * e.weight_eg_vector()[i] * e.eg_factor();
    return acc;
}

} // namespace evaltest

#endif
