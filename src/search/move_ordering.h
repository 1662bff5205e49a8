// Move ordering: the learning tables behind quiet moves, the late-move reduction table and the class sort.
// One set of learning tables per search thread; the reduction table is shared read-only.
#ifndef DRAVNIK_SEARCH_MOVE_ORDERING_H
#define DRAVNIK_SEARCH_MOVE_ORDERING_H

#include <cstddef>
#include <cstdint>

#include "board/move.h"
#include "search/large_block.h"

// Every learning counter moves towards +-history_limit: an update adds its bonus less the share of the
// bonus the counter already holds, so counters stay bounded (they fit 16 bits) and a run of recent cuts
// outweighs an old one however deep it was.
constexpr int history_limit = 16384;
inline void history_update(std::int16_t &counter, int bonus) {
    counter =
        static_cast<std::int16_t>(counter + bonus - counter * (bonus < 0 ? -bonus : bonus) / history_limit);
}
// A cut's bonus grows with the square of its depth (a deep cut saw more), capped so that one cut moves a
// counter at most half-way to the limit.
inline int history_bonus(int depth) {
    const int d = depth < 1 ? 1 : depth;
    return d * d * 32 < history_limit / 2 ? d * d * 32 : history_limit / 2;
}

// Counters by moving piece (0-14) and target square.
class HistoryTable {
  public:
    HistoryTable() { clear(); }
    std::int64_t value(const Move &m) const { return m_table[m.piece_id()][m.to_id()]; }
    void update(const Move &m, int bonus) { history_update(m_table[m.piece_id()][m.to_id()], bonus); }
    void clear();
    void divide_by_8();

  private:
    std::int16_t m_table[15][64];
};

// Counters by (earlier move's piece and target, move's piece and target); serves both as counter-move
// table (earlier = opponent's last move) and follow-up table (earlier = own previous move).
class CounterMove {
  public:
    static constexpr int entries = 15 * 64 * 15 * 64;
    static constexpr std::size_t bytes = entries * sizeof(std::int16_t);

    CounterMove();
    CounterMove(const CounterMove &o);
    CounterMove &operator=(const CounterMove &o);

    std::int64_t value(const Move &earlier, const Move &m) const { return m_table[index(earlier, m)]; }
    void update(const Move &earlier, const Move &m, int bonus) {
        history_update(m_table[index(earlier, m)], bonus);
    }
    void clear();
    void divide_by_8();

  private:
    static int index(const Move &earlier, const Move &m) {
        return ((earlier.piece_id() * 64 + earlier.to_id()) * 15 + m.piece_id()) * 64 + m.to_id();
    }
    LargeBlock m_block;
    std::int16_t *m_table; // in m_block
};

// Two cut moves per ply, A the newest. Plies outside the table are ignored and read as no move.
class Killer {
  public:
    static constexpr int plies = 256;

    Killer() { clear(); }
    void set_killer(int ply, const Move &m) {
        if (static_cast<unsigned>(ply) >= plies) return;
        if (m == m_killer[ply][0]) return; // low 24 bits: the ordering class does not matter
        m_killer[ply][1] = m_killer[ply][0];
        m_killer[ply][0] = m;
    }
    Move get_killerA(int ply) const { return static_cast<unsigned>(ply) < plies ? m_killer[ply][0] : Move(); }
    Move get_killerB(int ply) const { return static_cast<unsigned>(ply) < plies ? m_killer[ply][1] : Move(); }
    void clear();

  private:
    Move m_killer[plies][2];
};

// Late-move reductions by remaining depth (0-101) and move index (0-255): ln(depth) * ln(index / 2),
// at least 1 (the formula's constants are in search/pruning.h). Arguments outside the table are clamped to
// its edges.
class LmrTable {
  public:
    static constexpr int depths = 102;
    static constexpr int indices = 256;

    LmrTable();
    int value(int depth, int index) const {
        return m_table[clamp(depth, depths - 1)][clamp(index, indices - 1)];
    }
    int pv_value(int depth, int index) const { return value(depth, index) - 1; }

