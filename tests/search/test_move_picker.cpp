// The staged picker against the full sort it replaces in most nodes: the same moves, each once, with the
// same class, in class order, whether the quiet moves are generated first or late; the capture search's
// moves; the quiet moves dropped once pruned.
#include <algorithm>
#include <map>

#include <gtest/gtest.h>

#include "board/static_exchange.h"
#include "search/move_picker.h"
#include "search_test_util.h"

namespace {
// Captures that win, trade and lose, promotions with and without a capture (safe and not), checks,
// castling, a position in check, and game moves behind the last so that counter moves and follow-ups count.
const char *const positions[] = {
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1",
    "n3k2r/1P2n1P1/8/3q4/2n1P3/5N2/p4PPP/R2QK2R w KQk - 0 1",
    "startpos moves e2e4 e7e5 g1f3 b8c6 f1b5 a7a6 b5c6",
    "4k3/8/8/3q4/8/8/3R4/3QK3 b - - 0 1",
    "4r1k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1 moves d1d8",
};

using Picked = std::vector<Move>;

// Teaches the ordering cuts on a third of the quiet moves (equal counts among them, so ties are met),
// killers at the picker's ply included.
void teach(MoveOrdering &order, ChessPosition &pos, const MoveList &list) {
    MoveList quiet;
    for (const Move &m : list)
        if (m.capture_id() == 0) quiet.push_back(m);
    for (int k = 0; k < quiet.size(); k += 3)
        order.learn(pos, 3, quiet, std::min(2, quiet.size()), quiet[k], 1 + k % 2);
}

Picked pick_all(MovePicker &p) {
    Picked out;
    for (Move m; (m = p.next()).word();) {
        EXPECT_EQ(p.index(), static_cast<int>(out.size()));
        out.push_back(m);
    }
    return out;
}
} // namespace

