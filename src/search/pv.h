// Lines of best play: the principal variation and the list of the best lines of a search.
#ifndef DRAVNIK_SEARCH_PV_H
#define DRAVNIK_SEARCH_PV_H

#include <atomic>
#include <string>
#include <vector>

#include "board/move.h"

class PrincipalVariation {
  public:
    static constexpr int capacity = 102;

    PrincipalVariation() : m_size(0), m_score(0), m_depth(0), m_version(0) {}
    PrincipalVariation(const PrincipalVariation &o) { *this = o; }
    PrincipalVariation &operator=(const PrincipalVariation &o);
    bool operator==(const PrincipalVariation &o) const;
    bool operator!=(const PrincipalVariation &o) const { return !(*this == o); }

    void clear() { m_size = 0; }
    int size() const { return m_size; }
    int depth() const { return m_depth; }
    int score() const { return m_score; }
    void set_depth(int d) { m_depth = d; }
    void set_score(int s) { m_score = s; }
    int version() const { return m_version; }
    void set_version(int v) { m_version = v; }

    // Index size appends a slot; beyond that is an error. At capacity the line stops growing and the
    // move goes to a scratch slot that is not part of it.
    Move &operator[](int i);
    const Move &operator[](int i) const { return m_moves[i]; }
    void push_back(const Move &m) {
        if (m_size < capacity) m_moves[m_size++] = m;
    }
    // Deeper first, then the higher score.
    bool operator>(const PrincipalVariation &o) const {
        return depth() != o.depth() ? depth() > o.depth() : score() > o.score();
    }
    const Move *begin() const { return m_moves; }
    const Move *end() const { return m_moves + size(); }
    const Move *cbegin() const { return begin(); }
    const Move *cend() const { return end(); }
    std::string str() const;

  private:
    std::atomic<int> m_size;
    std::atomic<int> m_score;
    std::atomic<int> m_depth;
    Move m_moves[capacity + 1]; // the last slot is scratch
    int m_version;
};

// A line made of a move followed by the child's line.
PrincipalVariation operator+(Move m, const PrincipalVariation &pv);

class MultiPV {
  public:
    MultiPV() : m_number(1), m_version(0) {}
    PrincipalVariation &operator[](int i) { return m_lines[static_cast<std::size_t>(i)]; }
    const PrincipalVariation &operator[](int i) const { return m_lines[static_cast<std::size_t>(i)]; }
    int size() const { return static_cast<int>(m_lines.size()); }
    std::vector<PrincipalVariation>::iterator begin() { return m_lines.begin(); }
    std::vector<PrincipalVariation>::iterator end() { return m_lines.end(); }
    std::vector<PrincipalVariation>::const_iterator begin() const { return m_lines.begin(); }
    std::vector<PrincipalVariation>::const_iterator end() const { return m_lines.end(); }
    std::vector<PrincipalVariation>::const_iterator cbegin() const { return m_lines.cbegin(); }
    std::vector<PrincipalVariation>::const_iterator cend() const { return m_lines.cend(); }
    void clear() { m_lines.clear(); }
    void set_number(int n) { m_number = n; }
    int number() const { return m_number; }
    int version() const { return m_version; }
    void set_version(int v) { m_version = v; }
    void add(const PrincipalVariation &pv);
    // Puts a line drawn uniformly from those within margin of the best score first. Not for an empty list.
    void randomize(int margin);

  private:
    int m_number;
    int m_version;
    std::vector<PrincipalVariation> m_lines;
};

#endif
