#include "search/transposition.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <sstream>

#include "board/chessposition.h"

namespace {

constexpr int mate_bound = 29897;

// Two's-complement truncation to 16 bits without relying on implementation-defined narrowing.
int truncate16(int x) {
    const int v = x & 0xFFFF;
    return v >= 0x8000 ? v - 0x10000 : v;
}

} // namespace

Move TTmove::operator()(const ChessPosition &p) const {
    if (m_move == 0) return Move();
    const int piece = p.get_piece_id_from(Square((m_move >> 6) & 63));
    int captured = p.get_piece_id_from(Square(m_move & 63));
    if (code() == en_passant)
        captured = piece == wpawn ? bpawn : wpawn;
    else if (code() == castling)
        captured = 0;
    return Move(static_cast<std::uint32_t>(m_move) | static_cast<std::uint32_t>(captured & 15) << 16 |
                static_cast<std::uint32_t>(piece & 15) << 20);
}

// Both tests look at the top four bits (code and check flag) together: an en-passant word with the check
// flag set is not recognised as en passant and gets the empty target square.
Piece TTmove::piece(const ChessPosition &p) const {
    if (m_move == 0 || (m_move >> 12) == 0) return Piece();
    return p.get_piece_from(Square((m_move >> 6) & 63));
}

Piece TTmove::capture(const ChessPosition &p) const {
    if (m_move == 0 || (m_move >> 12) == 0) return Piece();
    if ((m_move >> 12) == en_passant) return Piece(((m_move >> 6) & 63) < (m_move & 63) ? bpawn : wpawn);
    return p.get_piece_from(Square(m_move & 63));
}

std::string TTmove::algebraic(const ChessPosition &p) const {
    if (m_move == 0 || code() == nullmove) return "0000";
    const Square f((m_move >> 6) & 63);
    std::string text = f.name() + Square(m_move & 63).name();
    const Piece mover = p.get_piece_from(f);
    const bool promoting =
        (mover.white_pawn() && f.rank_number() == 6) || (mover.black_pawn() && f.rank_number() == 1);
    if (promoting) {
        switch (code()) {
        case promo_queen:
            text += 'q';
            break;
        case promo_rook:
            text += 'r';
            break;
        case promo_bishop:
            text += 'b';
            break;
        case promo_knight:
            text += 'n';
            break;
        default:
            break;
        }
    }
    return text;
}

int TTrecord::get_score(const int &ply) const {
    const int stored = truncate16(static_cast<int>((m_value >> 32) & 0xFFFF));
    if (stored > mate_bound) return truncate16(stored - ply);
    if (stored < -mate_bound) return truncate16(stored + ply);
    return stored;
}

void TTrecord::set_score(const int &score, const int &ply) {
    int stored = score;
    if (score > mate_bound)
        stored = score + ply;
    else if (score < -mate_bound)
        stored = score - ply;
    m_value = (m_value & ~(0xFFFFULL << 32)) | static_cast<std::uint64_t>(stored & 0xFFFF) << 32;
}

namespace {

// Overwrites a record; a new entry without a move keeps the move already stored for the same key.
inline void store(TTrecord &slot, const TTrecord &r) {
    if ((r.get_value() & TTrecord::move_mask) == 0 && slot.get_key() == r.get_key())
        slot = TTrecord(r.get_key(), r.get_value() | (slot.get_value() & TTrecord::move_mask));
    else
        slot = r;
}

} // namespace

void Bucket::write(const TTrecord &r) {
    for (TTrecord &slot : m_record)
        if (slot.get_key() == r.get_key()) {
            store(slot, r);
            return;
        }
    // Entries of earlier searches go first, whatever their depth.
    for (TTrecord &slot : m_record)
        if (slot.get_date() != r.get_date()) {
            slot = r;
            return;
        }
    // All current: the shallowest non-exact entry; exact ones count as the protection depth.
    int victim = 0;
    int draft = m_record[0].get_draft();
    if (m_record[0].is_exact_value() || draft >= exact_protection) draft = exact_protection;
    for (int i = 1; i < 4; ++i)
        if (m_record[i].get_draft() < draft && !m_record[i].is_exact_value()) {
            victim = i;
            draft = m_record[i].get_draft();
        }
    store(m_record[victim], r);
}

bool Bucket::read(TTrecord &r) const {
    for (const TTrecord &slot : m_record)
        if (slot.get_key() == r.get_key()) {
            const std::uint64_t value = slot.get_value();
            // An entry without a move leaves the caller's move in place.
            if ((value & TTrecord::move_mask) == 0)
                r.set_value(value | (r.get_value() & TTrecord::move_mask));
            else
                r.set_value(value);
            return true;
        }
    return false;
}

