// The transposition table: buckets of four 16-byte records indexed by the low bits of the position key.
// Shared by the search threads without locks; a torn record is possible, so every table move is checked
// for legality by the search before use.
#ifndef DRAVNIK_SEARCH_TRANSPOSITION_H
#define DRAVNIK_SEARCH_TRANSPOSITION_H

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "board/move.h"
#include "egtb/endgame_tables.h"
#include "search/large_block.h"

class ChessPosition;

enum bound_t : unsigned { upperbound = 0, lowerbound = 1, exact_value = 2 };

// The low 16 bits of a Move: to 0-5, from 6-11, code 12-14, check 15.
class TTmove {
  public:
    constexpr TTmove() : m_move(0) {}
    constexpr TTmove(unsigned short move) : m_move(move) {}
    constexpr TTmove(const Move &m) : m_move(static_cast<unsigned short>(m.word() & 0xFFFF)) {}
    TTmove &operator=(const Move &m) {
        m_move = static_cast<unsigned short>(m.word() & 0xFFFF);
        return *this;
    }

    Square from() const { return m_move ? Square((m_move >> 6) & 63) : Square(); }
    Square to() const { return m_move ? Square(m_move & 63) : Square(); }
    void from(char s) { m_move = static_cast<unsigned short>((m_move & ~0x0FC0) | ((s & 63) << 6)); }
    void to(char s) { m_move = static_cast<unsigned short>((m_move & ~0x003F) | (s & 63)); }
    constexpr move_t code() const { return static_cast<move_t>((m_move >> 12) & 7); }
    constexpr unsigned short id() const { return m_move; }
    constexpr bool nomove() const { return m_move == 0; }
    void clear() { m_move = 0; }
    constexpr bool operator==(const TTmove &o) const { return m_move == o.m_move; }
    constexpr bool operator!=(const TTmove &o) const { return m_move != o.m_move; }

    // The full move in the given position: moving and captured piece from the board, ordering class 0.
    Move operator()(const ChessPosition &p) const;
    Piece piece(const ChessPosition &p) const;
    Piece capture(const ChessPosition &p) const;
    std::string algebraic(const ChessPosition &p) const;

  private:
    unsigned short m_move;
};

// Two plain words so that a copy is two loads and two stores. Value layout (bit 0 lowest): 0-7 zero,
// 8-15 date, 16-23 draft, 24-31 bound, 32-47 score, 48-63 move. The field setters OR into the word and
// expect a cleared record; set_score replaces its field.
class TTrecord {
  public:
    constexpr TTrecord() : m_key(0), m_value(0) {}
    constexpr TTrecord(std::uint64_t key, std::uint64_t value) : m_key(key), m_value(value) {}
    void clear() { m_key = m_value = 0; }

    constexpr std::uint64_t get_key() const { return m_key; }
    void set_key(std::uint64_t key) { m_key = key; }
    constexpr std::uint64_t get_value() const { return m_value; }
    void set_value(std::uint64_t value) { m_value = value; }

    constexpr unsigned char get_date() const { return static_cast<unsigned char>(m_value >> 8); }
    void set_date(unsigned char date) { m_value |= static_cast<std::uint64_t>(date) << 8; }
    constexpr int get_draft() const { return static_cast<int>((m_value >> 16) & 0xFF); }
    void set_draft(int draft) { m_value |= static_cast<std::uint64_t>(draft & 0xFF) << 16; }
    constexpr bound_t get_bound() const { return static_cast<bound_t>((m_value >> 24) & 0xFF); }
    void set_bound(bound_t b) { m_value |= static_cast<std::uint64_t>(b & 0xFF) << 24; }
    constexpr bool is_upperbound() const { return get_bound() == upperbound; }
    constexpr bool is_lowerbound() const { return get_bound() == lowerbound; }
    constexpr bool is_exact_value() const { return get_bound() == exact_value; }
    constexpr TTmove get_move() const { return TTmove(static_cast<unsigned short>(m_value >> 48)); }
    void set_move(const TTmove &m) { m_value |= static_cast<std::uint64_t>(m.id()) << 48; }

    // Mate scores are stored as distance from the storing node, so they stay true at any ply.
    int get_score(const int &ply) const;
    void set_score(const int &score, const int &ply);

    constexpr bool operator==(const TTrecord &o) const { return m_key == o.m_key && m_value == o.m_value; }
    constexpr bool operator!=(const TTrecord &o) const { return !(*this == o); }

