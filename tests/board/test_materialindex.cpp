// Material index packing, incremental updates and the material balance.
#include <gtest/gtest.h>

#include "board/materialindex.h"

namespace {
MaterialIndex counts(int Q, int R, int B, int N, int P, int q, int r, int b, int n, int p) {
    MaterialIndex m;
    m.set_whitequeen(Q);
    m.set_whiterook(R);
    m.set_whitebishop(B);
    m.set_whiteknight(N);
    m.set_whitepawn(P);
    m.set_blackqueen(q);
    m.set_blackrook(r);
    m.set_blackbishop(b);
    m.set_blackknight(n);
    m.set_blackpawn(p);
    return m;
}
} // namespace

TEST(MaterialIndex, ValueOfKnownBalances) {
    EXPECT_EQ(counts(1, 2, 2, 2, 8, 1, 2, 2, 2, 8).value(), 0);
    EXPECT_EQ(counts(1, 0, 0, 0, 0, 0, 1, 0, 0, 0).value(), 450);
    EXPECT_EQ(counts(0, 1, 0, 0, 0, 1, 0, 0, 0, 0).value(), -450);
    EXPECT_EQ(counts(0, 1, 0, 0, 0, 0, 0, 1, 0, 0).value(), 27);
    EXPECT_EQ(counts(0, 2, 1, 2, 6, 0, 2, 2, 1, 5).value(), 50);
    EXPECT_EQ(counts(0, 0, 0, 0, 2, 0, 0, 1, 0, 0).value(), 50); // a lone minor against two pawns
    EXPECT_EQ(counts(0, 1, 0, 0, 3, 0, 0, 0, 0, 0).value(), 15 + 300 + 525 + 30); // with the trade-down bonus
}

TEST(MaterialIndex, CapturePromotionMadeAndUnmade) {
    MaterialIndex m = counts(1, 2, 2, 2, 8, 1, 2, 2, 2, 8);
    const MaterialIndex start = m;
    EXPECT_EQ(m.str(), "KQRRBBNNPPPPPPPPkqrrbbnnpppppppp");
    // b7xa8=Q taking a rook: one white pawn less, one queen more, one black rook less.
    const Move promo(Square(49), Square(56), promo_queen, wpawn, brook);
    m.make_move(promo);
    EXPECT_EQ(m.str(), "KQQRRBBNNPPPPPPPkqrbbnnpppppppp");
    m.unmake_move(promo);
    EXPECT_EQ(m, start);
    EXPECT_EQ(counts(0, 0, 0, 0, 0, 0, 0, 1, 1, 0).str(), "Kkbn");
}
