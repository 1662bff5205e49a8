// The transposition table: records, buckets and their replacement, sizes, clears, lent memory, table moves.
#include <gtest/gtest.h>

#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

#include "search_test_util.h"

namespace {

TTrecord make(std::uint64_t key, unsigned char date, int draft, bound_t bound, int score = 0,
              unsigned short move = 0) {
    TTrecord r;
    r.set_key(key);
    r.set_date(date);
    r.set_draft(draft);
    r.set_bound(bound);
    r.set_score(score, 0);
    r.set_move(TTmove(move));
    return r;
}

// Index of the record of the bucket that holds the key, -1 if none.
int slot_of(const Bucket &b, std::uint64_t key) {
    for (int i = 0; i < 4; ++i)
        if (b[i].get_key() == key) return i;
    return -1;
}

} // namespace

TEST(TTrecord, ScoresKeepToTheirFieldAndMatesCountFromTheStoringNode) {
    // Replacing the score must not disturb the neighbouring fields, whatever its sign.
    TTrecord r = make(1, 0x12, 0x34, exact_value, -2, 0xABCD);
    EXPECT_EQ(r.get_score(0), -2);
    r.set_score(300, 0);
    EXPECT_EQ(r.get_value(), 0xABCD012C02341200ULL);
    r.set_score(30000 - 7, 5); // mate 2 plies below a node at ply 5
    EXPECT_EQ(r.get_score(5), 29993);
    EXPECT_EQ(r.get_score(3), 29995); // probed nearer the root: mate is nearer too
    r.set_score(-29990, 4);
    EXPECT_EQ(r.get_score(4), -29990);
    EXPECT_EQ(r.get_score(0), -29994);
    r.set_score(29897, 9); // not a mate score: unchanged
    EXPECT_EQ(r.get_score(1), 29897);
    r.set_score(32760, 10); // truncated to 16 bits
    EXPECT_EQ(r.get_score(0), 32770 - 65536);
}

TEST(Bucket, ReplacementRule) {
    // Four records (date, draft, bound) and the slot a new record of date 7 takes.
    struct Case {
        int date[4], draft[4];
        bound_t bound[4];
        int slot;
    };
    const bound_t L = lowerbound, U = upperbound, E = exact_value;
    const Case cases[] = {
        {{7, 7, 6, 7}, {50, 50, 99, 50}, {L, L, E, L}, 2},     // an earlier search's entry goes first
        {{7, 7, 7, 7}, {10, 3, 5, 5}, {L, E, U, U}, 2},        // the shallowest, exact ones skipped, ties low
        {{7, 7, 7, 7}, {1, 101, 101, 101}, {E, L, L, L}, 1},   // an exact record 0 counts as 102...
        {{7, 7, 7, 7}, {120, 110, 110, 110}, {L, L, L, L}, 0}, // ...and a deep record 0 is capped at it
        {{7, 7, 7, 7}, {1, 1, 1, 1}, {E, E, E, E}, 0},
    };
    for (const Case &c : cases) {
        Bucket b;
        for (int i = 0; i < 4; ++i)
            b[i] = make(100 + i, static_cast<unsigned char>(c.date[i]), c.draft[i], c.bound[i]);
        b.write(make(200, 7, 20, upperbound));
        EXPECT_EQ(slot_of(b, 200), c.slot) << c.draft[0] << " " << c.draft[1];
    }
}

TEST(Bucket, StoreAndProbeWithoutMoveKeepTheOtherMove) {
    Bucket b;
    b.write(make(55, 1, 4, lowerbound, 10, 0x1234));
    b.write(make(55, 2, 6, upperbound, -20, 0));
    TTrecord probe = make(55, 0, 0, upperbound, 0, 0x0777);
    ASSERT_TRUE(b.read(probe));
    EXPECT_EQ(probe.get_move().id(), 0x1234);
    EXPECT_EQ(probe.get_draft(), 6);
    EXPECT_EQ(probe.get_score(0), -20);
    b.clear();
    b.write(make(56, 1, 4, lowerbound, 10, 0));
    probe = make(56, 0, 0, upperbound, 0, 0x0777);
    ASSERT_TRUE(b.read(probe));
    EXPECT_EQ(probe.get_move().id(), 0x0777);
}

