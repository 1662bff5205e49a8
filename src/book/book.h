// Opening book in the Polyglot format: 16-byte big-endian records (key, move, weight, learn) sorted by key.
#ifndef DRAVNIK_BOOK_BOOK_H
#define DRAVNIK_BOOK_BOOK_H

#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "board/move.h"

class ChessPosition;

// Book move: to 0-5, from 6-11, code 12-14 (0 plain, 1..4 promotion to knight, bishop, rook, queen).
// Castling is the king moving onto its own rook.
class BKmove {
  public:
    constexpr BKmove() : m_move(0) {}
    constexpr explicit BKmove(std::uint16_t move) : m_move(move) {}
    explicit BKmove(const Move &m);

    Square from() const { return Square((m_move >> 6) & 63); }
    Square to() const { return Square(m_move & 63); }
    int code() const { return (m_move >> 12) & 7; }
    void set_from(const Square &s) {
        m_move = static_cast<std::uint16_t>((m_move & ~0x0FC0) | (s.id() & 63) << 6);
    }
    void set_to(const Square &s) { m_move = static_cast<std::uint16_t>((m_move & ~0x003F) | (s.id() & 63)); }
    void set_code(int c) { m_move = static_cast<std::uint16_t>((m_move & ~0x7000) | (c & 7) << 12); }
    void clear() { m_move = 0; }
    bool nomove() const { return m_move == 0; }
    std::uint16_t id() const { return m_move; }
    bool operator==(const BKmove &o) const { return m_move == o.m_move; }
    bool operator!=(const BKmove &o) const { return m_move != o.m_move; }
    std::string dump() const;

    // The engine move in the given position; the empty move for 0.
    Move operator()(const ChessPosition &p) const;

  private:
    std::uint16_t m_move;
};

// One record, kept as the file's bytes.
class Book_record {
  public:
    Book_record() : m_bytes() {}
    explicit Book_record(const char *raw);

    std::uint64_t get_key() const { return get(0, 8); }
    BKmove get_move() const; // promotion codes 1..4 kept, any other code dropped
    std::uint16_t get_weight() const { return static_cast<std::uint16_t>(get(10, 2)); }
    std::uint32_t get_learn() const { return static_cast<std::uint32_t>(get(12, 4)); }
    void set_key(std::uint64_t key) { put(0, 8, key); }
    void set_move(const BKmove &m) { put(8, 2, m.id()); }
    void set_weight(std::uint16_t w) { put(10, 2, w); }
    void set_learn(std::uint32_t l) { put(12, 4, l); }
    const unsigned char *bytes() const { return m_bytes; }

    // Big-endian key bytes compare like the keys themselves.
    bool operator<(const Book_record &o) const { return compare(o) < 0; }
    bool operator<=(const Book_record &o) const { return compare(o) <= 0; }
    bool operator>(const Book_record &o) const { return compare(o) > 0; }
    bool operator>=(const Book_record &o) const { return compare(o) >= 0; }
    bool operator==(const Book_record &o) const { return compare(o) == 0; }

    static constexpr int size = 16;

  private:
    std::uint64_t get(int offset, int width) const;
    void put(int offset, int width, std::uint64_t v);
    int compare(const Book_record &o) const;
    unsigned char m_bytes[size];
};

class Book {
  public:
    Book();
    explicit Book(std::string name);

    void set_name(std::string name) { m_name = std::move(name); }
    const std::string &get_name() const { return m_name; }
    // Throws std::logic_error "Book::open() open <name> failed (1)" when the file cannot be opened.
    void open();
    bool is_open() const { return m_file.is_open(); }
    void close();
    std::int64_t get_file_size() const { return m_size; }

    // A move for the key chosen at random in proportion to the weights; 0 when there is none.
    BKmove get_move(std::uint64_t key);
    // Every record of the key in file order.
    std::vector<Book_record> get_records(std::uint64_t key);
    // The record a draw picks: the draw modulo the total weight walks the weights in file order, and a
    // negative draw picks the first record; 0 when the weights are all 0 or the walk runs off the end.
    static BKmove choose(const std::vector<Book_record> &records, std::int64_t draw);

  private:
    bool read_record(std::int64_t offset, Book_record &r);
    std::int64_t elapsed_nanoseconds() const;

    std::string m_name;
    std::ifstream m_file;
    std::int64_t m_size;
    std::chrono::steady_clock::time_point m_start; // the random source: time since construction
};

#endif
