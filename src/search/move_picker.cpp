// The staged move picker: stage by stage, each move's class and rank computed when its stage comes.
#include "search/move_picker.h"

#include <utility>

#include "board/static_exchange.h"

namespace {
// Marks a move of the list as handed out already (generated moves carry class xnormal_move).
constexpr xmove_t taken = no_xmove_t;

// Captures best first: the most valuable victim, then the least valuable attacker; a capture that promotes
// to a queen before the other promotions that take the same victim.
int capture_order(const Move &m) {
    return (Piece::kind_value[m.capture_id() & 7] + (m.code() == promo_queen ? 800 : 0)) * 8 -
           (m.piece_id() & 7);
}
} // namespace

MovePicker::MovePicker(ChessPosition &pos, const MoveOrdering &order, int ply, MoveList &list,
                       const Move &hashmove, Slot *slots, mode_t mode, MoveGenerator *gen,
                       const MoveGenerator::MoveTable *table)
    : m_pos(pos), m_order(order), m_ply(ply), m_list(list), m_hashmove(hashmove), m_slots(slots),
      m_mode(mode), m_gen(gen), m_table(table), m_quiets_pending(gen != nullptr && mode == mode_t::all) {
    if (mode == mode_t::sorted) {
        m_stage = stage_t::sorted;
        return;
    }
    const int n = list.size();
    while (m_captures_end < n && list[m_captures_end].capture_id() != 0)
        ++m_captures_end;
    m_promotions_end = m_captures_end;
    while (m_promotions_end < n && list[m_promotions_end].is_promotion())
        ++m_promotions_end;
    m_stage = stage_t::promotions;
    m_next = m_captures_end;
}

Move MovePicker::hand_out(Move m, xmove_t x) {
    m.xcode(x);
    m_current = m;
    m_current_ranked = false;
    m_exchange_known = false;
    ++m_index;
    return m;
}

int MovePicker::exchange() {
    if (!m_exchange_known) {
        m_exchange = static_exchange(m_pos, m_current);
        m_exchange_known = true;
    }
    return m_exchange;
}

bool MovePicker::exchange_at_least(int threshold) {
    const Move &m = m_current;
    const int rank = m.to_id() >> 3;
    if (!m_exchange_known && m.capture_id() != 0 && !m.is_promotion() && rank != 0 && rank != 7 &&
        Piece::kind_value[m.capture_id() & 7] - Piece::kind_value[m.piece_id() & 7] >= threshold)
        return true;
    return exchange() >= threshold;
}

Move MovePicker::pick_capture() {
    // Selection of the best capture left; a losing one goes to the front of the list, behind the losing
    // ones before it, and waits for its stage (or, for the capture search, is dropped).
    while (m_next < m_captures_end) {
        int best = m_next;
        int best_order = capture_order(m_list[best]);
        for (int j = m_next + 1; j < m_captures_end; ++j) {
            const int o = capture_order(m_list[j]);
            if (o > best_order) best = j, best_order = o;
        }
        std::swap(m_list[m_next], m_list[best]);
        const Move m = m_list[m_next];
        if (m == m_hashmove) {
            ++m_next;
            continue;
        }
        const Move out = hand_out(m, good_capture);
        // The ordering's rule: a victim worth the mover makes a good capture, whatever the exchange.
        if (Piece(m.piece_id()).abs_value() <= Piece(m.capture_id()).abs_value() || exchange() >= 0) {
            ++m_next;
            return out;
        }
        --m_index;
        m_slots[m_losing_end].rank = m_exchange;
        std::swap(m_list[m_losing_end++], m_list[m_next++]);
    }
    return Move();
}

Move MovePicker::next_killer() {
    while (m_killer < 2) {
        const Move k = m_killer++ == 0 ? m_order.killer_a(m_ply) : m_order.killer_b(m_ply);
        if (!k.word() || k == m_hashmove) continue;
        if (m_quiets_pending && !k.is_promotion()) {
            // Not generated yet: the table says whether it is legal here as the serialisation would build
            // it, check flag and all (a promotion is among the moves listed already).
            const Move m = m_gen->legal_move(m_pos, *m_table, k);
            if (!m.word() || m != k) continue;
            m_killers_out[m_killers_count++] = m;
            if (skipped(m)) continue;
            return hand_out(m, killer);
        }
        for (int i = m_captures_end; i < m_list.size(); ++i) {
            Move &m = m_list[i];
            if (m != k || m.xcode() == taken) continue;
            m.xcode(taken);
            if (skipped(m)) break;
            return hand_out(m, killer);
        }
    }
    return Move();
}

