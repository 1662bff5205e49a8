#include "egtb/retro_table.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace {

// The eight symmetries of a pawnless board and the a1-d1-d4 triangle that one of them maps any square into.
struct Symmetry {
    unsigned char map[8][64]; // transform t applied to a square
    unsigned char of[64];     // the transform that brings a square into the triangle
    signed char triangle[64]; // 0 to 9 on the triangle, else -1
    unsigned char triangle_square[10];
};

constexpr Symmetry make_symmetry() {
    Symmetry s{};
    for (int t = 0; t < 8; ++t)
        for (int sq = 0; sq < 64; ++sq) {
            int f = sq % 8, r = sq / 8;
            if (t & 1) f = 7 - f;
            if (t & 2) r = 7 - r;
            if (t & 4) {
                const int x = f;
                f = r;
                r = x;
            }
            s.map[t][sq] = static_cast<unsigned char>(r * 8 + f);
        }
    int n = 0;
    for (int sq = 0; sq < 64; ++sq) {
        int f = sq % 8, r = sq / 8;
        s.triangle[sq] = -1;
        if (f <= 3 && r <= f) {
            s.triangle[sq] = static_cast<signed char>(n);
            s.triangle_square[n++] = static_cast<unsigned char>(sq);
        }
        int t = 0;
        if (f > 3) t |= 1, f = 7 - f;
        if (r > 3) t |= 2, r = 7 - r;
        if (r > f) t |= 4;
        s.of[sq] = static_cast<unsigned char>(t);
    }
    return s;
}

constexpr Symmetry symmetry = make_symmetry();

int lowest_square(std::uint64_t b) { return __builtin_ctzll(b); }

// Work units: a scanned entry costs 1/scan_per_unit, a solved or confirmed position solve_cost.
constexpr std::size_t scan_per_unit = 16;
constexpr long solve_cost = 64;
constexpr long init_cost = 4;

// Entries that `budget` units pay for at `per_unit` entries a unit, without overflow on 32 bits.
std::size_t allowance(long budget, std::size_t per_unit) {
    const std::size_t b = static_cast<std::size_t>(budget);
    return b > SIZE_MAX / per_unit ? SIZE_MAX : b * per_unit;
}

} // namespace

RetroTable::RetroTable(const Attacks &attacks, std::initializer_list<piece_t> slots)
    : m_attacks(attacks), m_slots(static_cast<int>(slots.size())) {
    if (m_slots < 3 || m_slots > 4) throw std::logic_error("RetroTable: three or four pieces");
    std::copy(slots.begin(), slots.end(), m_piece);
    if (m_piece[0] != wking || m_piece[m_slots - 1] != bking)
        throw std::logic_error("RetroTable: the kings take the first and last slots");
    m_per_side = 10u << (6 * (m_slots - 1));
}

void RetroTable::link_capture(int slot, const RetroTable *table, std::initializer_list<int> slot_map,
                              bool flip) {
    if (slot <= 0 || slot >= m_slots - 1 || static_cast<int>(slot_map.size()) != table->m_slots ||
        table->m_slots != m_slots - 1)
        throw std::logic_error("RetroTable: bad capture link");
    CaptureLink &link = m_capture[slot];
    link.table = table;
    std::copy(slot_map.begin(), slot_map.end(), link.map);
    link.flip = flip;
}

void RetroTable::attach(unsigned char *memory) {
    m_memory = memory;
    m_phase = memory ? phase_t::mark_illegal : phase_t::idle;
    m_cursor = 0;
    m_ply = 0;
    m_last_marker = 0;
    m_found = 0;
}

int RetroTable::progress() const {
    const std::size_t total = 2 * std::size_t(m_per_side);
    switch (m_phase) {
    case phase_t::idle:
        return 0;
    case phase_t::mark_illegal:
        return static_cast<int>(5 * m_cursor / total);
    case phase_t::init:
        return 5 + static_cast<int>(15 * m_cursor / total);
    case phase_t::markers:
    case phase_t::solve:
        return std::min(99, 20 + m_ply); // the longest endings here take about 70 plies
    case phase_t::done:
        break;
    }
    return 100;
}

std::uint32_t RetroTable::index(const Placement &p) const {
    const unsigned char *map = symmetry.map[symmetry.of[p.sq[0]]];
    std::uint32_t i = static_cast<std::uint32_t>(symmetry.triangle[map[p.sq[0]]]);
    for (int k = 1; k < m_slots; ++k)
        i = (i << 6) | map[p.sq[k]];
    return i;
}

std::uint32_t RetroTable::diagonal_mirror(std::uint32_t i) const {
    const std::uint32_t king = i >> (6 * (m_slots - 1));
    if (king != 0 && king != 4 && king != 7 && king != 9) return i; // a1, b2, c3, d4
    Placement p = placement(i);
    for (int k = 0; k < m_slots; ++k)
        p.sq[k] = symmetry.map[4][p.sq[k]];
    return index(p);
}

