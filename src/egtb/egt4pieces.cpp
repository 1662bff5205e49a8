#include "egtb/egt4pieces.h"

#include <new>

Egt4Pieces::Egt4Pieces(const Attacks &attacks, piece_t first, piece_t second)
    : m_kbnk((first & 7) == wbishop || (first & 7) == wknight || (second & 7) == wbishop ||
             (second & 7) == wknight) {
    if (m_kbnk) {
        m_tables[0].reset(new RetroTable(attacks, {wking, wbishop, wknight, bking}));
        m_count = 1;
    } else {
        m_tables[0].reset(new RetroTable(attacks, {wking, wqueen, bking}));
        m_tables[1].reset(new RetroTable(attacks, {wking, wrook, bking}));
        m_tables[2].reset(new RetroTable(attacks, {wking, wqueen, brook, bking}));
        // Taking the rook leaves king and queen against king; taking the queen leaves the rook's side as
        // the strong side of king and rook against king.
        m_tables[2]->link_capture(2, m_tables[0].get(), {0, 1, 3}, false);
        m_tables[2]->link_capture(1, m_tables[1].get(), {3, 2, 0}, true);
        m_count = 3;
    }
    for (int i = 0; i < m_count; ++i)
        m_bytes_needed += m_tables[i]->bytes_needed();
}

void Egt4Pieces::release() {
    m_progress = -1;
    m_own.reset();
    m_memory = nullptr;
    for (int i = 0; i < m_count; ++i)
        m_tables[i]->attach(nullptr);
}

bool Egt4Pieces::set_memory(unsigned char *memory, std::size_t bytes) {
    if (!memory || bytes < m_bytes_needed) return false;
    release();
    m_memory = memory;
    return true;
}

void Egt4Pieces::use_own_buffer() {
    if (m_own && m_memory == m_own.get()) return;
    release();
    m_own.reset(new (std::nothrow) unsigned char[m_bytes_needed]);
    m_memory = m_own.get();
}

void Egt4Pieces::create() {
    if (m_progress < 0 || m_progress > 100) {
        if (!m_memory) return;
        std::size_t offset = 0;
        for (int i = 0; i < m_count; ++i) {
            m_tables[i]->attach(m_memory + offset);
            offset += m_tables[i]->bytes_needed();
        }
        m_building = 0;
        m_progress = 0;
    }
    if (m_progress == 101) return;
    long budget = m_step_budget;
    while (m_building < m_count && m_tables[m_building]->step(budget))
        ++m_building;
    if (m_building == m_count) {
        m_progress = 101;
        return;
    }
    // Progress in proportion to the memory each table covers.
    std::size_t done = 0;
    for (int i = 0; i < m_building; ++i)
        done += m_tables[i]->bytes_needed();
    done += m_tables[m_building]->bytes_needed() * m_tables[m_building]->progress() / 100;
    m_progress = static_cast<int>(100 * done / m_bytes_needed);
}

Egt4Pieces::Lookup Egt4Pieces::locate(const ChessPosition &pos) const {
    Lookup l;
    if (pos.castlingrights() != 0) return l; // castling is a move the tables do not know
    const std::string m = pos.materialindex().str();
    auto square = [&pos](int piece) { return pos.pieces(piece).get_unique_square().id(); };
    // The strong side's colour as an offset of the piece codes (0 white, 8 black), and the weak side's.
    int strong = 0;
    if (m_kbnk) {
        if (m != "KBNk" && m != "Kkbn") return l;
        strong = m == "KBNk" ? 0 : 8;
        l.table = m_tables[0].get();
        l.placement = {{square(wking + strong), square(wbishop + strong), square(wknight + strong),
                        square(wking + 8 - strong)}};
    } else if (m == "KQkr" || m == "KRkq") {
        strong = m == "KQkr" ? 0 : 8;
        l.table = m_tables[2].get();
        l.placement = {{square(wking + strong), square(wqueen + strong), square(wrook + 8 - strong),
                        square(wking + 8 - strong)}};
    } else if (m == "KQk" || m == "Kkq" || m == "KRk" || m == "Kkr") {
        strong = m[1] == 'k' ? 8 : 0;
        const bool queen = m == "KQk" || m == "Kkq";
        l.table = m_tables[queen ? 0 : 1].get();
        l.placement = {{square(wking + strong), square((queen ? wqueen : wrook) + strong),
                        square(wking + 8 - strong), 64}};
    } else {
        return l;
    }
    l.side = pos.white_to_move() == (strong == 0) ? 0 : 1;
    return l;
}

EgtProbe Egt4Pieces::probe(const ChessPosition &pos) const {
    EgtProbe result;
    if (!complete()) return result;
    const Lookup l = locate(pos);
    if (!l.table) return result;
    const unsigned char v = l.table->value(l.side, l.placement);
    if (v == egt_value::illegal)
        result.result = egt_result_t::illegal;
    else if (!egt_value::decided(v))
        result.result = egt_result_t::draw;
    else {
        result.result = egt_value::win(v) ? egt_result_t::win : egt_result_t::loss;
        result.plies = egt_value::plies(v);
    }
    return result;
}

bool Egt4Pieces::handles(const std::string &material) const {
    if (m_kbnk) return material == "KBNk" || material == "Kkbn";
    return material == "KQkr" || material == "KRkq" || material == "KQk" || material == "Kkq" ||
           material == "KRk" || material == "Kkr";
}
