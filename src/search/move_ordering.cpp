// Move ordering: the learning tables, the reduction table, learning at cut-offs and the sort by class.
#include "search/move_ordering.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "board/chessposition.h"
#include "board/static_exchange.h"
#include "search/pruning.h"

namespace {

// Floor division by 8, also for negative counters.
inline std::int16_t div8(std::int16_t v) { return static_cast<std::int16_t>(v >= 0 ? v >> 3 : ~(~v >> 3)); }

} // namespace

void HistoryTable::clear() { std::fill(&m_table[0][0], &m_table[0][0] + 15 * 64, 0); }

void HistoryTable::divide_by_8() {
    for (auto &row : m_table)
        for (std::int16_t &v : row)
            v = div8(v);
}

CounterMove::CounterMove()
    : m_block(bytes, LargeBlock::pages::large), m_table(static_cast<std::int16_t *>(m_block.get())) {
    if (!m_table) throw std::bad_alloc();
}

CounterMove::CounterMove(const CounterMove &o) : CounterMove() { *this = o; }

CounterMove &CounterMove::operator=(const CounterMove &o) {
    if (this != &o) std::copy(o.m_table, o.m_table + entries, m_table);
    return *this;
}

void CounterMove::clear() { std::fill(m_table, m_table + entries, 0); }

void CounterMove::divide_by_8() {
    for (int i = 0; i < entries; ++i)
        m_table[i] = div8(m_table[i]);
}

void Killer::clear() {
    for (auto &ply : m_killer)
        ply[0] = ply[1] = Move();
}

LmrTable::LmrTable() {
    for (int d = 0; d < depths; ++d)
        for (int i = 0; i < indices; ++i) {
            int r = 1;
            if (d >= 1 && i >= 1) {
                // The divisor scales the product, the base shifts it (values and reasons in pruning.h).
                const double x =
                    std::log(static_cast<double>(d)) * std::log(i * 0.5) * (100.0 / lmr_divisor) +
                    lmr_base / 100.0;
                if (x > 1.0) r = static_cast<int>(x);
            }
            m_table[d][i] = static_cast<unsigned char>(r);
        }
}

// ---------------------------------------------------------------------------------------------------------
// Learning at cut-offs and the order of a node's moves

void MoveOrdering::learn(const ChessPosition &pos, int ply, const MoveList &list, int searched,
                         const Move &cut, int depth) {
    if (cut.capture_id() != 0) return;
    const int bonus = history_bonus(depth);
    const Move previous = pos.last_move();
    const Move own_previous = pos.move_before_last();
    for (const Move &earlier : {previous, own_previous}) {
        if (earlier.word() == 0) continue;
        m_counter.update(earlier, cut, bonus);
        for (int i = 0; i < searched; ++i)
            m_counter.update(earlier, list[i], -bonus);
    }
    m_history.update(cut, bonus);
    for (int i = 0; i < searched; ++i)
        m_history.update(list[i], -bonus);
    m_killer.set_killer(ply, cut);
}

void QuietCandidates::offer(Move *slots, std::int64_t *values, int n, const Move &m, std::int64_t v) {
    if (v <= 0) return;
    for (int k = 0; k < n; ++k)
        if (v > values[k]) {
            for (int j = n - 1; j > k; --j) {
                slots[j] = slots[j - 1];
                values[j] = values[j - 1];
            }
            slots[k] = m;
            values[k] = v;
            return;
        }
}

xmove_t QuietCandidates::class_of(const Move &m, std::uint64_t pawn_attacked) const {
    if ((m_counter[0].word() && m == m_counter[0]) || (m_counter[1].word() && m == m_counter[1]) ||
        (m_follow[0].word() && m == m_follow[0]) || (m_follow[1].word() && m == m_follow[1]))
        return counter_move;
    if (m_hist[0].word() && m == m_hist[0]) return historical_move1;
    if (m_hist[1].word() && m == m_hist[1]) return historical_move2;
    if (m_hist[2].word() && m == m_hist[2]) return historical_move3;
    if (!Piece(m.piece_id()).pawn() && (pawn_attacked >> m.to_id() & 1)) return bad_move;
    return xnormal_move;
}