TEST(TranspositionTable, SizesRoundDownAndOnlyANewCountDropsTheEntries) {
    TranspositionTable tt;
    const TTrecord r = make(0x123456789ABCDEF1ULL, 3, 8, exact_value, 42, 0x1111);
    tt.write(r);
    if (sizeof(std::size_t) == 4) { // 4 GB of buckets cannot exist in a 32-bit address space
        EXPECT_THROW(tt.set_size(4096), TTAllocationError);
    }
    // 200 MB rounds down to the count of the default 128 MB and keeps the contents.
    for (auto size : {std::make_pair(200, 2097152u), {100, 1048576u}, {6, 65536u}, {1, 65536u}}) {
        tt.set_size(size.first);
        EXPECT_EQ(tt.get_count(), size.second) << size.first;
        TTrecord probe(r.get_key(), 0);
        EXPECT_EQ(tt.read(probe) && probe == r, size.first == 200) << size.first;
    }
}

TEST(TranspositionTable, ThresholdBucketsAreNeverTouched) {
    TranspositionTable tt;
    const std::uint64_t high = 0x5A5A000000000000ULL;
    TTrecord probe(high, 0); // index 0: below or at the threshold even when it is 0
    tt.write(make(high, 1, 1, exact_value));
    EXPECT_FALSE(tt.read(probe));

    tt.set_threshold(6000000);
    ASSERT_EQ(tt.get_threshold(), 93750u);
    tt.write(make(high | 93750, 1, 1, exact_value));
    tt.write(make(high | 93751, 1, 1, exact_value));
    probe.set_key(high | 93750);
    EXPECT_FALSE(tt.read(probe));
    probe.set_key(high | 93751);
    EXPECT_TRUE(tt.read(probe));

    // The lent bytes survive a clear, also one that writes every page; the table beyond them is zeroed.
    unsigned char *lent = tt.get_uchar_adress();
    lent[0] = 0xAB;
    lent[93751 * 64 - 1] = 0xCD;
    tt.clear();
    EXPECT_FALSE(tt.read(probe));
    tt.write(make(high | 93751, 1, 1, exact_value));
    tt.clear_every_page();
    EXPECT_EQ(lent[0], 0xAB);
    EXPECT_EQ(lent[93751 * 64 - 1], 0xCD);
    EXPECT_FALSE(tt.read(probe));
}

TEST(TranspositionTable, AClearAfterAnyWriteLeavesEveryBucketEmptyAndHashfullCountsDates) {
    // A fresh or cleared table is known to be zero and a clear may skip it: every way of writing must end
    // that, the table's own stores and bytes written through the lent address alike.
    TranspositionTable tt;
    tt.set_size(6);
    EXPECT_EQ(tt.hashfull(0), 1000); // a zeroed table carries date 0 everywhere
    unsigned char *bytes = tt.get_uchar_adress();
    bytes[64 * 5 + 3] = 0x77;
    tt.clear();
    EXPECT_EQ(bytes[64 * 5 + 3], 0);
    for (std::uint64_t index = 1; index < 2000; ++index)
        for (std::uint64_t n = 1; n <= 4; ++n)
            tt.write(make(n << 32 | index, 9, 1, exact_value));
    EXPECT_EQ(tt.hashfull(9), 999); // the first thousand buckets, and bucket 0 is never written
    tt.clear();
    tt.clear(); // nothing written since: still empty
    EXPECT_EQ(tt.hashfull(9), 0);
    TTrecord probe(1ULL << 32 | 5, 0);
    EXPECT_FALSE(tt.read(probe));
}

