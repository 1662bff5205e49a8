// The search's endgame tables: which one a root needs, the memory it borrows, its build (all at once on a
// game clock, or in slices between nodes while analysing), the probe of a node and the root's line.
#ifndef DRAVNIK_EGTB_ENDGAME_TABLES_H
#define DRAVNIK_EGTB_ENDGAME_TABLES_H

#include <cstddef>
#include <cstdint>

#include "board/chessposition.h"
#include "egtb/egt4pieces.h"
#include "movegen/movegenerator.h"

// Memory a table may borrow from its start (the transposition table's, which the search then leaves alone).
class MemoryLender {
  public:
    // The first `bytes`, withdrawn from the lender's own use; nullptr when it has no more than that.
    virtual unsigned char *lend(std::size_t bytes) = 0;
    // Back to the lender, cleared; nothing when nothing is lent.
    virtual void take_back() = 0;
    virtual bool lending() const = 0;

  protected:
    ~MemoryLender() = default;
};

// The clock a build reads between its steps.
class BuildClock {
  public:
    virtual std::uint64_t elapsed_ms() const = 0;
    // The side's clock (or move time) less the elapsed time.
    virtual long long remaining_ms() const = 0;
    virtual bool stopped() const = 0;

  protected:
    ~BuildClock() = default;
};

class EndgameTables {
  public:
    // The tables borrow this many bytes from the start of the transposition table (93,750 buckets).
    static constexpr std::size_t lent_bytes = 6000000;
    // While analysing, a slice of build work this long, then as long for the search.
    static constexpr std::uint64_t slice_ms = 50;
    // How a search may build: never under a depth, node or mate limit (those never wait); all at once
    // before the search on a game clock; in slices between nodes while analysing, pondering or on a long
    // move time, so that the info lines keep coming.
    enum class build_t { none, on_clock, in_slices };

    explicit EndgameTables(const Attacks &attacks);
    EndgameTables(const EndgameTables &) = delete;
    EndgameTables &operator=(const EndgameTables &) = delete;

    // A new search builds nothing in slices until the root asks.
    void new_search() {
        m_building = nullptr;
        m_next_slice_ms = 0;
    }
    // Both tables released, and the lent memory returned to `lender` when given (its owner's call).
    void release(MemoryLender *lender);
    // The table of the root's material, started or advanced as `mode` allows (on a clock until
    // `build_until_ms` elapsed); the other table released. nullptr, with everything released, when no table
    // applies.
    Egt4Pieces *for_root(const ChessPosition &pos, MemoryLender &lender, build_t mode,
                         std::uint64_t build_until_ms, const BuildClock &clock);
    // A slice of the build under way, once the search has had as long since the last one.
    void build_slice(const BuildClock &clock);
    bool building() const { return m_building != nullptr; }
    // The complete table's verdict on a node of four men or fewer; unknown when there is none.
    EgtProbe probe(const ChessPosition &pos) const;

    // The root's line from a complete table: the quickest win, else a draw, else the longest defence, and
    // the table's best replies for a few moves, among `moves` (the root's legal moves). False when the table
    // is incomplete or does not know the root.
    struct RootLine {
        static constexpr int max_moves = 9;
        Move moves[max_moves];
        int size = 0;
        int score = 0; // mate_score - plies for a win, its negation for a loss, 0 for a draw
    };
    static bool root_line(const Egt4Pieces &table, ChessPosition &pos, const MoveList &moves,
                          MoveGenerator &gen, int mate_score, RootLine &line);

  private:
    Egt4Pieces m_kbnk;
    Egt4Pieces m_kqkr;
    Egt4Pieces *m_building = nullptr;  // the table built in slices during this search
    std::uint64_t m_next_slice_ms = 0; // when the next slice may start, in ms since "go"
};

#endif
