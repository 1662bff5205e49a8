// Reads self-play games (PGN in coordinate notation, as tools/datagen.py has the tournament manager write
// them) on standard input and writes their quiet positions, one "FEN;result" a line, the game's result from
// white's side (1, 0.5 or 0): the evaluation tuner's data set. Where the manager kept the engine's search
// score of the move played from a position ("{-0.44/12 0.050s}", centipawns from the mover's side), the
// line carries it as a third field, "FEN;result;score", in evaluation units from white's side: a label
// that knows more than the game's one result.
//
// Quiet means what the evaluation alone should judge: the side to move is not in check, the capture search
// finds nothing better than the static score, and that score is no mate. The opening's first plies are
// left out: they come from the opening file, not from the engine, and repeat across games.
//
// With "all" as the second argument every position not in check is written, quiet or not (the tactical
// set's candidates: tools/tactics.py).
//
//   extract_positions [first_ply=20] [all] < selfplay.pgn > positions.txt
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/uci_text.h"
#include "search/analysis.h"

namespace {

struct Game {
    std::string fen; // empty: the standard start
    std::string result;
    std::vector<std::string> moves;
    std::vector<std::string> comments; // the comment after each move, if any
};

bool is_move(const std::string &w) {
    return w.size() >= 4 && w.size() <= 5 && w[0] >= 'a' && w[0] <= 'h' && w[1] >= '1' && w[1] <= '8' &&
           w[2] >= 'a' && w[2] <= 'h' && w[3] >= '1' && w[3] <= '8';
}

// Reads a stream of games one at a time (pipes cannot seek back, so the line that starts the next game is
// kept until then). Comments and move numbers are skipped.
class GameReader {
  public:
    explicit GameReader(std::istream &in) : m_in(in) {}

    bool next(Game &g) {
        g = Game();
        bool any = false;
        std::string line;
        while (take(line)) {
            if (line.rfind("[Event ", 0) == 0 && any) {
                m_pending = line;
                m_has_pending = true;
                return true;
            }
            if (line.empty()) continue;
            any = true;
            if (line[0] == '[')
                tag(line, g);
            else
                moves(line, g);
        }
        return any;
    }

  private:
    bool take(std::string &line) {
        if (m_has_pending) {
            m_has_pending = false;
            line = m_pending;
            return true;
        }
        return static_cast<bool>(std::getline(m_in, line));
    }
    static void tag(const std::string &line, Game &g) {
        const auto q = line.find('"');
        const auto e = line.rfind('"');
        if (q == std::string::npos || e <= q) return;
        const std::string value = line.substr(q + 1, e - q - 1);
        if (line.rfind("[FEN ", 0) == 0) g.fen = value;
        if (line.rfind("[Result ", 0) == 0) g.result = value;
    }
    // Moves, each with the {comment} after it (comments may span lines).
    void moves(const std::string &line, Game &g) {
        std::string text;
        for (char c : line) {
            if (c == '{' && !m_comment) {
                flush(text, g);
                m_comment = true;
                m_comment_text.clear();
            } else if (c == '}' && m_comment) {
                m_comment = false;
                if (!g.comments.empty()) g.comments.back() = m_comment_text;
            } else if (m_comment) {
                m_comment_text += c;
            } else {
                text += c;
            }
        }
        if (m_comment) m_comment_text += ' ';
        flush(text, g);
    }
    static void flush(std::string &text, Game &g) {
        std::istringstream words(text);
        for (std::string w; words >> w;)
            if (is_move(w)) {
                g.moves.push_back(w);
                g.comments.emplace_back();
            }
        text.clear();
    }

    std::istream &m_in;
    std::string m_pending;
    bool m_has_pending = false;
    bool m_comment = false;
    std::string m_comment_text;
};

// The search score of a move's comment in evaluation units from the mover's side; false for a book move,
// a mate score or no score.
bool comment_score(const std::string &comment, int &score) {
    std::istringstream in(comment);
    std::string first;
    if (!(in >> first) || first.find('/') == std::string::npos || first.find('M') != std::string::npos)
        return false;
    char *end = nullptr;
    const double pawns = std::strtod(first.c_str(), &end);
    if (end == first.c_str() || *end != '/') return false;
    score = static_cast<int>(std::lround(pawns * eval_units_per_pawn));
    return true;
}

} // namespace

int main(int argc, char **argv) {
    const int first_ply = argc > 1 ? std::atoi(argv[1]) : 20;
    const bool all = argc > 2 && std::string(argv[2]) == "all";
    std::ios::sync_with_stdio(false);
    auto tables = std::make_unique<Tables>();
    tables->tt().set_size(8);
    ChessPosition pos(*tables);
    auto search = std::make_unique<Analysis>(pos, *tables);
    constexpr int mate_bound = 29897;

    long games = 0, kept = 0, seen = 0;
    Game g;
    GameReader reader(std::cin);
    while (reader.next(g)) {
        const char *label = g.result == "1-0"       ? "1"
                            : g.result == "0-1"     ? "0"
                            : g.result == "1/2-1/2" ? "0.5"
                                                    : nullptr;
        if (!label) continue;
        ++games;
        try {
            if (g.fen.empty())
                pos.newgame();
            else
                pos.fen(g.fen);
            for (std::size_t ply = 0; ply < g.moves.size(); ++ply) {
                if (static_cast<int>(ply) >= first_ply && !pos.check()) {
                    ++seen;
                    search->init(pos);
                    const int stand = search->static_eval();
                    const int q = search->quiescence(-32000, 32000, 0);
                    if (all || (stand == q && q > -mate_bound && q < mate_bound)) {
                        std::cout << pos.fen() << ';' << label;
                        if (int score; comment_score(g.comments[ply], score))
                            std::cout << ';' << (pos.white_to_move() ? score : -score);
                        std::cout << '\n';
                        ++kept;
                    }
                }
                pos.make_move(pos.convert_to_move(g.moves[ply]));
            }
        } catch (const std::exception &e) {
            std::fprintf(stderr, "extract_positions: game %ld dropped: %s\n", games, e.what());
        }
    }
    std::fprintf(stderr, "extract_positions: %ld games, %ld positions looked at, %ld %s kept\n", games, seen,
                 kept, all ? "positions" : "quiet ones");
    return 0;
}
