#include "board/chessposition.h"

#include <chrono>
#include <cstdio>
#include <random>
#include <sstream>
#include <stdexcept>

int cp_id = 0;

namespace {
constexpr int promoted_kind(move_t code) { return 7 - static_cast<int>(code); } // queen 5 .. knight 2

int piece_from_letter(char c) {
    switch (c) {
    case 'P':
        return wpawn;
    case 'N':
        return wknight;
    case 'B':
        return wbishop;
    case 'R':
        return wrook;
    case 'Q':
        return wqueen;
    case 'K':
        return wking;
    case 'p':
        return bpawn;
    case 'n':
        return bknight;
    case 'b':
        return bbishop;
    case 'r':
        return brook;
    case 'q':
        return bqueen;
    case 'k':
        return bking;
    default:
        return 0;
    }
}

const char piece_letters[16] = {'.', 'P', 'N', 'B', 'R', 'Q', 'K', '?',
                                '?', 'p', 'n', 'b', 'r', 'q', 'k', '?'};
} // namespace

// ---------------------------------------------------------------------------------------------------------
// BoardPosition

BoardPosition::BoardPosition() { clear(); }

void BoardPosition::clear() {
    for (auto &b : m_pieces)
        b.clear();
    m_white.clear();
    m_black.clear();
    m_all.clear();
    m_stm = 1;
    for (int &p : m_board)
        p = 0;
}

void BoardPosition::set_piece_on(const Square &s, int piece) {
    const BitBoard &b = Square::bb[s.id()];
    m_pieces[piece] |= b;
    (piece & 8 ? m_black : m_white) |= b;
    m_all |= b;
    m_board[s.id()] = piece;
}

void BoardPosition::remove_piece_from(const Square &s, int piece) {
    const std::uint64_t keep = ~Square::bb[s.id()].value();
    m_pieces[piece] &= keep;
    (piece & 8 ? m_black : m_white) &= keep;
    m_all &= keep;
    m_board[s.id()] = 0;
}

void BoardPosition::compute_pieces() {
    m_white.clear();
    m_black.clear();
    for (int p = wpawn; p <= wking; ++p) {
        m_white |= m_pieces[p];
        m_black |= m_pieces[p + 8];
    }
    m_all = m_white | m_black;
}

void BoardPosition::make_move(const Move &m) {
    const int from = m.from_id(), to = m.to_id(), p = m.piece_id(), c = m.capture_id();
    switch (m.code()) {
    case normal_move:
        // The common case in one pass: the mover's and the colour sets flip both squares, a victim leaves.
        if (c) take(to, c);
        shift(from, to, p);
        break;
    case promo_queen:
    case promo_rook:
    case promo_bishop:
    case promo_knight:
        if (c) remove_piece_from(to, c);
        remove_piece_from(from, p);
        set_piece_on(to, promoted_kind(m.code()) + (p & 8));
        break;
    case castling: {
        const int rook = wrook + (p & 8);
        remove_piece_from(from, p);
        remove_piece_from(to, rook);
        set_piece_on(castle_king_to(from, to), p);
        set_piece_on(castle_rook_to(from, to), rook);
        break;
    }
    case en_passant:
        remove_piece_from(p & 8 ? to + 8 : to - 8, c);
        shift(from, to, p);
        break;
    default: // null move
        break;
    }
    m_stm ^= 1;
}

void BoardPosition::unmake_move(const Move &m) {
    const int from = m.from_id(), to = m.to_id(), p = m.piece_id(), c = m.capture_id();
    m_stm ^= 1;
    switch (m.code()) {
    case normal_move:
        shift(to, from, p);
        if (c) put(to, c);
        break;
    case promo_queen:
    case promo_rook:
    case promo_bishop:
    case promo_knight:
        remove_piece_from(to, promoted_kind(m.code()) + (p & 8));
        set_piece_on(from, p);
        if (c) set_piece_on(to, c);
        break;
    case castling: {
        const int rook = wrook + (p & 8);
        remove_piece_from(castle_king_to(from, to), p);
        remove_piece_from(castle_rook_to(from, to), rook);
        set_piece_on(from, p);
        set_piece_on(to, rook);
        break;
    }
    case en_passant:
        shift(to, from, p);
        set_piece_on(p & 8 ? to + 8 : to - 8, c);
        break;
    default:
        break;
    }
}

