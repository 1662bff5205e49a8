// One pawnless ending of three or four pieces, solved by retrograde analysis in memory it is given.
//
// Slots: 0 is the strong side's king, the last slot the weak side's king, the others the remaining pieces
// (a white piece code belongs to the strong side, a black one to the weak side). Without pawns and castling
// the board has eight symmetries, so the strong king is always brought into the a1-d1-d4 triangle: the
// index is triangle square, then 64 squares per further slot, one such block for each side to move.
//
// Every entry is one byte, from the side to move's point of view (see egt_value). The build is a sequence
// of bounded steps so that a caller can spread it over several moves of a game.
#ifndef DRAVNIK_EGTB_RETRO_TABLE_H
#define DRAVNIK_EGTB_RETRO_TABLE_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "board/piece.h"
#include "movegen/attacks.h"

namespace egt_value {
// Undecided while building, a draw once complete.
constexpr unsigned char unknown = 0;
// 1 to 127: decided with value - 1 plies to mate; an odd ply count is a win, an even one a loss.
constexpr unsigned char last_decided = 127;
// 128 to 253, during the build only: a capture decides the position by ply value - 128 at the latest,
// as a win when that ply count is odd, as a loss still to be confirmed when it is even.
constexpr unsigned char marker = 128;
// Never stored: a capture into material that cannot mate.
constexpr unsigned char drawn_capture = 254;
constexpr unsigned char illegal = 255;

constexpr bool decided(unsigned char v) { return v != unknown && v <= last_decided; }
constexpr bool win(unsigned char v) { return decided(v) && (v & 1) == 0; }
constexpr bool loss(unsigned char v) { return decided(v) && (v & 1) == 1; }
constexpr int plies(unsigned char v) { return v - 1; }
} // namespace egt_value

// The squares of the pieces, one per slot; 64 marks a captured piece.
struct Placement {
    int sq[4];
};

class RetroTable {
  public:
    RetroTable(const Attacks &attacks, std::initializer_list<piece_t> slots);
    RetroTable(const RetroTable &) = delete;
    RetroTable &operator=(const RetroTable &) = delete;

    // Where a capture of `slot` leads: `table`, whose slots take the pieces of slot_map; with `flip` the
    // weak side here is the strong side there. Without a link such a capture is a draw.
    void link_capture(int slot, const RetroTable *table, std::initializer_list<int> slot_map, bool flip);

    int slots() const { return m_slots; }
    piece_t piece(int slot) const { return m_piece[slot]; }
    std::uint32_t positions_per_side() const { return m_per_side; }
    std::size_t bytes_needed() const { return 2 * static_cast<std::size_t>(m_per_side); }
    // Points the table at its memory (bytes_needed() bytes) and starts the build over.
    void attach(unsigned char *memory);
    // Advances the build by about `budget` units of work (a scanned entry a fraction of one, a solved
    // position dozens), deducting what it used; returns true once the table is complete.
    bool step(long &budget);
    bool complete() const { return m_phase == phase_t::done; }
    // 0 to 100 while building.
    int progress() const;

    std::uint32_t index(const Placement &p) const;
    Placement placement(std::uint32_t index) const;
    // An entry (0 to bytes_needed() - 1) is the side to move's block, then the index within it.
    int side_of(std::size_t entry) const { return entry >= m_per_side; }
    Placement entry_placement(std::size_t entry) const {
        return placement(static_cast<std::uint32_t>(entry - side_of(entry) * std::size_t(m_per_side)));
    }
    // The entry of the position mirrored in the a1-h8 diagonal when the strong king stands on it, else
    // the same entry.
    std::uint32_t diagonal_mirror(std::uint32_t index) const;
    // side 0: the strong side to move.
    unsigned char value(int side, const Placement &p) const { return m_memory[entry(side, index(p))]; }
    unsigned char entry_value(std::size_t entry) const { return m_memory[entry]; }

  private:
    enum class phase_t { idle, mark_illegal, init, markers, solve, done };
    struct CaptureLink {
        const RetroTable *table = nullptr;
        int map[3] = {0, 0, 0};
        bool flip = false;
    };

    std::size_t entry(int side, std::uint32_t index) const { return side * std::size_t(m_per_side) + index; }
    int colour(int slot) const { return (m_piece[slot] & 8) ? 1 : 0; }
    int king(int colour) const { return colour == 0 ? 0 : m_slots - 1; }
    std::uint64_t attacks_from(int slot, int square, std::uint64_t occupied) const;
    std::uint64_t occupancy(const Placement &p) const;
    bool attacked(const Placement &p, int square, int by_colour) const;
    bool illegal(int side, const Placement &p) const;
    // Calls f(child value from the child's side to move, is_capture) for every legal move of `side`,
    // stopping when f returns false; returns false then, else true.
    template <class F> bool for_each_move(int side, const Placement &p, F &&f) const;
    unsigned char capture_value(int side, const Placement &child, int captured) const;
    void init_position(std::size_t e);
    // The loss ply of a position all of whose moves lose, or -1.
    int loss_ply(int side, const Placement &p) const;
    void solve_position(std::size_t e);

    const Attacks &m_attacks;
    int m_slots;
    piece_t m_piece[4];
    CaptureLink m_capture[4];
    std::uint32_t m_per_side;
    unsigned char *m_memory = nullptr;

    phase_t m_phase = phase_t::idle;
    std::size_t m_cursor = 0;
    int m_ply = 0;           // the generation being solved: positions decided at this ply
    int m_last_marker = 0;   // the largest marker ply set by the captures
    std::size_t m_found = 0; // positions of the current generation
};

#endif