void MoveOrdering::classify(ChessPosition &pos, int ply, MoveList &list, const Move &hashmove) const {
    const Move previous = pos.last_move();
    const Move own_previous = pos.move_before_last();
    QuietCandidates candidates;
    for (const Move &m : list)
        if (m.capture_id() == 0) candidates.offer(m, counts(m, previous, own_previous));
    const Move killer_a = m_killer.get_killerA(ply), killer_b = m_killer.get_killerB(ply);
    const std::uint64_t pawn_attacked = pawn_attacked_squares(pos).value();
    for (Move &m : list) {
        xmove_t x;
        if (hashmove.word() && m == hashmove) {
            x = hashtable_move;
        } else if (m.capture_id() != 0) {
            x = Piece(m.piece_id()).abs_value() <= Piece(m.capture_id()).abs_value() ||
                        static_exchange(pos, m) >= 0
                    ? good_capture
                    : losing_capture;
        } else if (m.code() == promo_queen && static_exchange(pos, m) >= 0) {
            x = promotion;
        } else if (m == killer_a || m == killer_b) {
            x = killer;
        } else {
            x = candidates.class_of(m, pawn_attacked);
        }
        m.xcode(x);
    }
}

void MoveOrdering::order_quiet_moves(const ChessPosition &pos, MoveList &list) const {
    const Move previous = pos.last_move();
    const Move own_previous = pos.move_before_last();
    const int n = list.size();
    std::int64_t key[MoveList::capacity];
    for (int i = 0; i < n;) {
        const xmove_t x = list[i].xcode();
        if (x != xnormal_move && x != bad_move) {
            ++i;
            continue;
        }
        int end = i;
        for (; end < n && list[end].xcode() == x; ++end)
            key[end] = counts(list[end], previous, own_previous).rank();
        // Insertion sort, stable: equal keys keep the order the class sort left them in.
        for (int a = i + 1; a < end; ++a) {
            const Move m = list[a];
            const std::int64_t k = key[a];
            int b = a;
            for (; b > i && key[b - 1] < k; --b) {
                list[b] = list[b - 1];
                key[b] = key[b - 1];
            }
            list[b] = m;
            key[b] = k;
        }
        i = end;
    }
}

BitBoard pawn_attacked_squares(const ChessPosition &pos) {
    return pos.white_to_move() ? pawn_attacks<0>(pos.pieces(bpawn).value())
                               : pawn_attacks<1>(pos.pieces(wpawn).value());
}

void sort_by_class(MoveList &list) {
    // Exchange sort: every later move of a strictly smaller class is swapped into the slot (not stable).
    // A slot that holds the smallest class still unplaced can take no further swap, so its scan ends there.
    const int n = list.size();
    int left[16] = {}; // moves of each class not yet placed
    for (int i = 0; i < n; ++i) {
        if (list[i].xcode() >= 16) { // no class of the search: scan every pair
            for (int a = 0; a < n; ++a)
                for (int b = a + 1; b < n; ++b)
                    if (list[b].xcode() < list[a].xcode()) std::swap(list[a], list[b]);
            return;
        }
        ++left[list[i].xcode()];
    }
    unsigned smallest = 0;
    for (int i = 0; i < n; ++i) {
        while (left[smallest] == 0)
            ++smallest;
        for (int j = i + 1; j < n && list[i].xcode() != smallest; ++j)
            if (list[j].xcode() < list[i].xcode()) std::swap(list[i], list[j]);
        --left[smallest];
    }
}

void MoveOrdering::move_forward(MoveList &list, int from, int to) {
    const Move m = list[from];
    for (int j = from; j > to; --j)
        list[j] = list[j - 1];
    list[to] = m;
}
