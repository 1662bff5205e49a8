#include "engine/uci_text.h"

#include <cctype>

namespace {
template <typename T> bool read(std::istringstream &words, T &value) {
    std::string w;
    if (!(words >> w)) return false;
    std::istringstream in(w);
    return static_cast<bool>(in >> value);
}
} // namespace

GoCommand parse_go(std::istringstream &words, const ChessPosition &pos) {
    GoCommand go;
    std::string w;
    while (words >> w) {
        long long v = 0;
        if (w == "wtime" && read(words, v))
            go.wtime = v < 0 ? 0 : static_cast<std::uint64_t>(v);
        else if (w == "btime" && read(words, v))
            go.btime = v < 0 ? 0 : static_cast<std::uint64_t>(v);
        else if (w == "winc" && read(words, v))
            go.winc = v < 0 ? 0 : static_cast<std::uint64_t>(v);
        else if (w == "binc" && read(words, v))
            go.binc = v < 0 ? 0 : static_cast<std::uint64_t>(v);
        else if (w == "movestogo" && read(words, v))
            go.movestogo = v < 1 ? 30 : static_cast<int>(v > 10000 ? 10000 : v);
        else if ((w == "depth" || w == "mate") && read(words, v))
            go.depth = static_cast<int>(v < 0 ? 0 : v > 1000 ? 1000 : v);
        else if (w == "nodes" && read(words, v))
            go.nodes = v < 0 ? 0 : v;
        else if (w == "movetime" && read(words, v))
            go.movetime = v <= 0 ? 1 : static_cast<std::uint64_t>(v);
        else if (w == "infinite")
            go.infinite = true;
        else if (w == "ponder")
            go.ponder = true;
        else if (w == "perft" && read(words, v))
            go.perft = static_cast<int>(v < 0 ? 0 : v > 64 ? 64 : v);
        else if (w == "searchmoves") {
            while (words >> w) {
                try {
                    go.searchmoves.push_back(pos.convert_to_move(w));
                } catch (const std::logic_error &) {
                    break; // a word that is no move ends the list
                }
            }
        } else
            break;
    }
    return go;
}

SetOption parse_setoption(std::istringstream &words) {
    SetOption opt;
    std::string w;
    if (!(words >> w) || w != "name" || !(words >> opt.name)) return opt;
    if (!(words >> w) || w != "value") return opt;
    std::getline(words >> std::ws, opt.value);
    while (!opt.value.empty() && std::isspace(static_cast<unsigned char>(opt.value.back())))
        opt.value.pop_back();
    opt.valid = true;
    return opt;
}

bool equal_options(std::string a, std::string b) {
    for (char &c : a)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (char &c : b)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return a == b;
}

int centipawns(int score) {
    if (score < 0) return -centipawns(-score);
    return (score * 100 + eval_units_per_pawn / 2) / eval_units_per_pawn;
}

std::string score_text(int s) {
    if (s >= -29897 && s <= 29897) return " score cp " + std::to_string(centipawns(s));
    if (s < 0) return " score mate " + std::to_string((-30000 - s) / 2);
    return " score mate " + std::to_string((30000 - s) / 2 + 1);
}