void BoardPosition::flip() {
    BoardPosition old = *this;
    clear();
    for (int s = 0; s < 64; ++s)
        if (old.m_board[s]) set_piece_on(s ^ 56, old.m_board[s] ^ 8);
    m_stm = old.m_stm ^ 1;
}

void BoardPosition::flop() {
    BoardPosition old = *this;
    clear();
    for (int s = 0; s < 64; ++s)
        if (old.m_board[s]) set_piece_on(::flop(Square(s)), old.m_board[s]);
    m_stm = old.m_stm;
}

bool BoardPosition::consistent() const {
    BitBoard white, black, seen;
    for (int p = 1; p < 16; ++p) {
        if ((p == 7 || p == 8 || p == 15) && m_pieces[p]) return false;
        if (seen & m_pieces[p]) return false;
        seen |= m_pieces[p];
        (p & 8 ? black : white) |= m_pieces[p];
        for (std::uint64_t b = m_pieces[p].value(); b;)
            if (m_board[BitBoard::get_reset_square(b).id()] != p) return false;
    }
    if (m_pieces[0] || white != m_white || black != m_black || (white | black) != m_all) return false;
    for (int s = 0; s < 64; ++s)
        if (m_board[s] < 0 || m_board[s] > 15 ||
            ((m_board[s] != 0) != static_cast<bool>(m_all & Square::bb[s])))
            return false;
    return true;
}

bool BoardPosition::operator==(const BoardPosition &o) const {
    for (int p = 0; p < 16; ++p)
        if (m_pieces[p] != o.m_pieces[p]) return false;
    return m_stm == o.m_stm;
}

std::string BoardPosition::dump() const {
    static const char *names[16] = {nullptr,       "white pawn:",  "white knight:", "white bishop:",
                                    "white rook:", "white queen:", "white king:",   nullptr,
                                    nullptr,       "black pawn:",  "black knight:", "black bishop:",
                                    "black rook:", "black queen:", "black king:",   nullptr};
    std::ostringstream os;
    for (int p = 1; p < 15; ++p)
        if (names[p]) os << names[p] << "\n" << m_pieces[p].dump();
    os << "side to move: " << (m_stm ? "white" : "black") << "\n";
    return os.str();
}

void BoardPosition::fen(const std::string &board, const std::string &side) {
    clear();
    int rank = 7, file = 0;
    for (char ch : board) {
        if (ch == '/') {
            if (--rank < 0)
                throw std::logic_error("ChessPosition::fen(" + board + ") \nmore than eight ranks");
            file = 0;
        } else if (ch >= '1' && ch <= '8') {
            file += ch - '0';
            if (file > 8)
                throw std::logic_error("ChessPosition::fen(" + board + ") \nrank longer than eight squares");
        } else {
            const int p = piece_from_letter(ch);
            if (!p) {
                char hex[8];
                std::snprintf(hex, sizeof hex, "%x", static_cast<unsigned>(static_cast<unsigned char>(ch)));
                throw std::logic_error("ChessPosition::fen(" + board + ") \nunkown piece 0x" + hex);
            }
            if (file > 7)
                throw std::logic_error("ChessPosition::fen(" + board + ") \nrank longer than eight squares");
            set_piece_on(Square(8 * rank + file), p);
            ++file;
        }
    }
    m_stm = side == "w" ? 1 : 0;
}

// ---------------------------------------------------------------------------------------------------------
// ChessPosition

ChessPosition::ChessPosition(const BoardTables &tables)
    : m_tables(&tables), m_moveno(1), m_id(++cp_id), m_chess960(false), m_hasher(tables),
      m_make_move_counter(0) {
    m_history.reserve(1024);
    m_keys.reserve(2048);
    clear();
}

