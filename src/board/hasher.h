// Incremental position keys. The stacks hold the piece-square part; castling, en passant and the
// side to move are folded in when the full key is asked for.
#ifndef DRAVNIK_BOARD_HASHER_H
#define DRAVNIK_BOARD_HASHER_H

#include <cstdint>
#include <string>
#include <vector>

#include "board/hashkeys.h"
#include "board/move.h"

class BoardTables;
class ChessPosition;

template <int N> class Hasher;

template <> class Hasher<1> {
  public:
    explicit Hasher(const BoardTables &tables);
    void init(const ChessPosition *position);
    void set_position(const ChessPosition *position) { m_position = position; }
    void make_move(const Move &m);
    void unmake_move();
    std::uint64_t hash() const;                                // full key of the position
    std::uint64_t pawn_key() const { return m_second.back(); } // second set: pawns only
    std::uint64_t piece_key() const { return m_first.back(); }
    // Full key from a piece-square part and the position's castling, en-passant and turn state.
    static std::uint64_t fold(const KeySet &keys, std::uint64_t piece_key, unsigned castling, int ep_square,
                              int stm);

  private:
    const KeySet *m_keys;
    const KeySet *m_second_keys;
    const ChessPosition *m_position;
    std::vector<std::uint64_t> m_first;
    std::vector<std::uint64_t> m_second;
};

// Keys of the game and search history with a zero barrier before every position after an irreversible move.
class Rep3filter {
  public:
    Rep3filter() = default;
    void init(std::uint64_t key);
    // Inline: the position calls these on every move it makes and takes back.
    void add(const Move &m, std::uint64_t key) {
        if (m.piece().pawn() || m.capture_id() != 0) m_keys.push_back(0);
        m_keys.push_back(key);
    }
    // The search's pass: no repetition reaches back across it, so it stands behind a barrier too.
    void add_after_null_move(std::uint64_t key) {
        m_keys.push_back(0);
        m_keys.push_back(key);
    }
    void remove() {
        if (m_keys.empty()) return;
        m_keys.pop_back();
        if (!m_keys.empty() && m_keys.back() == 0) m_keys.pop_back();
    }
    // The key of the current position, and its replacement when a set-up detail changes it.
    std::uint64_t last() const { return m_keys.back(); }
    void replace_last(std::uint64_t key) { m_keys.back() = key; }
    void reserve(std::size_t n) { m_keys.reserve(n); }
    bool repetition() const;
    std::string result() const;
    bool operator==(const Rep3filter &o) const { return m_keys == o.m_keys; }
    bool operator!=(const Rep3filter &o) const { return m_keys != o.m_keys; }

  private:
    std::vector<std::uint64_t> m_keys;
};

#endif
