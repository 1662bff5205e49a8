#include "search/pv.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <stdexcept>

PrincipalVariation &PrincipalVariation::operator=(const PrincipalVariation &o) {
    if (this == &o) return *this;
    const int n = o.m_size.load();
    for (int i = 0; i < n; ++i)
        m_moves[i] = o.m_moves[i];
    m_size = n;
    m_score = o.m_score.load();
    m_depth = o.m_depth.load();
    m_version = o.m_version;
    return *this;
}

bool PrincipalVariation::operator==(const PrincipalVariation &o) const {
    if (size() != o.size() || score() != o.score() || depth() != o.depth()) return false;
    for (int i = 0; i < size(); ++i)
        if (m_moves[i] != o.m_moves[i]) return false;
    return true;
}

Move &PrincipalVariation::operator[](int i) {
    const int n = m_size;
    if (i > n) throw std::logic_error("PrincipalVariation::operator[]() parameter out of range");
    if (i == n) {
        if (n == capacity) return m_moves[capacity];
        m_size = n + 1;
    }
    return m_moves[i];
}

std::string PrincipalVariation::str() const {
    std::string s = "depth " + std::to_string(depth()) + " score " + std::to_string(score()) + " pv";
    for (const Move &m : *this)
        s += " " + m.algebraic();
    return s;
}

PrincipalVariation operator+(Move m, const PrincipalVariation &pv) {
    PrincipalVariation line;
    line.push_back(m);
    for (const Move &x : pv)
        line.push_back(x);
    return line;
}

void MultiPV::add(const PrincipalVariation &pv) {
    if (pv.size() == 0) return;
    for (std::size_t i = 0; i < m_lines.size(); ++i)
        if (m_lines[i][0] == pv[0]) {
            m_lines[i] = m_lines.back();
            m_lines.pop_back();
            break;
        }
    m_lines.push_back(pv);
    // Deeper lines first, then the higher score; equal lines keep the order they came in.
    std::stable_sort(m_lines.begin(), m_lines.end(),
                     [](const PrincipalVariation &a, const PrincipalVariation &b) { return a > b; });
    while (m_lines.size() > static_cast<std::size_t>(m_number < 1 ? 1 : m_number))
        m_lines.pop_back();
    ++m_version;
}

void MultiPV::randomize(int margin) {
    if (m_lines.empty()) return;
    std::random_device device("default");
    const unsigned r = static_cast<unsigned>(std::abs(static_cast<long long>(static_cast<int>(device()))));
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
        std::size_t best = i;
        for (std::size_t j = i + 1; j < m_lines.size(); ++j)
            if (m_lines[j].score() > m_lines[best].score()) best = j;
        if (best != i) std::swap(m_lines[i], m_lines[best]);
    }
    std::size_t k = 0;
    while (k < m_lines.size() && m_lines[k].score() >= m_lines[0].score() - margin)
        ++k;
    const std::size_t j = r % k;
    if (j != 0) std::swap(m_lines[0], m_lines[j]);
}