ChessPosition::ChessPosition(const ChessPosition &o)
    : BoardPosition(o), m_tables(o.m_tables), m_history(o.m_history), m_keys(o.m_keys), m_moveno(o.m_moveno),
      m_id(++cp_id), m_chess960(o.m_chess960), m_material(o.m_material), m_hasher(o.m_hasher),
      m_make_move_counter(o.m_make_move_counter), m_initial(o.m_initial) {
    m_history.reserve(1024);
    m_keys.reserve(2048);
    m_hasher.set_position(this);
}

ChessPosition &ChessPosition::operator=(const ChessPosition &o) {
    if (this == &o) return *this;
    BoardPosition::operator=(o);
    m_tables = o.m_tables;
    m_history = o.m_history;
    m_keys = o.m_keys;
    m_moveno = o.m_moveno;
    m_chess960 = o.m_chess960;
    m_material = o.m_material;
    m_hasher = o.m_hasher;
    m_hasher.set_position(this);
    m_make_move_counter = o.m_make_move_counter;
    m_initial = o.m_initial;
    return *this;
}

void ChessPosition::clear() { fen("8/8/8/8/8/8/8/8 w - - 0 1"); }

void ChessPosition::newgame() { fen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"); }

void ChessPosition::newgame960(int n) {
    if (static_cast<unsigned>(n) >= 960) {
        const auto ticks = std::chrono::system_clock::now().time_since_epoch().count();
        unsigned long seed = static_cast<unsigned long>((ticks / 1000000) % 2147483647);
        std::minstd_rand0 gen(seed ? seed : 1);
        n = std::uniform_int_distribution<int>(0, 959)(gen);
    }
    char rank[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    rank[2 * (n / 240)] = 'B';
    rank[2 * ((n % 240) / 60) + 1] = 'B';
    auto place_on_free = [&rank](int k, char piece) {
        for (int f = 0; f < 8; ++f)
            if (!rank[f] && k-- == 0) {
                rank[f] = piece;
                return;
            }
        throw std::logic_error("ChessPosition::newgame960");
    };
    place_on_free((n % 60) / 10, 'Q');
    static const int pairs[10][2] = {{0, 1}, {0, 2}, {0, 3}, {0, 4}, {1, 2},
                                     {1, 3}, {1, 4}, {2, 3}, {2, 4}, {3, 4}};
    const int *pair = pairs[n % 10];
    place_on_free(pair[1], 'N'); // the higher one first so the lower index still counts the same squares
    place_on_free(pair[0], 'N');
    place_on_free(0, 'R');
    place_on_free(0, 'K');
    place_on_free(0, 'R');
    std::string white(rank, 8), black = white, castle;
    for (char &c : black)
        c = static_cast<char>(c - 'A' + 'a');
    for (int f = 0; f < 8; ++f)
        if (rank[f] == 'R') castle += static_cast<char>('A' + f);
    for (int f = 0; f < 8; ++f)
        if (rank[f] == 'R') castle += static_cast<char>('a' + f);
    fen(black + "/pppppppp/8/8/8/8/PPPPPPPP/" + white + " w " + castle + " - 0 1");
}

void ChessPosition::fen(const std::string &text) {
    std::istringstream in(text);
    std::string field[6];
    for (auto &f : field)
        in >> f;
    if (field[1].empty()) field[1] = "w";
    if (field[2].empty()) field[2] = "-";
    if (field[3].empty()) field[3] = "-";
    if (field[4].empty()) field[4] = "0";
    if (field[5].empty()) field[5] = "1";

    BoardPosition::fen(field[0], field[1]);
    m_initial = field[0] + " " + field[1] + " " + field[2] + " " + field[3] + " " + field[4] + " " + field[5];

    std::uint16_t rights = 0;
    auto scan = [this](int rook, std::initializer_list<int> squares, int fallback) {
        for (int s : squares)
            if (m_board[s] == rook) return 1 << (s & 7);
        return 1 << fallback;
    };
    for (char c : field[2]) {
        if (c >= 'A' && c <= 'H')
            rights |= 1 << (c - 'A');
        else if (c >= 'a' && c <= 'h')
            rights |= 1 << (8 + c - 'a');
        else if (c == 'K')
            rights |= scan(wrook, {7, 6, 5, 4, 3, 2}, 1);
        else if (c == 'Q')
            rights |= scan(wrook, {0, 1, 2, 3, 4, 5}, 6);
        else if (c == 'k')
            rights |= scan(brook, {63, 62, 61, 60, 59, 58}, 1) << 8;
        else if (c == 'q')
            rights |= scan(brook, {56, 57, 58, 59, 60, 61}, 6) << 8;
    }

    Square ep;
    if (field[3][0] >= 'a' && field[3][0] <= 'h') {
        const int file = field[3][0] - 'a';
        ep = Square(field[3].size() > 1 && field[3][1] == '3' ? 16 + file : 40 + file);
        // Without the pawn that has just passed over it the square is garbage: taken as written, a pawn
        // would capture one that is not there and leave the board corrupt.
        const bool white = m_stm == 1;
        const int passed = ep.id() + (white ? -8 : 8), origin = ep.id() + (white ? 8 : -8);
        const bool double_step = ep.rank_number() == (white ? 5 : 2) && m_board[ep.id()] == 0 &&
                                 m_board[origin] == 0 && m_board[passed] == (white ? bpawn : wpawn);
        if (!double_step) ep = Square();
    }

    unsigned long dfz = 0;
    int moveno = 1;
    try {
        dfz = std::stoul(field[4]);
    } catch (const std::exception &) {
        dfz = 0;
    }
    try {
        moveno = std::stoi(field[5]);
    } catch (const std::exception &) {
        moveno = 1;
    }
    setup(static_cast<std::uint16_t>(rights), ep, static_cast<std::uint16_t>(dfz), moveno);
}

void ChessPosition::setup(std::uint16_t castling, Square ep, std::uint16_t dfz, int moveno) {
    m_moveno = static_cast<std::uint16_t>(moveno);
    m_history.clear();
    HistoryEntry e{};
    e.castling = castling;
    e.dfz = dfz;
    e.ep = ep;
    e.sq1 = Square();
    e.sq2 = Square();
    m_history.push_back(e);
    if (m_pieces[wking] && m_pieces[bking]) find_pinned_pieces();
    m_hasher.init(this);
    m_history.back().pawnhash = m_hasher.pawn_key();
    m_keys.init(m_hasher.hash());
    m_history.back().check = look_for_check() ? 1 : 0;
    m_material = compute_materialindex();
}

std::string ChessPosition::fen() const {
    std::string out;
    for (int rank = 7; rank >= 0; --rank) {
        int empty = 0;
        for (int file = 0; file < 8; ++file) {
            const int p = m_board[8 * rank + file];
            if (!p) {
                ++empty;
                continue;
            }
            if (empty) out += static_cast<char>('0' + empty);
            empty = 0;
            out += piece_letters[p];
        }
        if (empty) out += static_cast<char>('0' + empty);
        if (rank) out += '/';
    }
    out += m_stm ? " w " : " b ";
    const unsigned rights = castlingrights();
    std::string castle;
    if (!(rights & 0x7E7E) && !m_chess960) {
        if (rights & 0x0080) castle += 'K';
        if (rights & 0x0001) castle += 'Q';
        if (rights & 0x8000) castle += 'k';
        if (rights & 0x0100) castle += 'q';
    } else {
        for (int f = 0; f < 8; ++f)
            if (rights & (1u << f)) castle += static_cast<char>('A' + f);
        for (int f = 0; f < 8; ++f)
            if (rights & (1u << (8 + f))) castle += static_cast<char>('a' + f);
    }
    out += castle.empty() ? "-" : castle;
    out += " " + (ep().id() == 64 ? std::string("-") : ep().name());
    out += " " + std::to_string(get_dfz()) + " " + std::to_string(m_moveno);
    return out;
}

std::string ChessPosition::epd() const {
    const std::string full = fen();
    std::size_t pos = full.size();
    for (int i = 0; i < 2; ++i)
        pos = full.rfind(' ', pos - 1);
    return full.substr(0, pos);
}

Move ChessPosition::convert_to_move(const std::string &text) const {
    auto bad = [&text](const char *why) {
        return std::logic_error("ChessPosition::convert_to_move(const string& " + text + ") " + why);
    };
    if (text.size() < 4 || text.size() > 5) throw bad("length");
    for (int i : {0, 2})
        if (text[i] < 'a' || text[i] > 'h') throw bad("file out of range");
    for (int i : {1, 3})
        if (text[i] < '1' || text[i] > '8') throw bad("rank out of range");
    std::string t = text.substr(0, 4);
    // Standard castling texts become king-takes-own-rook when the board allows it.
    auto is = [this](const char *sq, int piece) { return m_board[Square(std::string(sq)).id()] == piece; };
    if (t == "e1g1" && is("e1", wking) && is("g1", 0) && is("h1", wrook))
        t = "e1h1";
    else if (t == "e1c1" && is("e1", wking) && is("c1", 0) && is("a1", wrook))
        t = "e1a1";
    else if (t == "e8g8" && is("e8", bking) && is("g8", 0) && is("h8", brook))
        t = "e8h8";
    else if (t == "e8c8" && is("e8", bking) && is("c8", 0) && is("a8", brook))
        t = "e8a8";
    const Square from(t.substr(0, 2)), to(t.substr(2, 2));
    const int p = m_board[from.id()], c = m_board[to.id()];
    // Moves are trusted, but one that does not even move a piece of the side to move would corrupt the board.
    if (!p || (p & 8) != (m_stm ? 0 : 8)) throw bad("no piece of the side to move on the origin");
    if (c && (c & 8) == (p & 8) && !((p & 7) == 6 && (c & 7) == 4)) throw bad("target holds an own piece");
    if ((c & 7) == 6) throw bad("captures a king");

    move_t code = normal_move;
    if ((p & 7) == 6 && c == wrook + (p & 8)) {
        code = castling;
    } else if ((p & 7) == 1 && to == ep() && from.file_number() != to.file_number() && !c) {
        code = en_passant;
    } else if ((p & 7) == 1 && (to.rank_number() == 7 || to.rank_number() == 0)) {
        const char promo = text.size() == 5 ? text[4] : 'q';
        code = promo == 'r'   ? promo_rook
               : promo == 'b' ? promo_bishop
               : promo == 'n' ? promo_knight
                              : promo_queen;
    }
    return convert_to_move(from, to, code);
}

Move ChessPosition::convert_to_move(const Square &from, const Square &to, move_t code) const {
    const int p = m_board[from.id()];
    int c = m_board[to.id()];
    if (code == castling) c = 0;
    if (code == en_passant) c = p == wpawn ? bpawn : wpawn;
    return Move(from, to, code, Piece(p), Piece(c));
}

void ChessPosition::make_move(const Move &m) {
    ++m_make_move_counter;
    const int p = m.piece_id(), from = m.from_id(), to = m.to_id();
    const bool null = m.word() == 0;
    const bool irreversible = null || (p & 7) == 1 || m.capture_id() != 0;
    m_history.push_back(m_history.back());
    HistoryEntry &e = m_history.back();
    e.move = m;
    e.sq1 = Square();
    e.sq2 = Square();
    BoardPosition::make_move(m);
    if (!null) {
        std::uint16_t rights = e.castling;
        if (p == wking) rights &= 0xFF00;
        if (p == bking) rights &= 0x00FF;
        for (int s : {from, to}) {
            if (s < 8)
                rights &= ~(1u << s);
            else if (s >= 56)
                rights &= ~(1u << (s - 48));
        }
        e.castling = rights;
    }
    e.dfz = irreversible && !null ? 0 : static_cast<std::uint16_t>(e.dfz + 1);
    e.ep = Square();
    if ((p & 7) == 1 && (to - from == 16 || from - to == 16)) {
        // Deliberately without file masks: the key then carries the file whenever the square is set.
        const std::uint64_t beside = (Square::bb[to].value() << 1) | (Square::bb[to].value() >> 1);
        if (beside & m_pieces[p ^ 8].value()) e.ep = Square((from + to) / 2);
    }
    if (m_stm) ++m_moveno; // the move number rises after black's move
    m_material.make_move(m);
    m_hasher.make_move(m);
    e.pawnhash = m_hasher.pawn_key();
    if (null)
        m_keys.add_after_null_move(m_hasher.hash());
    else
        m_keys.add(m, m_hasher.hash());
    e.check = find_pins_and_check() ? 1 : 0;
}

void ChessPosition::unmake_move() {
    if (m_history.size() < 2) return;
    const Move m = m_history.back().move;
    BoardPosition::unmake_move(m);
    if (m_stm == 0) --m_moveno;
    m_material.unmake_move(m);
    m_hasher.unmake_move();
    m_history.pop_back();
    m_keys.remove();
}

void ChessPosition::find_pinned_pieces() { find_pins_and_check(); }

bool ChessPosition::find_pins_and_check() {
    const Connections &cn = m_tables->connections();
    std::uint64_t pinned = 0, discovering = 0;
    bool check = false;
    const std::uint64_t all = m_all.value(), white = m_white.value();
    for (int colour = 0; colour < 2; ++colour) { // colour 0: white king, 1: black king
        const int own = colour ? 8 : 0, enemy = colour ? 0 : 8;
        const std::uint64_t kb = m_pieces[wking + own].value();
        if (!kb) continue;
        const Square k = BitBoard::first_square(kb);
        const std::uint64_t sliders =
            (cn.rook_attacks(k) & (m_pieces[wrook + enemy] | m_pieces[wqueen + enemy])).value() |
            (cn.bishop_attacks(k) & (m_pieces[wbishop + enemy] | m_pieces[wqueen + enemy])).value();
        const bool to_move = colour == (m_stm ^ 1);
        for (std::uint64_t s = sliders; s; s &= s - 1) {
            const std::uint64_t between = cn.line_segment(k, BitBoard::first_square(s)).value() & all;
            if (!between) {
                check |= to_move; // an open line: the slider gives check
                continue;
            }
            if (between & (between - 1)) continue; // two or more blockers
            // A lone blocker of the king's own colour is pinned; one of the slider's colour discovers.
            if ((between & white) ? !own : own)
                pinned |= between;
            else
                discovering |= between;
        }
        if (to_move && !check) {
            const Attacks &a = m_tables->attacks();
            // The enemy's pawns that would attack the king: white ones below a black king, and the reverse.
            const std::uint64_t pawn_from = own ? pawn_attack_origins<1>(kb) : pawn_attack_origins<0>(kb);
            check = (pawn_from & m_pieces[wpawn + enemy].value()) ||
                    (a.knight(k) & m_pieces[wknight + enemy]) || (a.king(k) & m_pieces[wking + enemy]);
        }
    }
    HistoryEntry &e = m_history.back();
    e.pinned = BitBoard(pinned);
    e.discovering = BitBoard(discovering);
    return check;
}

bool ChessPosition::look_for_check() const {
    if (m_stm) return m_pieces[wking] && static_cast<bool>(black_attackers(m_pieces[wking]));
    return m_pieces[bking] && static_cast<bool>(white_attackers(m_pieces[bking]));
}

std::string ChessPosition::setup_error() const {
    if (m_pieces[wking].popcount() != 1 || m_pieces[bking].popcount() != 1)
        return "a position needs exactly one king of each colour";
    if ((m_pieces[wpawn] | m_pieces[bpawn]) & (rank1 | rank8))
        return "a pawn stands on the first or last rank";
    // The material index counts each kind in four bits: with at most 16 men a side no kind, promotions
    // included, passes 15.
    if (m_white.popcount() > 16 || m_black.popcount() > 16) return "a side has more than 16 men";
    const bool other_in_check = m_stm ? white_attacks(m_pieces[bking]) : black_attacks(m_pieces[wking]);
    if (other_in_check) return "the side not to move is in check";
    return "";
}

bool ChessPosition::draw_by_threefold_repetition() const { return m_keys.repetition(); }

void ChessPosition::set_castlingrights(short rights) {
    m_history.back().castling = static_cast<std::uint16_t>(rights);
    m_keys.replace_last(m_hasher.hash());
}

int ChessPosition::nobelmen() const {
    const MaterialIndex &m = m_material;
    return 900 * (m.get_whitequeen() + m.get_blackqueen()) + 500 * (m.get_whiterook() + m.get_blackrook()) +
           300 * (m.get_whitebishop() + m.get_blackbishop() + m.get_whiteknight() + m.get_blackknight());
}

BitBoard ChessPosition::white_queencheck_squares() const {
    return m_pieces[bking] ? m_tables->attacks().queen(m_pieces[bking], m_all) : BitBoard();
}

BitBoard ChessPosition::black_queencheck_squares() const {
    return m_pieces[wking] ? m_tables->attacks().queen(m_pieces[wking], m_all) : BitBoard();
}

MaterialIndex ChessPosition::compute_materialindex() const {
    MaterialIndex m;
    m.set_whitepawn(m_pieces[wpawn].popcount());
    m.set_whiteknight(m_pieces[wknight].popcount());
    m.set_whitebishop(m_pieces[wbishop].popcount());
    m.set_whiterook(m_pieces[wrook].popcount());
    m.set_whitequeen(m_pieces[wqueen].popcount());
    m.set_blackpawn(m_pieces[bpawn].popcount());
    m.set_blackknight(m_pieces[bknight].popcount());
    m.set_blackbishop(m_pieces[bbishop].popcount());
    m.set_blackrook(m_pieces[brook].popcount());
    m.set_blackqueen(m_pieces[bqueen].popcount());
    return m;
}

std::uint64_t ChessPosition::full_key_from_scratch() const {
    std::uint64_t k = 0;
    const KeySet &keys = m_tables->keys().polyglot();
    for (int s = 0; s < 64; ++s)
        k ^= keys.piece[m_board[s]][s];
    return Hasher<1>::fold(keys, k, castlingrights(), ep().id(), m_stm);
}

void ChessPosition::flip() {
    const HistoryEntry cur = m_history.back();
    BoardPosition::flip();
    const std::uint16_t rights = static_cast<std::uint16_t>((cur.castling >> 8) | (cur.castling << 8));
    setup(rights, cur.ep.id() == 64 ? Square() : ::flip(cur.ep), cur.dfz, m_moveno);
}

void ChessPosition::flop() {
    const HistoryEntry cur = m_history.back();
    BoardPosition::flop();
    std::uint16_t rights = 0;
    for (int b = 0; b < 16; ++b)
        if (cur.castling & (1u << b)) rights |= static_cast<std::uint16_t>(1u << ((b & 8) + 7 - (b & 7)));
    setup(rights, cur.ep.id() == 64 ? Square() : ::flop(cur.ep), cur.dfz, m_moveno);
}

std::string ChessPosition::moves_history() const {
    std::string out;
    for (std::size_t i = 1; i < m_history.size(); ++i) {
        if (!out.empty()) out += ' ';
        out += m_history[i].move.algebraic(m_chess960);
    }
    return out;
}

std::string ChessPosition::history_str() const {
    std::ostringstream os;
    for (std::size_t i = 0; i < m_history.size(); ++i) {
        const HistoryEntry &e = m_history[i];
        os << i << ": " << e.move.algebraic(m_chess960) << " castling=" << std::hex << e.castling << std::dec
           << " dfz=" << e.dfz << " ep=" << e.ep.name() << " check=" << int(e.check) << "\n";
    }
    return os.str();
}

std::string ChessPosition::dump() const {
    std::ostringstream os;
    os << BoardPosition::dump();
    os << "total moves: " << m_moveno << "\n";
    os << "hash: " << std::hex << key() << std::dec << "\n";
    os << "check: " << (check() ? "true" : "false") << "\n";
    os << "pinned pieces: " << std::hex << pinned_pieces().value() << "\n";
    os << "discovering pieces: " << discovering_pieces().value() << std::dec << "\n";
    return os.str();
}

void ChessPosition::set_logging(bool on) {
    if (!on) {
        m_log.reset();
        return;
    }
    auto log = std::make_shared<std::ofstream>("cposition_" + std::to_string(m_id) + ".log");
    if (!*log) throw std::logic_error("ChessPosition open file error");
    m_log = log;
}
