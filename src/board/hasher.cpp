#include "board/hasher.h"

#include <random>

#include "board/chessposition.h"

HashKeys::HashKeys() : m_polyglot{}, m_second{} {
    // Polyglot order: for each kind the black block comes first, then the white one.
    for (int kind = 1; kind <= 6; ++kind)
        for (int s = 0; s < 64; ++s) {
            m_polyglot.piece[8 + kind][s] = rndh[(2 * kind - 2) * 64 + s];
            m_polyglot.piece[kind][s] = rndh[(2 * kind - 1) * 64 + s];
        }
    for (int i = 0; i < 4; ++i)
        m_polyglot.castle[i] = rndh[768 + i];
    for (int f = 0; f < 8; ++f)
        m_polyglot.ep[f] = rndh[772 + f];
    m_polyglot.turn = rndh[780];

    // The pawn key: sparse keys (each bit set with probability 1/8) from a fixed seed.
    std::mt19937_64 gen(5633491);
    std::uniform_int_distribution<unsigned long long> dist(1, 0xFFFFFFFFFFFFFFFFULL);
    auto draw = [&] {
        const std::uint64_t a = dist(gen);
        const std::uint64_t b = dist(gen);
        const std::uint64_t c = dist(gen);
        return a & b & c;
    };
    for (int s = 0; s < 64; ++s)
        m_second.piece[wpawn][s] = draw();
    for (int s = 0; s < 64; ++s)
        m_second.piece[bpawn][s] = draw();
    for (auto &k : m_second.castle)
        k = draw();
    for (auto &k : m_second.ep)
        k = draw();
    m_second.turn = draw();
}

Hasher<1>::Hasher(const BoardTables &tables)
    : m_keys(&tables.keys().polyglot()), m_second_keys(&tables.keys().second()), m_position(nullptr) {
    m_first.reserve(1024);
    m_second.reserve(1024);
    m_first.push_back(0);
    m_second.push_back(0);
}

void Hasher<1>::init(const ChessPosition *position) {
    m_position = position;
    std::uint64_t k1 = 0, k2 = 0;
    for (int s = 0; s < 64; ++s) {
        const int p = position->get_piece_id_from(Square(s));
        k1 ^= m_keys->piece[p][s];
        k2 ^= m_second_keys->piece[p][s];
    }
    m_first.clear();
    m_second.clear();
    m_first.push_back(k1);
    m_second.push_back(k2);
}

namespace {
// The squares a move changes, as (piece, square) pairs to toggle in a key; n of them.
struct Toggles {
    int piece[4];
    int square[4];
    int n;
};

Toggles toggles(const Move &m) {
    const int from = m.from_id(), to = m.to_id(), p = m.piece_id(), c = m.capture_id();
    const int colour = p & 8;
    switch (m.code()) {
    case normal_move:
        return {{p, p, c, 0}, {from, to, to, 0}, 3};
    case promo_queen:
    case promo_rook:
    case promo_bishop:
    case promo_knight:
        return {{p, wqueen - static_cast<int>(m.code() - promo_queen) + colour, c, 0}, {from, to, to, 0}, 3};
    case castling:
        return {{p, p, wrook + colour, wrook + colour},
                {from, BoardPosition::castle_king_to(from, to), to, BoardPosition::castle_rook_to(from, to)},
                4};
    case en_passant:
        return {{p, p, c, 0}, {from, to, colour ? to + 8 : to - 8, 0}, 3};
    default:
        return {{0, 0, 0, 0}, {0, 0, 0, 0}, 0};
    }
}
} // namespace

void Hasher<1>::make_move(const Move &m) {
    // Both keys toggle the same (piece, square) pairs; the second set is zero for all but pawns.
    std::uint64_t k1 = m_first.back(), k2 = m_second.back();
    if (m.word() != 0) {
        const Toggles t = toggles(m);
        for (int i = 0; i < t.n; ++i) {
            k1 ^= m_keys->piece[t.piece[i]][t.square[i]];
            k2 ^= m_second_keys->piece[t.piece[i]][t.square[i]];
        }
    }
    m_first.push_back(k1);
    m_second.push_back(k2);
}

void Hasher<1>::unmake_move() {
    if (m_first.size() > 1) {
        m_first.pop_back();
        m_second.pop_back();
    }
}

std::uint64_t Hasher<1>::fold(const KeySet &keys, std::uint64_t key, unsigned castling, int ep_square,
                              int stm) {
    if (castling & 0x0080) key ^= keys.castle[0];
    if (castling & 0x0001) key ^= keys.castle[1];
    if (castling & 0x8000) key ^= keys.castle[2];
    if (castling & 0x0100) key ^= keys.castle[3];
    // Chess960 rook files are not in the Polyglot scheme: mix the mask in so such rights still differ.
    if (castling & 0x7E7E) key ^= castling;
    if (ep_square != 64) key ^= keys.ep[ep_square & 7];
    return key ^ keys.turn * static_cast<std::uint64_t>(stm);
}

std::uint64_t Hasher<1>::hash() const {
    return fold(*m_keys, m_first.back(), m_position->castlingrights(), m_position->ep().id(),
                m_position->stm());
}

void Rep3filter::init(std::uint64_t key) {
    m_keys.clear();
    m_keys.push_back(key);
}

bool Rep3filter::repetition() const {
    const int n = static_cast<int>(m_keys.size());
    for (int i = n - 2; i >= 0; --i) {
        if (m_keys[i] == 0) return false;
        if (m_keys[i] == m_keys[n - 1]) return true;
    }
    return false;
}

std::string Rep3filter::result() const {
    const std::size_t n = m_keys.size();
    if (n < 3) return "*";
    int last = 0, before = 0;
    for (std::uint64_t k : m_keys) {
        if (k == 0) continue;
        last += k == m_keys[n - 1];
        before += k == m_keys[n - 2];
    }
    return (last >= 3 || before >= 3) ? "1/2-1/2 {Draw by threefold repetition}" : "*";
}