int Bucket::has_date(unsigned char date) const {
    int n = 0;
    for (const TTrecord &slot : m_record)
        n += slot.get_date() == date ? 1 : 0;
    return n;
}

void Bucket::clear() {
    for (TTrecord &slot : m_record)
        slot.clear();
}

std::string Bucket::dump() const {
    static const char *const bounds[] = {"upper", "lower", "exact"};
    std::ostringstream out;
    for (int i = 0; i < 4; ++i) {
        const TTrecord &r = m_record[i];
        const unsigned b = r.get_bound();
        out << "record " << i << ":  key=0x" << std::hex << r.get_key() << std::dec
            << "  date=" << static_cast<int>(r.get_date()) << "  draft=" << r.get_draft()
            << "  bound=" << (b < 3 ? bounds[b] : "?") << "  score=" << r.get_score(0) << "  move=0x"
            << std::hex << r.get_move().id() << std::dec << '\n';
    }
    return out.str();
}

Bucket *TranspositionTable::allocate(std::uint64_t count, LargeBlock &block) {
    // Large pages, touched now: a search probes the whole table within its first thousands of nodes, and
    // faulting it in by large pages during the search made a 50 ms answer take up to 190 ms at Hash 1024.
    block = LargeBlock(static_cast<std::size_t>(count) * sizeof(Bucket), LargeBlock::pages::large_touched);
    // Zeroed memory already holds empty buckets (plain words, trivially copyable and destructible); running
    // their constructors would be a second pass over the whole table.
    return static_cast<Bucket *>(block.get());
}

TranspositionTable::TranspositionTable()
    : m_buckets(nullptr), m_count(default_buckets), m_threshold(0), m_enabled(true), m_pristine(true) {
    m_buckets = allocate(default_buckets, m_block);
    if (!m_buckets) throw std::bad_alloc();
}

void TranspositionTable::set_size(int megabytes) {
    if (megabytes < 6) megabytes = 6;
    const std::uint64_t wanted = static_cast<std::uint64_t>(megabytes) * buckets_per_megabyte;
    std::uint64_t count = 1;
    while (count * 2 <= wanted)
        count *= 2;
    if (count == m_count) return;
    const std::string failure = "TranspositionTable::set_size(" + std::to_string(megabytes) +
                                ") cannot allocate " + std::to_string(count) + " buckets";
    // A table larger than the address space is refused before the allocation is asked (4096 MB on a
    // 32-bit target).
    if (count >= std::numeric_limits<std::size_t>::max() / sizeof(Bucket)) throw TTAllocationError(failure);
    // The new array comes first so that a failure leaves the old table in service.
    LargeBlock block;
    Bucket *fresh = allocate(count, block);
    if (!fresh) throw TTAllocationError(failure);
    m_block = std::move(block);
    m_buckets = fresh;
    m_count = count;
    m_pristine.store(true, std::memory_order_relaxed);
}

void TranspositionTable::clear() {
    if (!m_pristine.load(std::memory_order_relaxed)) clear_every_page();
}

void TranspositionTable::clear_every_page() {
    const std::uint64_t threshold = get_threshold();
    if (threshold >= m_count) return;
    for (std::uint64_t i = threshold + 1; i < m_count; ++i)
        m_buckets[i].clear();
    // Lent bytes below the threshold may be anything: only a table without them is clean now.
    if (threshold == 0) m_pristine.store(true, std::memory_order_relaxed);
}

int TranspositionTable::hashfull(unsigned char date) const {
    // The buckets an endgame table borrows hold its bytes, not records: only what the table still owns is
    // sampled, from the first bucket after the lent ones.
    const std::uint64_t first = lending() ? get_threshold() + 1 : 0;
    if (first >= m_count) return 0;
    const std::uint64_t n = std::min<std::uint64_t>(m_count - first, 1000);
    std::uint64_t count = 0;
    for (std::uint64_t i = first; i < first + n; ++i)
        count += static_cast<std::uint64_t>(m_buckets[i].has_date(date));
    return static_cast<int>(count * 1000 / (Bucket::records * n));
}

unsigned char *TranspositionTable::lend(std::size_t bytes) {
    if (this->bytes() <= bytes) return nullptr;
    set_threshold(static_cast<int>(bytes));
    return get_uchar_adress();
}

void TranspositionTable::take_back() {
    if (get_threshold() == 0) return;
    // Table bytes left behind would read as stray records. The threshold counts the lent bytes in 64s.
    std::memset(get_uchar_adress(), 0, static_cast<std::size_t>(get_threshold()) << 6);
    set_threshold(0);
}