TEST(MovePicker, HandsOutEveryMoveOnceWithTheFullSortsClassInClassOrder) {
    MoveGenerator gen(tables());
    for (const char *setup : positions) {
        Search s(setup);
        ChessPosition &pos = s.a->position();
        MoveList all;
        gen.generate_moves(pos, all);
        MoveOrdering order;
        teach(order, pos, all);
        std::map<std::uint32_t, int> sorted_class; // by move, as the full sort classes it
        MoveList sorted = all;
        order.classify(pos, 3, sorted, Move());
        for (const Move &m : sorted)
            sorted_class[m.word() & 0xFFFFFF] = m.xcode();
        const Move previous = pos.last_move(), own_previous = pos.move_before_last();

        // No table move, a quiet one, a capture.
        for (int h = 0; h < 3; ++h) {
            Move hashmove;
            for (const Move &m : all)
                if ((h == 1 && m.capture_id() == 0) || (h == 2 && m.capture_id() != 0)) hashmove = m;
            MoveList list(all);
            MovePicker::Slot slots[MoveList::capacity];
            MovePicker picker(pos, order, 3, list, hashmove, slots, MovePicker::mode_t::all);
            const Picked picked = pick_all(picker);
            ASSERT_EQ(static_cast<int>(picked.size()), all.size() - (hashmove.word() ? 1 : 0)) << setup;
            if (!pos.check()) {
                // Generating the quiet moves only when their turn comes changes nothing handed out.
                MoveGenerator::MoveTable table;
                gen.create_movetable(pos, table);
                MoveList captures;
                gen.serialize_captures(pos, table, captures);
                MovePicker staged(pos, order, 3, captures, hashmove, slots, MovePicker::mode_t::all, &gen,
                                  &table);
                const Picked again = pick_all(staged);
                ASSERT_EQ(again.size(), picked.size()) << setup;
                for (std::size_t i = 0; i < picked.size(); ++i)
                    EXPECT_EQ(again[i].word(), picked[i].word()) << setup << " " << i;
            }
            for (std::size_t i = 0; i < picked.size(); ++i) {
                const Move m = picked[i];
                EXPECT_NE(m, hashmove) << setup;
                EXPECT_EQ(std::count(picked.begin(), picked.end(), m), 1) << setup << " " << m.algebraic();
                EXPECT_EQ(m.xcode(), sorted_class[m.word() & 0xFFFFFF]) << setup << " " << m.algebraic();
                if (i == 0) continue;
                const Move before = picked[i - 1];
                ASSERT_LE(before.xcode(), m.xcode()) << setup << " " << m.algebraic();
                if (before.xcode() != m.xcode()) continue;
                // Within a class: victims, then attackers; the plain quiet moves by their rank.
                if (m.xcode() == good_capture) {
                    EXPECT_GE(Piece(before.capture_id()).abs_value() * 8 - (before.piece_id() & 7) +
                                  (before.code() == promo_queen ? 6400 : 0),
                              Piece(m.capture_id()).abs_value() * 8 - (m.piece_id() & 7) +
                                  (m.code() == promo_queen ? 6400 : 0))
                        << setup << " " << m.algebraic();
                }
                if (m.xcode() == xnormal_move || m.xcode() == bad_move) {
                    EXPECT_GE(order.counts(before, previous, own_previous).rank(),
                              order.counts(m, previous, own_previous).rank())
                        << setup << " " << m.algebraic();
                }
            }
        }

        // Pruned quiet moves: after the third move no plain quiet move without check comes out, and every
        // other move still does.
        // Alike whether the quiet moves are generated first or when their turn comes.
        MoveList list(all);
        MovePicker::Slot slots[MoveList::capacity];
        MovePicker picker(pos, order, 3, list, Move(), slots, MovePicker::mode_t::all);
        Picked picked;
        for (Move m; (m = picker.next()).word();) {
            const bool plain = m.capture_id() == 0 && m.code() == normal_move && !m.check();
            if (picked.size() >= 3) {
                EXPECT_FALSE(plain) << setup << " " << m.algebraic();
            }
            picked.push_back(m);
            if (picked.size() == 3) picker.skip_quiets();
        }
        if (!pos.check()) {
            MoveGenerator::MoveTable table;
            gen.create_movetable(pos, table);
            MoveList captures;
            gen.serialize_captures(pos, table, captures);
            MovePicker staged(pos, order, 3, captures, Move(), slots, MovePicker::mode_t::all, &gen, &table);
            Picked again;
            for (Move m; (m = staged.next()).word();) {
                again.push_back(m);
                if (again.size() == 3) staged.skip_quiets();
            }
            EXPECT_EQ(again, picked) << setup;
        }
        for (const Move &m : all) {
            if (!(m.capture_id() == 0 && m.code() == normal_move && !m.check())) {
                EXPECT_EQ(std::count(picked.begin(), picked.end(), m), 1) << setup << " " << m.algebraic();
            }
        }
    }
}

TEST(MovePicker, CaptureSearchMovesAndTheirExchanges) {
    // The capture search keeps what does not lose material (deep in it, what wins some): the picker with
    // its exchange test must give exactly those, and exchanges equal to the full count.
    MoveGenerator gen(tables());
    for (const char *setup : positions) {
        Search s(setup);
        ChessPosition &pos = s.a->position();
        if (pos.check()) continue;
        MoveOrdering order;
        for (int threshold : {0, 1}) {
            MoveGenerator::MoveTable table;
            gen.create_movetable(pos, table);
            MoveList captures;
            gen.serialize_captures(pos, table, captures);
            Picked expected;
            for (const Move &m : captures)
                if (static_exchange(pos, m) >= threshold) expected.push_back(m);
            MoveList list(captures);
            MovePicker::Slot slots[MoveList::capacity];
            MovePicker picker(pos, order, 3, list, Move(), slots, MovePicker::mode_t::captures);
            Picked kept;
            for (Move m; (m = picker.next()).word();) {
                if (picker.exchange_at_least(threshold)) kept.push_back(m);
                EXPECT_EQ(picker.exchange(), static_exchange(pos, m)) << setup << " " << m.algebraic();
            }
            auto by_word = [](const Move &a, const Move &b) {
                return (a.word() & 0xFFFFFF) < (b.word() & 0xFFFFFF);
            };
            std::sort(expected.begin(), expected.end(), by_word);
            std::sort(kept.begin(), kept.end(), by_word);
            EXPECT_EQ(kept, expected) << setup << " threshold " << threshold;
        }
    }
}