// While an endgame table borrows the start of the memory, the bytes there are the table's, not records:
// the fill reported is that of the buckets the transposition table still owns.
TEST(TranspositionTable, HashfullSamplesOnlyTheBucketsItOwns) {
    TranspositionTable tt;
    tt.set_size(16);
    auto fill = [&tt](std::uint64_t from, std::uint64_t to) {
        for (std::uint64_t index = from; index < to; ++index)
            for (std::uint64_t n = 1; n <= 4; ++n)
                tt.write(make(n << 32 | index, 9, 1, exact_value));
    };
    fill(1, 2000);
    ASSERT_EQ(tt.hashfull(9), 999);
    ASSERT_NE(tt.lend(6000000), nullptr); // the records written above now lie in lent memory
    const std::uint64_t first = tt.get_threshold() + 1;
    EXPECT_EQ(tt.hashfull(9), 0);
    fill(first, first + 500);
    EXPECT_EQ(tt.hashfull(9), 500);
    tt.take_back();
    EXPECT_EQ(tt.hashfull(9), 0); // the first thousand buckets again, cleared with the lent bytes
}

TEST(TTmove, RebuildsPiecesFromTheBoard) {
    ChessPosition position(tables());
    position.fen("r3k2r/1P6/8/3pP3/8/8/8/R3K2R w KQkq d6 0 1");
    const Move ep(Square(36), Square(43), en_passant, wpawn, bpawn); // e5xd6
    EXPECT_EQ(TTmove(ep)(position).word(), ep.word() & 0xFFFFFF);
    const Move castle(Square(4), Square(7), castling, wking, no_piece_t);
    EXPECT_EQ(TTmove(castle)(position).word(), castle.word() & 0xFFFFFF);
    const Move promo(Square(49), Square(56), promo_knight, wpawn, brook); // b7xa8=N
    EXPECT_EQ(TTmove(promo)(position).word(), promo.word() & 0xFFFFFF);
    EXPECT_EQ(TTmove()(position).word(), 0u);
}

TEST(LargeBlock, AlignedZeroedAndEmptyWhenItCannotExist) {
    // A block of a large page or more starts on a large page (two megabytes), a smaller one on a cache line;
    // both read as zeros to their last byte, and a moved block keeps its memory.
    for (const std::size_t bytes : {std::size_t{3} << 20, std::size_t{1000}})
        for (const LargeBlock::pages kind : {LargeBlock::pages::large, LargeBlock::pages::large_touched}) {
            LargeBlock block(bytes, kind);
            const auto *p = static_cast<const unsigned char *>(block.get());
            ASSERT_NE(p, nullptr);
            const std::uintptr_t align = bytes >= (std::size_t{1} << 21) ? std::uintptr_t{1} << 21 : 64;
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % align, 0u) << bytes;
            EXPECT_EQ(p[0] | p[bytes / 2] | p[bytes - 1], 0) << bytes;
            LargeBlock moved(std::move(block));
            EXPECT_EQ(moved.get(), p);
            EXPECT_EQ(block.get(), nullptr);
        }
    EXPECT_EQ(LargeBlock(SIZE_MAX - 100, LargeBlock::pages::large).get(), nullptr);
#if defined(__linux__)
    // As much as the machine's memory, touched, is refused before a page is written (the allocator alone
    // would give it, and the touch would bring the out-of-memory killer).
    const std::uint64_t memory = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE);
    if (memory < SIZE_MAX / 2) {
        EXPECT_EQ(LargeBlock(static_cast<std::size_t>(memory), LargeBlock::pages::large_touched).get(),
                  nullptr);
    }
#endif
}

#if defined(__linux__)
// A touched block is in memory, every page of it, before anyone reads it: the search's first probes must
// not wait for the system to fault it in.
TEST(LargeBlock, TouchedBlockIsResidentWhenMade) {
    const std::size_t bytes = std::size_t{5} << 20, page = 4096;
    const LargeBlock block(bytes, LargeBlock::pages::large_touched);
    ASSERT_NE(block.get(), nullptr);
    std::vector<unsigned char> resident(bytes / page);
    if (mincore(block.get(), bytes, resident.data()) != 0) GTEST_SKIP() << "mincore is not available here";
    for (std::size_t i = 0; i < resident.size(); ++i)
        ASSERT_TRUE(resident[i] & 1) << "page " << i;
}
#endif