    static constexpr std::uint64_t move_mask = 0xFFFF000000000000ULL;

  private:
    std::uint64_t m_key;
    std::uint64_t m_value;
};

// One cache line: a probe touches exactly one.
class alignas(64) Bucket {
  public:
    Bucket() = default;
    void write(const TTrecord &r);
    bool read(TTrecord &r) const;
    int has_date(unsigned char date) const;
    void clear();
    std::string dump() const;

    TTrecord &operator[](int i) { return m_record[i]; }
    const TTrecord &operator[](int i) const { return m_record[i]; }

    // Draft value of an exact entry in the replacement rule; also caps record 0's draft.
    static constexpr int exact_protection = 102;
    static constexpr int records = 4;

  private:
    TTrecord m_record[records];
};

static_assert(sizeof(Bucket) == 64, "a bucket must fill exactly one cache line");

// Thrown by set_size when the new table cannot be allocated; the old table is then left as it was.
class TTAllocationError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class TranspositionTable : public MemoryLender {
  public:
    TranspositionTable();
    TranspositionTable(const TranspositionTable &) = delete;
    TranspositionTable &operator=(const TranspositionTable &) = delete;

    // Rounds megabytes * 16384 down to a power of two; below 6 MB counts as 6. Throws TTAllocationError
    // (table unchanged) when the process cannot allocate the new table.
    void set_size(int megabytes);
    int get_size() const { return static_cast<int>((m_count * sizeof(Bucket)) >> 20); }
    std::uint64_t get_count() const { return m_count; }
    std::uint64_t bytes() const { return m_count * sizeof(Bucket); }

    void clear();
    // Clears by writing every bucket, also of a table nothing has written yet: the system hands over the
    // pages of fresh memory now instead of while a search first stores into them.
    void clear_every_page();
    // The first n bytes of the table are lent out as a plain buffer; the buckets they cover are excluded.
    // Atomic because the owner of the lent bytes moves it while a second search thread probes the table.
    void set_threshold(int n) {
        m_threshold.store(static_cast<std::uint64_t>(static_cast<std::int64_t>(n) >> 6),
                          std::memory_order_relaxed);
    }
    std::uint64_t get_threshold() const { return m_threshold.load(std::memory_order_relaxed); }
    // The borrower writes the bytes: the table no longer counts as untouched.
    unsigned char *get_uchar_adress() {
        m_pristine.store(false, std::memory_order_relaxed);
        return reinterpret_cast<unsigned char *>(m_buckets);
    }

    // The endgame tables borrow the start of the table through these.
    unsigned char *lend(std::size_t bytes) override;
    void take_back() override;
    bool lending() const override { return get_threshold() != 0; }

    bool enabled() const { return m_enabled; }
    void set_enabled(bool on) { m_enabled = on; }

    bool read(TTrecord &r) const {
        if (!m_enabled) return false;
        const std::uint64_t index = r.get_key() & (m_count - 1);
        if (index <= get_threshold()) return false;
        return m_buckets[index].read(r);
    }
    void write(const TTrecord &r) {
        if (!m_enabled) return;
        const std::uint64_t index = r.get_key() & (m_count - 1);
        if (index <= get_threshold()) return;
        // Read before written so that the flag's cache line stays shared between the search threads.
        if (m_pristine.load(std::memory_order_relaxed)) m_pristine.store(false, std::memory_order_relaxed);
        m_buckets[index].write(r);
    }

    // Starts loading the bucket of a key that the search will probe soon.
    void prefetch(std::uint64_t key) const { __builtin_prefetch(&m_buckets[key & (m_count - 1)]); }

    // Per mille of the records that carry the date, in the first 1000 buckets the table owns (past any
    // an endgame table borrows).
    int hashfull(unsigned char date) const;

    static constexpr std::uint64_t buckets_per_megabyte = 16384;
    static constexpr std::uint64_t default_buckets = 2097152;

  private:
    // Zeroed buckets in large pages, every page touched before the search starts (see LargeBlock); null
    // when they cannot be had.
    static Bucket *allocate(std::uint64_t count, LargeBlock &block);

    Bucket *m_buckets;
    std::uint64_t m_count;
    std::atomic<std::uint64_t> m_threshold;
    bool m_enabled;
    LargeBlock m_block; // the buckets' memory
    // True while every bucket is known to be zero (fresh memory, or cleared and not written since), so
    // that a clear can skip the writing.
    std::atomic<bool> m_pristine;
};

#endif