Placement RetroTable::placement(std::uint32_t i) const {
    Placement p{{64, 64, 64, 64}};
    for (int k = m_slots - 1; k >= 1; --k) {
        p.sq[k] = static_cast<int>(i & 63);
        i >>= 6;
    }
    p.sq[0] = symmetry.triangle_square[i];
    return p;
}

std::uint64_t RetroTable::attacks_from(int slot, int square, std::uint64_t occupied) const {
    const Square s(square);
    switch (m_piece[slot] & 7) {
    case wknight:
        return m_attacks.knight(s).value();
    case wbishop:
        return m_attacks.bishop(s, BitBoard(occupied)).value();
    case wrook:
        return m_attacks.rook(s, BitBoard(occupied)).value();
    case wqueen:
        return m_attacks.queen(s, BitBoard(occupied)).value();
    default:
        return m_attacks.king(s).value();
    }
}

std::uint64_t RetroTable::occupancy(const Placement &p) const {
    std::uint64_t occ = 0;
    for (int k = 0; k < m_slots; ++k)
        if (p.sq[k] < 64) occ |= std::uint64_t(1) << p.sq[k];
    return occ;
}

bool RetroTable::attacked(const Placement &p, int square, int by_colour) const {
    const std::uint64_t occ = occupancy(p);
    for (int k = 0; k < m_slots; ++k)
        if (colour(k) == by_colour && p.sq[k] < 64 && (attacks_from(k, p.sq[k], occ) >> square & 1))
            return true;
    return false;
}

bool RetroTable::illegal(int side, const Placement &p) const {
    for (int a = 0; a < m_slots; ++a)
        for (int b = a + 1; b < m_slots; ++b)
            if (p.sq[a] == p.sq[b]) return true;
    // The side that just moved may not stand in check; this also keeps the kings apart.
    return attacked(p, p.sq[king(1 - side)], side);
}

template <class F> bool RetroTable::for_each_move(int side, const Placement &p, F &&f) const {
    const std::uint64_t occ = occupancy(p);
    std::uint64_t own = 0;
    for (int k = 0; k < m_slots; ++k)
        if (colour(k) == side) own |= std::uint64_t(1) << p.sq[k];
    for (int k = 0; k < m_slots; ++k) {
        if (colour(k) != side) continue;
        for (std::uint64_t targets = attacks_from(k, p.sq[k], occ) & ~own; targets; targets &= targets - 1) {
            const int to = lowest_square(targets);
            Placement child = p;
            child.sq[k] = to;
            unsigned char v;
            bool capture = false;
            if (occ >> to & 1) {
                int captured = 0;
                while (p.sq[captured] != to)
                    ++captured;
                if (captured == king(1 - side)) continue; // only in an illegal position
                child.sq[captured] = 64;
                v = capture_value(1 - side, child, captured);
                capture = true;
            } else {
                v = m_memory[entry(1 - side, index(child))];
            }
            if (v == egt_value::illegal) continue;
            if (!f(v, capture)) return false;
        }
    }
    return true;
}

unsigned char RetroTable::capture_value(int side, const Placement &child, int captured) const {
    const CaptureLink &link = m_capture[captured];
    if (!link.table) // too little material left to mate
        return attacked(child, child.sq[king(1 - side)], side) ? egt_value::illegal
                                                               : egt_value::drawn_capture;
    Placement q{{64, 64, 64, 64}};
    for (int k = 0; k < link.table->m_slots; ++k)
        q.sq[k] = child.sq[link.map[k]];
    const unsigned char v = link.table->value(link.flip ? 1 - side : side, q);
    return v == egt_value::unknown ? egt_value::drawn_capture : v;
}

void RetroTable::init_position(std::size_t e) {
    if (m_memory[e] == egt_value::illegal) return;
    const int side = side_of(e);
    const Placement p = entry_placement(e);
    int moves = 0, quickest_win = 1000, longest_loss = 0;
    bool drawn = false;
    for_each_move(side, p, [&](unsigned char v, bool capture) {
        ++moves;
        if (!capture) return true;
        if (v == egt_value::drawn_capture)
            drawn = true;
        else if (egt_value::loss(v))
            quickest_win = std::min(quickest_win, egt_value::plies(v) + 1);
        else
            longest_loss = std::max(longest_loss, egt_value::plies(v) + 1);
        return true;
    });
    int marker = 0;
    if (moves == 0)
        m_memory[e] = attacked(p, p.sq[king(side)], 1 - side) ? 1 : egt_value::unknown; // mate or stalemate
    else if (quickest_win < 1000)
        marker = quickest_win; // a win by this ply at the latest
    else if (longest_loss > 0 && !drawn)
        marker = longest_loss; // a loss no earlier than this ply
    if (marker > 0) {
        if (marker > egt_value::drawn_capture - 1 - egt_value::marker)
            throw std::logic_error("RetroTable: capture ply out of range");
        m_memory[e] = static_cast<unsigned char>(egt_value::marker + marker);
        m_last_marker = std::max(m_last_marker, marker);
    }
}

