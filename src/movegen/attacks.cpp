#include "movegen/attacks.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

namespace {
constexpr int rook_dirs[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
constexpr int bishop_dirs[4][2] = {{1, 1}, {1, -1}, {-1, 1}, {-1, -1}};

// Walks each ray until and including the first occupied square.
BitBoard walk(const Square &s, const BitBoard &occupied, const int (&dirs)[4][2]) {
    std::uint64_t result = 0;
    for (const auto &d : dirs) {
        int f = s.file_number() + d[0], r = s.rank_number() + d[1];
        while (f >= 0 && f < 8 && r >= 0 && r < 8) {
            const std::uint64_t b = 1ULL << (f + 8 * r);
            result |= b;
            if (occupied.value() & b) break;
            f += d[0];
            r += d[1];
        }
    }
    return BitBoard(result);
}

// The rays without their last square at the board's edge.
BitBoard relevant(const Square &s, const int (&dirs)[4][2]) {
    std::uint64_t result = 0;
    for (const auto &d : dirs) {
        int f = s.file_number() + d[0], r = s.rank_number() + d[1];
        while (f + d[0] >= 0 && f + d[0] < 8 && r + d[1] >= 0 && r + d[1] < 8) {
            result |= 1ULL << (f + 8 * r);
            f += d[0];
            r += d[1];
        }
    }
    return BitBoard(result);
}

std::uint64_t leaper(const Square &s, const int (*steps)[2], int n) {
    std::uint64_t result = 0;
    for (int i = 0; i < n; ++i) {
        const int f = s.file_number() + steps[i][0], r = s.rank_number() + steps[i][1];
        if (f >= 0 && f < 8 && r >= 0 && r < 8) result |= 1ULL << (f + 8 * r);
    }
    return result;
}
} // namespace

RookMask::RookMask() {
    for (int s = 0; s < 64; ++s)
        m_mask[s] = relevant(Square(s), rook_dirs);
}

BishopMask::BishopMask() {
    for (int s = 0; s < 64; ++s)
        m_mask[s] = relevant(Square(s), bishop_dirs);
}

BitBoard MagicMoves::rook_moves(const Square &s, const BitBoard &occupied) {
    return walk(s, occupied, rook_dirs);
}

BitBoard MagicMoves::bishop_moves(const Square &s, const BitBoard &occupied) {
    return walk(s, occupied, bishop_dirs);
}

std::vector<BitBoard> MagicMoves::possible_occupancies(const BitBoard &mask) {
    std::vector<BitBoard> subsets;
    const std::uint64_t m = mask.value();
    std::uint64_t sub = 0;
    do { // the carry-rippler enumerates every subset of the mask
        subsets.emplace_back(sub);
        sub = (sub - m) & m;
    } while (sub);
    return subsets;
}

namespace {
// Marks a slot that no subset reaches; no attack set covers the whole board.
const BitBoard unused(~0ULL);

// Fills one slider's per-square vectors; false when a multiplier maps two different attack sets to one slot.
bool construct(std::vector<BitBoard> (&table)[64], const BitBoard (&masks)[64], const Magic *magic,
               BitBoard (*reference)(const Square &, const BitBoard &)) {
    for (int s = 0; s < 64; ++s) {
        table[s].assign(std::size_t(1) << (64 - magic[s].shift), unused);
        for (const BitBoard &occ : MagicMoves::possible_occupancies(masks[s])) {
            const std::size_t index = (occ.value() * magic[s].multiplier) >> magic[s].shift;
            const BitBoard attacks = reference(Square(s), occ);
            if (table[s][index] == unused)
                table[s][index] = attacks;
            else if (table[s][index] != attacks)
                return false;
        }
    }
    return true;
}

// The attack sets stored in a magic-indexed vector, sorted and without repeats; unused slots are skipped.
std::vector<BitBoard> distinct_sets(const std::vector<BitBoard> &full) {
    std::vector<BitBoard> sets;
    for (const BitBoard &b : full)
        if (b != unused) sets.push_back(b);
    std::sort(sets.begin(), sets.end());
    sets.erase(std::unique(sets.begin(), sets.end()), sets.end());
    return sets;
}
} // namespace

void MagicMoves::construct_magic_bishop_moves() {
    BitBoard masks[64];
    for (int s = 0; s < 64; ++s)
        masks[s] = bishop_mask.get_mask(Square(s));
    if (!construct(bishop_table, masks, &magic[0], &MagicMoves::bishop_moves))
        throw std::logic_error("MagicMoves error(1) in constructor");
}

void MagicMoves::construct_magic_rook_moves() {
    BitBoard masks[64];
    for (int s = 0; s < 64; ++s)
        masks[s] = rook_mask.get_mask(Square(s));
    if (!construct(rook_table, masks, &magic[64], &MagicMoves::rook_moves))
        throw std::logic_error("MagicMoves error(1) in constructor");
}

MagicMoves::MagicMoves() : MagicMoves(MagicNumber::table) {}

MagicMoves::MagicMoves(const Magic (&table)[128]) : magic(table) {
    try {
        construct_magic_bishop_moves();
        construct_magic_rook_moves();
        if (!selftest_ok()) throw std::logic_error("MagicMoves error(2) in constructor");
        // Attacks stores a square's position in its distinct-set list in one byte.
        for (int s = 0; s < 64; ++s)
            if (distinct_sets(bishop_table[s]).size() > 256 || distinct_sets(rook_table[s]).size() > 256)
                throw std::logic_error("MagicMoves error(2) in constructor");
    } catch (...) {
        for (auto &v : bishop_table)
            std::vector<BitBoard>().swap(v);
        for (auto &v : rook_table)
            std::vector<BitBoard>().swap(v);
        throw;
    }
}

std::size_t MagicMoves::size() const {
    std::size_t n = 0;
    for (int s = 0; s < 64; ++s)
        n += bishop_table[s].size() + rook_table[s].size();
    return n;
}

bool MagicMoves::selftest_ok() const {
    for (int pass = 0; pass < 2; ++pass) {
        const bool rook = pass == 1;
        for (int s = 0; s < 64; ++s) {
            const Magic &m = magic[(rook ? 64 : 0) + s];
            const BitBoard mask = rook ? rook_mask.get_mask(Square(s)) : bishop_mask.get_mask(Square(s));
            const std::vector<BitBoard> subsets = possible_occupancies(mask);
            for (std::size_t i = 0; i < subsets.size(); ++i) {
                const std::size_t index = (subsets[i].value() * m.multiplier) >> m.shift;
                const BitBoard expected =
                    rook ? rook_moves(Square(s), subsets[i]) : bishop_moves(Square(s), subsets[i]);
                const std::vector<BitBoard> &table = rook ? rook_table[s] : bishop_table[s];
                if (index < table.size() && table[index] == expected) continue;
                // On standard error: standard output carries the protocol.
                std::cerr << (rook ? "MagicMoves::selftest_ok() error in rookattacks"
                                   : "MagicMoves::selftest_ok() error in bishopattacks")
                          << "\nsquare=" << s << "\nindex=" << index << "   i=" << i
                          << "   j=" << subsets.size() << "   square=" << Square(s).name() << "\n"
                          << (rook ? "magic_rook_moves:" : "magic_bishop_moves:")
                          << (index < table.size() ? table[index].dump() : std::string("out of range\n"))
                          << (rook ? "rook_attacks:" : "bishop_attacks:") << expected.dump();
                return false;
            }
        }
    }
    return true;
}

Attacks::Attacks() {
    static const int knight_steps[8][2] = {{1, 2},   {2, 1},   {2, -1}, {1, -2},
                                           {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
    static const int king_steps[8][2] = {{1, 0},  {1, 1},   {0, 1},  {-1, 1},
                                         {-1, 0}, {-1, -1}, {0, -1}, {1, -1}};
    for (int s = 0; s < 64; ++s) {
        m_knight[s] = leaper(Square(s), knight_steps, 8);
        m_king[s] = leaper(Square(s), king_steps, 8);
    }
    // Each magic-indexed vector becomes a byte index into the sorted list of its distinct attack sets; all
    // of them go into two stores, sized first so that the entries' pointers stay valid.
    const MagicMoves builder;
    std::vector<BitBoard> distinct[2][64];
    std::size_t index_total = 0, set_total = 0;
    for (int s = 0; s < 64; ++s) {
        distinct[0][s] = distinct_sets(builder.bishop_table[s]);
        distinct[1][s] = distinct_sets(builder.rook_table[s]);
        index_total += builder.bishop_table[s].size() + builder.rook_table[s].size();
        set_total += distinct[0][s].size() + distinct[1][s].size();
    }
    m_index_store.assign(index_total, 0);
    m_set_store.reserve(set_total);
    std::size_t next_index = 0;
    for (int rook = 0; rook < 2; ++rook)
        for (int s = 0; s < 64; ++s) {
            const std::vector<BitBoard> &full = rook ? builder.rook_table[s] : builder.bishop_table[s];
            const std::vector<BitBoard> &sets = distinct[rook][s];
            Slider &e = rook ? m_rook[s] : m_bishop[s];
            const Magic &magic = builder.magic[(rook ? 64 : 0) + s];
            e.mask = (rook ? builder.rook_mask.get_mask(Square(s)) : builder.bishop_mask.get_mask(Square(s)))
                         .value();
            e.multiplier = magic.multiplier;
            e.shift = magic.shift;
            e.index = &m_index_store[next_index];
            e.sets = m_set_store.data() + m_set_store.size();
            for (std::size_t i = 0; i < full.size(); ++i)
                if (full[i] != unused)
                    m_index_store[next_index + i] = static_cast<unsigned char>(
                        std::lower_bound(sets.begin(), sets.end(), full[i]) - sets.begin());
            next_index += full.size();
            m_set_store.insert(m_set_store.end(), sets.begin(), sets.end());
        }
}

Connections::Connections() {
    for (int a = 0; a < 64; ++a) {
        m_rook[a] = walk(Square(a), BitBoard(), rook_dirs);
        m_bishop[a] = walk(Square(a), BitBoard(), bishop_dirs);
        m_queen[a] = m_rook[a] | m_bishop[a];
    }
    for (int a = 0; a < 64; ++a)
        for (int b = 0; b < 64; ++b) {
            BitBoard open;
            const BitBoard bb(1ULL << b), ab(1ULL << a);
            if (a != b && (m_rook[a] & bb))
                open = walk(Square(a), bb, rook_dirs) & walk(Square(b), ab, rook_dirs);
            else if (a != b && (m_bishop[a] & bb))
                open = walk(Square(a), bb, bishop_dirs) & walk(Square(b), ab, bishop_dirs);
            m_open[a][b] = open;
            m_closed[a][b] = open | ab | bb;
        }
}

Distance::Distance() {
    for (int a = 0; a < 64; ++a)
        for (int b = 0; b < 64; ++b)
            m_distance[a][b] =
                static_cast<unsigned char>(std::max(std::abs(a % 8 - b % 8), std::abs(a / 8 - b / 8)));
    for (int s = 0; s < 64; ++s) {
        std::uint64_t ring = 1ULL << s;
        for (int k = 0; k < 8; ++k) {
            m_ring[s][k] = BitBoard(ring);
            // Grow by one king step; the file masks stop wrap-around.
            const std::uint64_t sideways =
                ring | ((ring << 1) & not_a_file.value()) | ((ring >> 1) & not_h_file.value());
            ring = sideways | (sideways << 8) | (sideways >> 8);
        }
    }
}
