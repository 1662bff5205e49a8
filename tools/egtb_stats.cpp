// Builds every endgame table from scratch and prints, per side to move, how many table entries are won,
// drawn, lost and illegal, the longest mate, and the build time: a way to audit the tables by hand.
//
// Entries are counted as stored: positions related by a symmetry of the board that keeps the strong king
// in the a1-d1-d4 triangle (those with that king on the diagonal) appear twice.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "egtb/egt4pieces.h"
#include "movegen/attacks.h"

namespace {

const char *const piece_letters = " PNBRQK";

std::string ending_name(const RetroTable &t) {
    // The strong side's pieces, then the weak side's: KQKR, KBNK.
    std::string strong = "K", weak = "K";
    for (int k = 1; k < t.slots() - 1; ++k)
        ((t.piece(k) & 8) ? weak : strong) += piece_letters[t.piece(k) & 7];
    return strong + weak;
}

void report(const RetroTable &t, const std::string &name, double seconds) {
    std::printf("%s: %u entries per side, built in %.2f s\n", name.c_str(), t.positions_per_side(), seconds);
    const char *const who[2] = {"strong side to move", "weak side to move"};
    for (int side = 0; side < 2; ++side) {
        std::size_t won = 0, drawn = 0, lost = 0, illegal = 0;
        int longest = -1;
        for (std::uint32_t i = 0; i < t.positions_per_side(); ++i) {
            const unsigned char v = t.entry_value(side * std::size_t(t.positions_per_side()) + i);
            if (v == egt_value::illegal)
                ++illegal;
            else if (!egt_value::decided(v))
                ++drawn;
            else {
                (egt_value::win(v) ? won : lost) += 1;
                if (egt_value::plies(v) > longest) longest = egt_value::plies(v);
            }
        }
        std::printf(
            "  %-20s won %9zu  drawn %9zu  lost %9zu  illegal %9zu  longest mate %d plies (%d moves)\n",
            who[side], won, drawn, lost, illegal, longest, (longest + 1) / 2);
    }
}

void build(const Attacks &attacks, piece_t first, piece_t second) {
    Egt4Pieces egt(attacks, first, second);
    egt.use_own_buffer();
    // Step by step as the search does, timing each table separately.
    double seconds[3] = {0, 0, 0};
    int last = 0, steps = 0;
    double longest_step = 0;
    while (!egt.complete()) {
        int building = 0;
        while (building < egt.table_count() && egt.table(building).complete())
            ++building;
        const auto start = std::chrono::steady_clock::now();
        egt.create();
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        seconds[building < 3 ? building : 2] += s;
        if (s > longest_step) longest_step = s;
        ++steps;
        if (egt.progress() == last && egt.progress() < 0) {
            std::printf("no memory for the table\n");
            return;
        }
        last = egt.progress();
    }
    double total = 0;
    for (int i = 0; i < egt.table_count(); ++i) {
        report(egt.table(i), ending_name(egt.table(i)), seconds[i]);
        total += seconds[i];
    }
    std::printf("  total %.2f s in %d steps, longest step %.1f ms, %zu bytes\n\n", total, steps,
                1000 * longest_step, egt.bytes_needed());
}

} // namespace

int main(int argc, char **argv) {
    const Attacks attacks;
    const bool only_kbnk = argc > 1 && std::strcmp(argv[1], "kbnk") == 0;
    const bool only_kqkr = argc > 1 && std::strcmp(argv[1], "kqkr") == 0;
    if (!only_kbnk) build(attacks, wqueen, wrook);
    if (!only_kqkr) build(attacks, wbishop, wknight);
    return 0;
}
