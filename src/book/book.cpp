#include "book/book.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "board/chessposition.h"

BKmove::BKmove(const Move &m) {
    // Unmasked squares: the empty move (squares 64) encodes as 0x1040, which no book move uses.
    int code = 0;
    switch (m.code()) {
    case promo_queen:
        code = 4;
        break;
    case promo_rook:
        code = 3;
        break;
    case promo_bishop:
        code = 2;
        break;
    case promo_knight:
        code = 1;
        break;
    default:
        break;
    }
    m_move = static_cast<std::uint16_t>(m.to().id() + (m.from().id() << 6) + (code << 12));
}

std::string BKmove::dump() const {
    std::ostringstream out;
    out << "from=" << from().name() << " to=" << to().name() << " code=" << code() << " (0x" << std::hex
        << m_move << ")";
    return out.str();
}

Move BKmove::operator()(const ChessPosition &p) const {
    if (m_move == 0) return Move();
    const int c = code();
    move_t type = c >= 1 && c <= 4 ? static_cast<move_t>(6 - c) : normal_move;
    const int mover = p.get_piece_id_from(from());
    const int target = p.get_piece_id_from(to());
    if ((mover == wking && target == wrook) || (mover == bking && target == brook)) type = castling;
    // The book writes an en-passant capture as a plain pawn move onto the empty square behind the pawn.
    if ((mover == wpawn || mover == bpawn) && target == 0 && to() == p.ep() &&
        from().file_number() != to().file_number())
        type = en_passant;
    return p.convert_to_move(from(), to(), type);
}

Book_record::Book_record(const char *raw) { std::memcpy(m_bytes, raw, size); }

BKmove Book_record::get_move() const {
    const unsigned raw = static_cast<unsigned>(get(8, 2));
    const unsigned code = (raw >> 12) & 7;
    return BKmove(static_cast<std::uint16_t>((raw & 0x0FFF) | (code >= 1 && code <= 4 ? code << 12 : 0)));
}

std::uint64_t Book_record::get(int offset, int width) const {
    std::uint64_t v = 0;
    for (int i = 0; i < width; ++i)
        v = v << 8 | m_bytes[offset + i];
    return v;
}

void Book_record::put(int offset, int width, std::uint64_t v) {
    for (int i = width - 1; i >= 0; --i) {
        m_bytes[offset + i] = static_cast<unsigned char>(v & 0xFF);
        v >>= 8;
    }
}

int Book_record::compare(const Book_record &o) const { return std::memcmp(m_bytes, o.m_bytes, 8); }

Book::Book() : m_size(0), m_start(std::chrono::steady_clock::now()) {}

Book::Book(std::string name)
    : m_name(std::move(name)), m_size(0), m_start(std::chrono::steady_clock::now()) {}

void Book::open() {
    close();
    m_file.open(m_name, std::ios::in | std::ios::binary);
    if (!m_file.is_open()) throw std::logic_error("Book::open() open " + m_name + " failed (1)");
    m_file.seekg(0, std::ios::end);
    const std::streamoff end = m_file.tellg();
    m_size = end > 0 ? (static_cast<std::int64_t>(end) / Book_record::size) * Book_record::size : 0;
}

void Book::close() {
    if (m_file.is_open()) m_file.close();
    m_file.clear();
    m_size = 0;
}

bool Book::read_record(std::int64_t offset, Book_record &r) {
    char raw[Book_record::size];
    m_file.clear();
    m_file.seekg(static_cast<std::streamoff>(offset));
    if (!m_file.read(raw, Book_record::size)) return false;
    r = Book_record(raw);
    return true;
}

std::vector<Book_record> Book::get_records(std::uint64_t key) {
    std::vector<Book_record> found;
    if (!m_file.is_open() || m_size < Book_record::size) return found;
    // Narrow down to the first record of the key: low holds a smaller key (or is 0), high does not.
    std::int64_t low = 0, high = m_size, probe = -1;
    Book_record r;
    for (;;) {
        const std::int64_t middle = (low + high) / 2 / Book_record::size * Book_record::size;
        if (middle == probe) break;
        probe = middle;
        if (!read_record(probe, r)) return found;
        if (r.get_key() < key)
            low = probe;
        else
            high = probe;
    }
    for (std::int64_t at = low; at < m_size; at += Book_record::size) {
        if (!read_record(at, r)) break;
        if (r.get_key() > key) break;
        if (r.get_key() == key) found.push_back(r);
    }
    return found;
}

std::int64_t Book::elapsed_nanoseconds() const {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() - m_start)
        .count();
}

BKmove Book::choose(const std::vector<Book_record> &records, std::int64_t draw) {
    std::int64_t total = 0;
    for (const Book_record &r : records)
        total += r.get_weight();
    if (total == 0) return BKmove(); // no records, or all of weight 0
    std::int64_t rest = draw % total - records[0].get_weight();
    std::size_t chosen = 0;
    while (rest > 0) {
        if (++chosen == records.size()) return BKmove();
        rest -= records[chosen].get_weight();
    }
    return records[chosen].get_move();
}

BKmove Book::get_move(std::uint64_t key) {
    // The low 32 bits of the time taken as a signed number.
    const std::uint32_t low_bits = static_cast<std::uint32_t>(elapsed_nanoseconds());
    const std::int64_t draw = low_bits >= 0x80000000u ? static_cast<std::int64_t>(low_bits) - 0x100000000LL
                                                      : static_cast<std::int64_t>(low_bits);
    return choose(get_records(key), draw);
}
