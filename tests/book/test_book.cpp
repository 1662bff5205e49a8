#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "board/chessposition.h"
#include "board/hasher.h"
#include "book/book.h"
#include "movegen/movegenerator.h"
#include "search/tables.h"

namespace {

Book_record record(std::uint64_t key, std::uint16_t move, std::uint16_t weight, std::uint32_t learn = 0) {
    Book_record r;
    r.set_key(key);
    r.set_move(BKmove(move));
    r.set_weight(weight);
    r.set_learn(learn);
    return r;
}

std::uint16_t bk(int from, int to, int code = 0) {
    return static_cast<std::uint16_t>(to | from << 6 | code << 12);
}

// A book file in the test's own temporary directory, removed afterwards.
class BookFile : public ::testing::Test {
  protected:
    std::string path = (std::filesystem::temp_directory_path() /
                        ("dravnik_book_" + std::to_string(::getpid()) + "_" +
                         ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".bin"))
                           .string();
    void TearDown() override { std::remove(path.c_str()); }
    Book write(const std::vector<Book_record> &records, int extra_bytes = 0) {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        for (const Book_record &r : records)
            out.write(reinterpret_cast<const char *>(r.bytes()), Book_record::size);
        out << std::string(extra_bytes, '\x7f');
        out.close();
        Book book(path);
        book.open();
        return book;
    }
};

Tables &tables() {
    static Tables t;
    return t;
}

} // namespace

TEST(BookRecord, BigEndianFieldsAndKeyOrder) {
    const Book_record r = record(0x0102030405060708ULL, 0x1234, 0xBEEF, 0xCAFEF00D);
    const unsigned char expected[16] = {1,    2,    3,    4,    5,    6,    7,    8,
                                        0x12, 0x34, 0xBE, 0xEF, 0xCA, 0xFE, 0xF0, 0x0D};
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(r.bytes()[i], expected[i]) << i;
    EXPECT_TRUE(record(0x8000000000000000ULL, 0, 0) > record(0x7FFFFFFFFFFFFFFFULL, 0, 0));
    // Codes outside 1..4 and the top bit are dropped from the move.
    EXPECT_EQ(record(1, 0x4ABC, 1).get_move().id(), 0x4ABC);
    EXPECT_EQ(record(1, 0xDABC, 1).get_move().id(), 0x0ABC);
    EXPECT_EQ(BKmove(Move()).id(), 0x1040);
    EXPECT_EQ(BKmove(Move(Square(52), Square(60), promo_queen, wpawn, no_piece_t)).id(), bk(52, 60, 4));
    EXPECT_EQ(BKmove(Move(Square(52), Square(61), promo_knight, wpawn, bknight)).id(), bk(52, 61, 1));
}

TEST_F(BookFile, MissingEmptyAndShortFiles) {
    EXPECT_THROW(Book(path + ".none").open(), std::logic_error);
    EXPECT_EQ(write({}).get_move(0).id(), 0);
    Book short_file = write({}, 15);
    EXPECT_EQ(short_file.get_file_size(), 0);
    EXPECT_EQ(short_file.get_move(0x7f7f7f7f7f7f7f7fULL).id(), 0);
    Book trailing = write({record(42, bk(12, 28), 3)}, 10);
    EXPECT_EQ(trailing.get_file_size(), 16);
    EXPECT_EQ(trailing.get_move(42).id(), bk(12, 28));
}

TEST_F(BookFile, ChoiceAmongTheRecordsOfAKey) {
    Book book = write({record(5, bk(1, 2), 0), record(7, bk(12, 28), 1), record(9, bk(3, 4), 0),
                       record(9, bk(5, 6), 0), record(11, bk(7, 8), 9)});
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(book.get_move(7).id(), bk(12, 28));
        EXPECT_EQ(book.get_move(9).id(), 0); // all weights 0: no move
    }
    EXPECT_EQ(book.get_move(8).id(), 0);
}

TEST_F(BookFile, BinarySearchFindsEveryRunOfDuplicates) {
    // Keys 10, 20, ... with runs of 1 to 4 records, at every file length up to 60 records.
    std::vector<Book_record> all;
    for (int k = 1; all.size() < 60; ++k)
        for (int n = 0; n < 1 + (k * 7) % 4; ++n)
            all.push_back(record(10 * k, bk(k % 64, n), 1));
    for (std::size_t len = 1; len <= all.size(); ++len) {
        Book book = write(std::vector<Book_record>(all.begin(), all.begin() + len));
        const std::uint64_t last = all[len - 1].get_key();
        for (std::uint64_t key = 0; key <= last + 10; key += 5) {
            std::size_t expected = 0;
            for (std::size_t i = 0; i < len; ++i)
                expected += all[i].get_key() == key;
            const std::vector<Book_record> found = book.get_records(key);
            ASSERT_EQ(found.size(), expected) << "len " << len << " key " << key;
            for (const Book_record &r : found)
                EXPECT_EQ(r.get_key(), key);
        }
    }
}