  private:
    static int clamp(int x, int high) { return x < 0 ? 0 : x > high ? high : x; }
    unsigned char m_table[depths][indices];
};

// Orders a list by ordering class, lowest first.
void sort_by_class(MoveList &list);

class ChessPosition;
// The squares the opponent's pawns attack: quiet piece moves onto them are ordered late.
BitBoard pawn_attacked_squares(const ChessPosition &pos);

// What the learning tables know of one quiet move at a node: its history, and its counts after the
// opponent's last move (counter move) and after the side's own move before it (follow-up).
struct QuietCounts {
    std::int64_t history, counter, follow;
    // The order of the plain quiet moves: the three added.
    std::int64_t rank() const { return history + counter + follow; }
};

// The quiet moves the learning tables single out at a node: the best two counter moves, the best two
// follow-ups and the best three by history, each strictly better than the one it displaces (so the first of
// equals stays) and none without a positive count.
class QuietCandidates {
  public:
    void offer(const Move &m, const QuietCounts &c) {
        offer(m_counter, m_counter_v, 2, m, c.counter);
        offer(m_follow, m_follow_v, 2, m, c.follow);
        offer(m_hist, m_hist_v, 3, m, c.history);
    }
    // A quiet move's class: counter_move, historical_move1-3, then (not a candidate) bad_move for a piece
    // going where an enemy pawn takes it, xnormal_move for the rest.
    xmove_t class_of(const Move &m, std::uint64_t pawn_attacked) const;

  private:
    static void offer(Move *slots, std::int64_t *values, int n, const Move &m, std::int64_t v);
    Move m_counter[2], m_follow[2], m_hist[3];
    std::int64_t m_counter_v[2] = {0, 0}, m_follow_v[2] = {0, 0}, m_hist_v[3] = {0, 0, 0};
};

// One search thread's learning tables and the ordering classes they give a node's moves. The search asks;
// the ordering never searches.
class MoveOrdering {
  public:
    void clear() {
        m_history.clear();
        m_counter.clear();
        m_killer.clear();
    }
    void clear_history() {
        m_history.clear();
        m_counter.clear();
    }
    void clear_killers() { m_killer.clear(); }
    QuietCounts counts(const Move &m, const Move &previous, const Move &own_previous) const {
        return {m_history.value(m), previous.word() ? m_counter.value(previous, m) : 0,
                own_previous.word() ? m_counter.value(own_previous, m) : 0};
    }
    Move killer_a(int ply) const { return m_killer.get_killerA(ply); }
    Move killer_b(int ply) const { return m_killer.get_killerB(ply); }
    // A new search keeps an eighth of what the last one learnt, and no killers (their plies have moved).
    void new_search() {
        m_history.divide_by_8();
        m_counter.divide_by_8();
        m_killer.clear();
    }
    // A move cut at this ply: a quiet one gains, the moves searched before it lose, by the depth's bonus; a
    // capture's cut teaches nothing (the tables rank quiet moves).
    void learn(const ChessPosition &pos, int ply, const MoveList &list, int searched, const Move &cut,
               int depth);
    // Every move's class: the table's move, captures by exchange, killers, counter moves and follow-ups,
    // the best by history, quiet moves onto squares the opponent's pawns attack, the rest. The position is
    // changed by the exchange counts and left as it was.
    void classify(ChessPosition &pos, int ply, MoveList &list, const Move &hashmove) const;
    // After the class sort: the plain quiet moves of each class in the order the learning tables rank them
    // (history plus counter move and follow-up), best first. Late quiet moves are the ones pruned and
    // reduced, so this order decides which of them are searched at all.
    void order_quiet_moves(const ChessPosition &pos, MoveList &list) const;
    // Moves the move at index `from` to index `to` (to < from), the ones between sliding back one place.
    static void move_forward(MoveList &list, int from, int to);

  private:
    HistoryTable m_history;
    CounterMove m_counter;
    Killer m_killer;
};

#endif
