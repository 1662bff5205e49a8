// The moves of a node one at a time, in the ordering's classes, each worked out only when the picker
// reaches it. Most nodes that cut do so on the table's move, the first capture or a killer: their quiet
// moves are then never ranked, and a capture's static exchange is computed only for the captures tried.
#ifndef DRAVNIK_SEARCH_MOVE_PICKER_H
#define DRAVNIK_SEARCH_MOVE_PICKER_H

#include <cstdint>

#include "board/chessposition.h"
#include "board/move.h"
#include "movegen/movegenerator.h"
#include "search/move_ordering.h"

class MovePicker {
  public:
    // What the picker keeps of a move of the list while it works: a quiet move's rank by the learning
    // tables, a losing capture's exchange.
    struct Slot {
        std::int64_t rank;
    };
    enum class mode_t { all, captures, sorted };

    // mode all: every move of the list but the table's move (the caller has searched it), in this order:
    // queen promotions that take nothing and keep the new queen; captures that do not lose material, most
    // valuable victim and then least valuable attacker first; the killers; the quiet moves by class and,
    // within one, best first by the learning tables; the losing captures. The list must be as the generator
    // makes it: the captures first, then the promotions that take nothing, then the quiet moves.
    // mode captures: the capture search's moves (a list of captures and promotions): the queen promotions
    // and captures as above, losing captures left out, then the other promotions.
    // mode sorted: a list ordered already (by localsort), as it stands, the table's move left out.
    // slots holds one entry per move of the list.
    // With a generator and the position's move table, mode all takes a list of the captures alone
    // (serialize_captures) and appends the quiet moves when their turn comes; the killers are looked up
    // in the table before.
    MovePicker(ChessPosition &pos, const MoveOrdering &order, int ply, MoveList &list, const Move &hashmove,
               Slot *slots, mode_t mode, MoveGenerator *gen = nullptr,
               const MoveGenerator::MoveTable *table = nullptr);

    // The next move with its class, or a null move when there is none left.
    Move next();
    // The caller prunes every plain quiet move without check from here on: they are no longer handed out
    // (nor ranked, if their turn has not come yet), but still counted by index().
    void skip_quiets() { m_skip_quiets = true; }

    // The moves handed out or skipped before the last one handed out.
    int index() const { return m_index - 1; }
    // Whether the position has no legal move but the table's: known once next() has returned no move.
    bool list_empty() const { return m_list.size() == 0; }
    // The static exchange of the last move handed out, computed at most once.
    int exchange();
    // Whether that exchange is at least threshold; not computed where the pieces decide it (a plain capture
    // of a piece worth at least the mover and the threshold, away from the ranks where a pawn's recapture
    // would promote).
    bool exchange_at_least(int threshold);
    // The rank of the last move handed out by the learning tables (0 for a move that was never ranked).
    std::int64_t rank() const { return m_current_ranked ? m_slots[m_current_slot].rank : 0; }

  private:
    enum class stage_t {
        promotions,
        good_captures,
        killers,
        rank_quiets,
        quiets,
        losing,
        other_promotions,
        sorted,
        done
    };

    Move hand_out(Move m, xmove_t x);
    bool skipped(const Move &m) {
        if (!m_skip_quiets || m.capture_id() != 0 || m.code() != normal_move || m.check()) return false;
        ++m_index;
        return true;
    }
    Move pick_capture();
    Move next_killer();
    void generate_quiets();
    void rank_quiets();
    Move pick_quiet();

    ChessPosition &m_pos;
    const MoveOrdering &m_order;
    const int m_ply;
    MoveList &m_list;
    const Move m_hashmove;
    Slot *const m_slots;
    const mode_t m_mode;
    stage_t m_stage;
    int m_captures_end = 0; // [0, m_captures_end): captures; then promotions without capture
    int m_promotions_end = 0;
    int m_next = 0;       // the next move of the current stage
    int m_losing_end = 0; // [0, m_losing_end): losing captures, once the captures are picked
    int m_killer = 0;     // killers looked for
    int m_index = 0;
    bool m_skip_quiets = false;
    MoveGenerator *const m_gen; // set while the quiet moves are still to be generated
    const MoveGenerator::MoveTable *const m_table;
    bool m_quiets_pending;
    Move m_killers_out[2]; // killers handed out (or skipped) before the quiet moves were generated
    int m_killers_count = 0;

    Move m_current;
    int m_current_slot = 0;
    bool m_current_ranked = false;
    bool m_exchange_known = false;
    int m_exchange = 0;
};

#endif
