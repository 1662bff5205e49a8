// The node searches' own rules: the hash move in the null-window search, the null-move conditions,
// extensions and the pruning gates near the leaves.
#include <gtest/gtest.h>

#include "search_test_util.h"

namespace {
void store_hash_move(Search &s, const Move &m) {
    TTrecord r;
    r.set_key(s.a->position().key());
    r.set_bound(upperbound);
    r.set_move(TTmove(m));
    tables().tt().write(r); // draft 0: it orders, it never cuts
}

// The move localsort puts first in a null-window node of this position.
Move first_in_order(Search &s, int depth) {
    MoveGenerator gen(tables());
    MoveList list;
    gen.generate_moves(s.a->position(), list);
    s.a->localsort(list, depth, false, Move());
    return list[0];
}
} // namespace

TEST(HashMoveInNullWindow, LaterMovesKeepTheirIndexAndASingleReplyIsExtended) {
    // Kings and pawns, five plies from the root, white to move: eighteen quiet moves, no capture and no
    // check for either side. Every move is searched with a window it cannot reach, so each one costs
    // exactly one node and the count says how many late-move pruning left.
    for (bool from_table : {false, true}) {
        Search pawns("4k3/pppppppp/8/8/8/8/PPPPPPPP/4K3 b - - 0 1");
        for (const char *m : {"a7a6", "h2h3", "h7h6", "a2a3", "b7b6"})
            pawns.play(m);
        // With the first of them from the table, it goes first and the seven that follow it are searched.
        if (from_table) store_hash_move(pawns, first_in_order(pawns, 1));
        const int alpha = pawns.a->static_eval() + 90; // out of reach, yet not futile at depth 1
        EXPECT_EQ(pawns.a->nullwindow_search(1, alpha, alpha + 1), alpha);
        EXPECT_EQ(pawns.a->get_node_count(), from_table ? 1u + 1u + 7u : 1u + 7u);
    }

    // In check with one reply: it is extended, from the table as from the list, and so its reply is
    // searched at full width one ply further down.
    for (bool from_table : {false, true}) {
        Search check("4k3/8/8/8/8/7P/6P1/r6K w - - 0 1");
        if (from_table) store_hash_move(check, check.move("h1h2"));
        check.a->nullwindow_search(1, -100, -99);
        EXPECT_EQ(check.a->get_seldepth(), 2) << from_table;
    }
}