TEST(BKmove, DecodesCastlingPromotionAndOddCodes) {
    const char *white = "r3k2r/6P1/8/8/8/8/8/R3K2R w KQkq - 0 1",
               *black = "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1";
    const char *start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
    // The book writes castling king onto rook; codes above 4 are no promotion.
    const struct {
        const char *fen;
        std::uint16_t move;
        move_t code;
        const char *text;
    } cases[] = {{white, bk(4, 7), castling, "e1g1"},           {white, bk(4, 0), castling, "e1c1"},
                 {white, bk(4, 5), normal_move, "e1f1"},        {white, bk(54, 63, 4), promo_queen, "g7h8q"},
                 {white, bk(54, 62, 1), promo_knight, "g7g8n"}, {black, bk(60, 56), castling, "e8c8"},
                 {start, bk(6, 21, 5), normal_move, "g1f3"},    {start, bk(6, 21, 7), normal_move, "g1f3"}};
    ChessPosition p(tables());
    for (const auto &c : cases) {
        p.fen(c.fen);
        const Move m = BKmove(c.move)(p);
        EXPECT_EQ(m.code(), c.code) << c.text;
        EXPECT_EQ(m.algebraic(), c.text);
    }
    EXPECT_EQ(BKmove()(p).word(), 0u);
}

// The book writes an en-passant capture as the pawn's plain move onto the empty square behind the pawn
// that passed: read as anything but the capture, it would never match a legal move and never be played.
TEST_F(BookFile, EnPassantMovesOfBothColoursMatchTheLegalMove) {
    const struct {
        const char *fen;
        std::uint16_t move;
        const char *text;
    } cases[] = {{"4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 2", bk(36, 43), "e5d6"},
                 {"4k3/8/8/8/4pP2/8/8/4K3 b - f3 0 2", bk(28, 21), "e4f3"}};
    ChessPosition p(tables());
    MoveGenerator gen(tables());
    for (const auto &c : cases) {
        p.fen(c.fen);
        Hasher<1> hasher(tables());
        hasher.init(&p);
        Book book = write({record(hasher.hash(), c.move, 1)});
        const Move m = book.get_move(hasher.hash())(p);
        EXPECT_EQ(m.code(), en_passant) << c.text;
        EXPECT_EQ(m.algebraic(), c.text);
        MoveList legal;
        gen.generate_moves(p, legal);
        int matches = 0;
        for (const Move &l : legal)
            matches += l.same_move(m);
        EXPECT_EQ(matches, 1) << c.text;
    }
}

// The draw r in 0..W-1 walks the records' weights until the rest is 0 or below, so the first record takes
// r = 0..w0 and the last one w(n)-1 values: with weights 1 and 1 the first is always chosen.
TEST_F(BookFile, WeightsDriveTheChoice) {
    Book pair = write({record(3, bk(1, 2), 1), record(3, bk(3, 4), 1)});
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(pair.get_move(3).id(), bk(1, 2));

    const std::vector<Book_record> records = {record(9, bk(8, 16), 1), record(9, bk(9, 17), 3),
                                              record(9, bk(10, 18), 6)};
    // Every draw of one period, and the same period shifted: exactly 2, 3 and 5 of every 10.
    for (const std::int64_t base : {std::int64_t{0}, std::int64_t{2147483640}}) {
        int counts[3] = {0, 0, 0};
        for (std::int64_t r = base; r < base + 10; ++r)
            ++counts[Book::choose(records, r).to().id() - 16];
        EXPECT_EQ(counts[0], 2);
        EXPECT_EQ(counts[1], 3);
        EXPECT_EQ(counts[2], 5);
    }
    EXPECT_EQ(Book::choose(records, -1).to().id(), 16);
    EXPECT_EQ(Book::choose(records, -2147483648LL).to().id(), 16);
    EXPECT_EQ(Book::choose({record(9, bk(8, 16), 0)}, 5).id(), 0);
    EXPECT_EQ(Book::choose({}, 5).id(), 0);

    // The clock is the random source: over many draws every record turns up. Its spread is not tested,
    // as an emulated or coarse clock is far from uniform in its low bits.
    int seen[3] = {0, 0, 0};
    for (int b = 0; b < 20; ++b) {
        Book book = write(records); // fresh, so the time since opening stays below 2^31 ns
        for (int i = 0; i < 200; ++i) {
            const int to = book.get_move(9).to().id();
            ASSERT_TRUE(to >= 16 && to <= 18) << to;
            ++seen[to - 16];
        }
    }
    EXPECT_GT(seen[0], 0);
    EXPECT_GT(seen[1], 0);
    EXPECT_GT(seen[2], 0);
}
