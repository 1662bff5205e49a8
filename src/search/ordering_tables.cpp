#include "search/ordering_tables.h"

#include <algorithm>
#include <cmath>

namespace {

// Floor division by 8, also for negative counters.
inline std::int64_t div8(std::int64_t v) { return v >= 0 ? v >> 3 : ~(~v >> 3); }

} // namespace

void HistoryTable::clear() { std::fill(&m_table[0][0], &m_table[0][0] + 15 * 64, 0); }

void HistoryTable::divide_by_8() {
    for (auto &row : m_table)
        for (std::int64_t &v : row)
            v = div8(v);
}

CounterMove::CounterMove() : m_table(new std::int64_t[entries]()) {}

CounterMove::CounterMove(const CounterMove &o) : m_table(new std::int64_t[entries]) {
    std::copy(o.m_table.get(), o.m_table.get() + entries, m_table.get());
}

CounterMove &CounterMove::operator=(const CounterMove &o) {
    if (this != &o) std::copy(o.m_table.get(), o.m_table.get() + entries, m_table.get());
    return *this;
}

void CounterMove::clear() { std::fill(m_table.get(), m_table.get() + entries, 0); }

void CounterMove::divide_by_8() {
    for (int i = 0; i < entries; ++i)
        m_table[i] = div8(m_table[i]);
}

void Killer::clear() {
    for (auto &ply : m_killer)
        ply[0] = ply[1] = Move();
}

LmrTable::LmrTable() {
    for (int d = 0; d < depths; ++d)
        for (int i = 0; i < indices; ++i) {
            int r = 1;
            if (d >= 1 && i >= 1) {
                const double x = std::log(static_cast<double>(d)) * std::log(i * 0.5);
                if (x > 1.0) r = static_cast<int>(x);
            }
            m_table[d][i] = static_cast<unsigned char>(r);
        }
}
