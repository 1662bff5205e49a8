#include "egtb/endgame_tables.h"

#include <limits>
#include <string>

EndgameTables::EndgameTables(const Attacks &attacks)
    : m_kbnk(attacks, wbishop, wknight), m_kqkr(attacks, wqueen, wrook) {}

void EndgameTables::release(MemoryLender *lender) {
    m_kbnk.release();
    m_kqkr.release();
    m_building = nullptr;
    if (lender) lender->take_back();
}

Egt4Pieces *EndgameTables::for_root(const ChessPosition &pos, MemoryLender &lender, build_t mode,
                                    std::uint64_t build_until_ms, const BuildClock &clock) {
    const MaterialIndex &mi = pos.materialindex();
    const bool small = mi.get_whitepawn() == 0 && mi.get_blackpawn() == 0 && pos.all_pieces().popcount() <= 4;
    const std::string material = mi.str();
    Egt4Pieces *table = !small                     ? nullptr
                        : m_kbnk.handles(material) ? &m_kbnk
                        : m_kqkr.handles(material) ? &m_kqkr
                                                   : nullptr;
    if (!table) {
        if (m_kbnk.progress() != -1 || m_kqkr.progress() != -1 || lender.lending()) release(&lender);
        return nullptr;
    }
    (table == &m_kbnk ? m_kqkr : m_kbnk).release();
    // A table is used only once it is complete.
    if (table->progress() >= 101 || mode == build_t::none) return table;
    if (table->progress() < 0 || table->progress() > 100) {
        table->release();
        lender.take_back(); // the other table may have held it
        // A lender no larger than the lent bytes cannot hold the table: it gets its own.
        unsigned char *memory = table->bytes_needed() <= lent_bytes ? lender.lend(lent_bytes) : nullptr;
        if (!memory || !table->set_memory(memory, lent_bytes)) {
            if (memory) lender.take_back();
            table->use_own_buffer();
        }
    }
    if (mode == build_t::in_slices) {
        m_building = table;
        build_slice(clock);
        return table;
    }
    // Steps while the clock allows: never into its last seconds (more for the longer build), and not past a
    // "stop".
    const long long reserve = table == &m_kbnk ? 2001 : 4001;
    while (table->progress() < 101 && !clock.stopped() && clock.remaining_ms() >= reserve &&
           clock.elapsed_ms() < build_until_ms) {
        const int before = table->progress();
        table->create();
        if (table->progress() < 0 && before < 0) break; // no memory: the build cannot start
    }
    return table;
}

void EndgameTables::build_slice(const BuildClock &clock) {
    const std::uint64_t start = clock.elapsed_ms();
    if (!m_building || start < m_next_slice_ms) return;
    while (!m_building->complete() && !clock.stopped() && clock.elapsed_ms() < start + slice_ms) {
        const int before = m_building->progress();
        m_building->create();
        if (m_building->progress() < 0 && before < 0) break; // no memory: the build cannot start
    }
    // Complete, the tree reads it at once and the next iteration's root plays from it.
    if (m_building->complete() || m_building->progress() < 0) m_building = nullptr;
    m_next_slice_ms = clock.elapsed_ms() + slice_ms; // the search gets as long again
}

EgtProbe EndgameTables::probe(const ChessPosition &pos) const {
    if (pos.all_pieces().popcount() > 4) return EgtProbe();
    const Egt4Pieces *table = m_kqkr.complete() ? &m_kqkr : m_kbnk.complete() ? &m_kbnk : nullptr;
    return table ? table->probe(pos) : EgtProbe();
}

bool EndgameTables::root_line(const Egt4Pieces &table, ChessPosition &pos, const MoveList &moves,
                              MoveGenerator &gen, int mate_score, RootLine &line) {
    if (!table.complete() || table.probe(pos).result == egt_result_t::unknown || moves.size() == 0)
        return false;
    // A move's value by the table: quickest win, else a draw, else the longest defence.
    auto value = [&table, &pos, mate_score](const Move &m) {
        pos.make_move(m);
        const EgtProbe child = table.probe(pos);
        pos.unmake_move();
        if (child.result == egt_result_t::loss) return mate_score - 1 - child.plies;
        if (child.result == egt_result_t::win) return -(mate_score - 1 - child.plies);
        return 0;
    };
    // The first move of a non-empty list with the best table value, and that value.
    auto best_of = [&value](const MoveList &list, int &best_score) {
        Move best = list[0];
        best_score = std::numeric_limits<int>::min();
        for (const Move &m : list) {
            const int v = value(m);
            if (v > best_score) best_score = v, best = m;
        }
        return best;
    };
    line.size = 0;
    line.moves[line.size++] = best_of(moves, line.score);
    // The line follows the table for a few moves.
    pos.make_move(line.moves[0]);
    Move storage[MoveList::capacity];
    while (line.size < RootLine::max_moves) {
        MoveList replies(storage);
        gen.generate_moves(pos, replies);
        if (replies.size() == 0) break;
        int next_score;
        line.moves[line.size] = best_of(replies, next_score);
        pos.make_move(line.moves[line.size++]);
    }
    for (int i = 0; i < line.size; ++i)
        pos.unmake_move();
    return true;
}
