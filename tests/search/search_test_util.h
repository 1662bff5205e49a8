// Shared set-up of the search tests: one transposition table for all, and a search over a position.
#ifndef DRAVNIK_TESTS_SEARCH_TEST_UTIL_H
#define DRAVNIK_TESTS_SEARCH_TEST_UTIL_H

#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include "search/analysis.h"

// One table for every test of the search executable (16 MB: enough to lend the endgame tables their bytes).
inline Tables &tables() {
    static Tables *t = [] {
        auto *x = new Tables;
        x->tt().set_size(16);
        return x;
    }();
    return *t;
}

struct Search {
    ChessPosition pos{tables()};
    std::unique_ptr<Analysis> a;
    explicit Search(const std::string &setup, int depth = 101) {
        std::istringstream in(setup);
        std::string word;
        in >> word;
        if (word == "startpos") {
            pos.newgame();
        } else {
            std::string fen = word;
            for (int i = 0; i < 5 && in >> word && word != "moves"; ++i)
                fen += " " + word;
            pos.fen(fen);
        }
        while (in >> word)
            if (word != "moves") pos.make_move(pos.convert_to_move(word));
        a = std::make_unique<Analysis>(pos, tables());
        a->clear();
        a->set_depth(depth);
    }
    int run() {
        a->iterative_search();
        return a->eval();
    }
    // A move in coordinate notation on the search's current position, as the generator makes it.
    Move move(const std::string &text) {
        MoveGenerator gen(tables());
        MoveList list;
        gen.generate_moves(a->position(), list);
        for (const Move &m : list)
            if (m.algebraic() == text) return m;
        throw std::invalid_argument("no legal move " + text);
    }
    // Makes a move through the search, so that its ply and path count it.
    void play(const std::string &text) { a->make_move(move(text)); }
};

#endif