void MovePicker::generate_quiets() {
    const int first = m_list.size();
    m_gen->serialize_quiet_moves(m_pos, *m_table, m_list);
    m_quiets_pending = false;
    for (int i = first; i < m_list.size(); ++i)
        for (int k = 0; k < m_killers_count; ++k)
            if (m_list[i] == m_killers_out[k]) m_list[i].xcode(taken);
}

void MovePicker::rank_quiets() {
    // Every move that takes nothing is offered to the candidates in the generator's order (the earlier
    // stages have not moved any), those handed out already included, as the full sort does.
    const Move previous = m_pos.last_move();
    const Move own_previous = m_pos.move_before_last();
    const int n = m_list.size();
    QuietCandidates candidates;
    for (int i = m_captures_end; i < n; ++i) {
        const QuietCounts c = m_order.counts(m_list[i], previous, own_previous);
        candidates.offer(m_list[i], c);
        m_slots[i] = {c.rank()};
    }
    const std::uint64_t pawn_attacked = pawn_attacked_squares(m_pos).value();
    for (int i = m_captures_end; i < n; ++i) {
        Move &m = m_list[i];
        if (m.xcode() == taken || m == m_hashmove)
            m.xcode(taken);
        else
            m.xcode(candidates.class_of(m, pawn_attacked));
    }
}

Move MovePicker::pick_quiet() {
    // Selection: the lowest class, then the best rank; the first of equals.
    const int n = m_list.size();
    while (m_next < n) {
        int best = m_next;
        for (int j = m_next + 1; j < n; ++j) {
            const xmove_t xj = m_list[j].xcode(), xb = m_list[best].xcode();
            if (xj < xb || (xj == xb && m_slots[j].rank > m_slots[best].rank)) best = j;
        }
        if (m_list[best].xcode() == taken) return Move();
        std::swap(m_list[m_next], m_list[best]);
        std::swap(m_slots[m_next], m_slots[best]);
        const int i = m_next++;
        const Move m = m_list[i];
        if (skipped(m)) continue;
        const Move out = hand_out(m, m.xcode());
        m_current_ranked = true;
        m_current_slot = i;
        return out;
    }
    return Move();
}

Move MovePicker::next() {
    for (;;) {
        switch (m_stage) {
        case stage_t::promotions:
            // A queen promotion that takes nothing and keeps its queen comes before every capture.
            while (m_next < m_promotions_end) {
                Move &m = m_list[m_next++];
                if (m.code() != promo_queen || m == m_hashmove) continue;
                const Move out = hand_out(m, promotion);
                if (exchange() >= 0) {
                    m.xcode(taken);
                    return out;
                }
                --m_index;
                if (m_mode == mode_t::captures) m.xcode(taken); // the capture search would not search it
            }
            m_stage = stage_t::good_captures;
            m_next = 0;
            break;
        case stage_t::good_captures:
            if (const Move m = pick_capture(); m.word()) return m;
            if (m_mode == mode_t::captures) {
                m_stage = stage_t::other_promotions;
                m_next = m_captures_end;
            } else {
                m_stage = stage_t::killers;
            }
            break;
        case stage_t::killers:
            if (const Move m = next_killer(); m.word()) return m;
            m_stage = stage_t::rank_quiets;
            break;
        case stage_t::rank_quiets:
            if (m_quiets_pending) generate_quiets();
            // Once the quiet moves are pruned, the few still wanted (checks, castling, promotions) are
            // taken as they come, unranked.
            if (!m_skip_quiets) rank_quiets();
            m_next = m_captures_end;
            m_stage = stage_t::quiets;
            break;
        case stage_t::quiets:
            if (m_skip_quiets) {
                while (m_next < m_list.size()) {
                    const Move m = m_list[m_next++];
                    if (m.xcode() != taken && m != m_hashmove && !skipped(m)) return hand_out(m, m.xcode());
                }
            } else if (const Move m = pick_quiet(); m.word()) {
                return m;
            }
            m_stage = stage_t::losing;
            m_next = 0;
            break;
        case stage_t::losing:
            if (m_next < m_losing_end) {
                const int i = m_next++;
                const Move out = hand_out(m_list[i], losing_capture);
                m_exchange = static_cast<int>(m_slots[i].rank);
                m_exchange_known = true;
                return out;
            }
            m_stage = stage_t::done;
            break;
        case stage_t::other_promotions:
            while (m_next < m_promotions_end) {
                const Move m = m_list[m_next++];
                if (m.xcode() != taken && m != m_hashmove) return hand_out(m, xnormal_move);
            }
            m_stage = stage_t::done;
            break;
        case stage_t::sorted:
            while (m_next < m_list.size()) {
                const Move m = m_list[m_next++];
                if (m_hashmove.word() && m == m_hashmove) continue;
                if (skipped(m)) continue;
                return hand_out(m, m.xcode());
            }
            m_stage = stage_t::done;
            break;
        case stage_t::done:
            return Move();
        }
    }
}