int RetroTable::loss_ply(int side, const Placement &p) const {
    int moves = 0, longest = 0;
    const bool all_lose = for_each_move(side, p, [&](unsigned char v, bool) {
        if (!egt_value::win(v)) return false;
        ++moves;
        longest = std::max(longest, egt_value::plies(v));
        return true;
    });
    return all_lose && moves > 0 ? longest + 1 : -1;
}

void RetroTable::solve_position(std::size_t e) {
    // e was decided at ply m_ply; the positions one move before it are decided at m_ply + 1 when they win
    // by moving here, or lose when every one of their moves now loses.
    const int side = side_of(e);
    const int mover = 1 - side;
    const Placement p = entry_placement(e);
    const std::uint64_t occ = occupancy(p);
    const unsigned char next = static_cast<unsigned char>(m_ply + 2);
    for (int k = 0; k < m_slots; ++k) {
        if (colour(k) != mover) continue;
        for (std::uint64_t from = attacks_from(k, p.sq[k], occ) & ~occ; from; from &= from - 1) {
            Placement q = p;
            q.sq[k] = lowest_square(from);
            const std::uint32_t i = index(q);
            unsigned char &v = m_memory[entry(mover, i)];
            if (v == egt_value::illegal || egt_value::decided(v)) continue;
            if (m_ply % 2 == 0 || loss_ply(mover, q) == m_ply + 1) {
                v = next;
                // With the strong king on the long diagonal the mirror image is stored too, and only the
                // mirror of this position reaches it: it gets the same value now.
                m_memory[entry(mover, diagonal_mirror(i))] = next;
            }
        }
    }
}

bool RetroTable::step(long &budget) {
    const std::size_t total = 2 * std::size_t(m_per_side);
    while (budget > 0 && m_phase != phase_t::done && m_phase != phase_t::idle) {
        switch (m_phase) {
        case phase_t::mark_illegal: {
            const std::size_t end = m_cursor + std::min(total - m_cursor, allowance(budget, 1));
            budget -= static_cast<long>(end - m_cursor);
            for (; m_cursor < end; ++m_cursor) {
                const int side = side_of(m_cursor);
                const Placement p = entry_placement(m_cursor);
                m_memory[m_cursor] = illegal(side, p) ? egt_value::illegal : egt_value::unknown;
            }
            if (m_cursor == total) m_phase = phase_t::init, m_cursor = 0;
            break;
        }
        case phase_t::init: {
            const std::size_t end =
                m_cursor + std::min(total - m_cursor, allowance(budget / init_cost + 1, 1));
            budget -= static_cast<long>(end - m_cursor) * init_cost;
            for (; m_cursor < end; ++m_cursor)
                init_position(m_cursor);
            if (m_cursor == total) m_phase = phase_t::solve, m_cursor = 0, m_ply = 0, m_found = 0;
            break;
        }
        case phase_t::markers:
        case phase_t::solve: {
            const bool markers = m_phase == phase_t::markers;
            const unsigned char target =
                static_cast<unsigned char>(markers ? egt_value::marker + m_ply : m_ply + 1);
            const std::size_t limit = m_cursor + std::min(total - m_cursor, allowance(budget, scan_per_unit));
            while (m_cursor < limit && budget > 0) {
                const void *hit = std::memchr(m_memory + m_cursor, target, limit - m_cursor);
                const std::size_t e =
                    hit ? static_cast<std::size_t>(static_cast<const unsigned char *>(hit) - m_memory)
                        : limit;
                budget -= static_cast<long>((e - m_cursor) / scan_per_unit);
                m_cursor = e;
                if (!hit) break;
                budget -= solve_cost;
                ++m_cursor;
                if (!markers) {
                    ++m_found;
                    solve_position(e);
                } else if (m_ply % 2 == 1) {
                    m_memory[e] =
                        static_cast<unsigned char>(m_ply + 1); // the capture wins: nothing won sooner
                } else {
                    const int side = side_of(e);
                    const Placement p = entry_placement(e);
                    m_memory[e] = loss_ply(side, p) == m_ply ? static_cast<unsigned char>(m_ply + 1)
                                                             : egt_value::unknown;
                }
            }
            if (m_cursor < total) break;
            m_cursor = 0;
            if (markers) {
                m_phase = phase_t::solve;
            } else if ((m_found == 0 && m_ply >= m_last_marker) || m_ply + 3 > egt_value::last_decided) {
                m_phase = phase_t::done;
            } else {
                ++m_ply;
                m_found = 0;
                m_phase = m_ply <= m_last_marker ? phase_t::markers : phase_t::solve;
            }
            break;
        }
        case phase_t::idle:
        case phase_t::done:
            break;
        }
    }
    return m_phase == phase_t::done;
}
