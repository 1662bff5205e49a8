// Clock limits of one search: when to stop, how much time is left, how far into the target we are.
#ifndef DRAVNIK_SEARCH_TIMEMANAGER_H
#define DRAVNIK_SEARCH_TIMEMANAGER_H

#include <atomic>
#include <chrono>
#include <cstdint>

// A time that was not given is held as 2^40 ms.
constexpr std::uint64_t time_not_given = 1ULL << 40;

// The time plan of one search, in milliseconds from the moment the "go" command arrived: no new iteration
// begins after the soft time, and the search ends at the hard time whatever happens. time_not_given for
// both when nothing limits the search.
struct TimeBudget {
    std::uint64_t soft, hard;
};
// movestogo 0: sudden death. Neither limit ever reaches into the clock's reserve, and both leave the
// protocol's cost of a move aside, so a game at any clock ends on the board.
// A fixed move time leaves this much thinking at least, where the move time has room for it.
constexpr std::uint64_t fixed_time_floor_ms = 190;
// The time a "go movetime" search may use: the move time less the safety margin, but never below the
// floor (or the move time less the protocol's cost, if that is less). Non-decreasing in the move time.
std::uint64_t fixed_time_used(std::uint64_t movetime, std::uint64_t margin);
TimeBudget plan_time(std::uint64_t time_left, std::uint64_t increment, int movestogo, std::uint64_t movetime,
                     std::uint64_t margin = 200);
// In sudden death the plan assumes this many more moves at least.
constexpr std::uint64_t sudden_death_horizon = 50;

// Whether iterative deepening ends before the next iteration of a game-clock search, with used_percent of
// the planned time gone and the best move unchanged for `stable` iterations. A root whose score was only a
// bound (resolved false) is always searched again first.
bool stop_before_iteration(bool resolved, int used_percent, int stable);

class TimeManager {
  public:
    TimeManager() { reset(); }
    void reset(); // every limit to "not given"
    // Starts the clock; when an origin was set, the clock counts from it.
    void start();
    // The moment the "go" command arrived: the GUI's clock has been running since then.
    void set_origin(std::chrono::system_clock::time_point t) { m_origin = t; }

    void set_wtime(std::uint64_t ms) { m_wtime = ms; }
    void set_btime(std::uint64_t ms) { m_btime = ms; }
    void set_winc(std::uint64_t ms) { m_winc = ms; }
    void set_binc(std::uint64_t ms) { m_binc = ms; }
    void set_movetime(std::uint64_t ms) { m_movetime = ms == 0 ? 1 : ms; }
    // Moves to go as the GUI gave them; without them the clock is planned as sudden death.
    void set_movestogo(int n) {
        m_movestogo = n <= 0 ? 30 : n;
        m_movestogo_given = true;
    }
    void set_mate(int n) { m_mate = n; }
    void set_infinite(bool on) { m_infinite = on; }
    void set_pondering(bool on) { m_pondering = on; }
    void ponderhit() { m_pondering = false; }
    void set_white_to_move(bool on) { m_white_to_move = on; }

    bool infinite() const { return m_infinite; }
    bool pondering() const { return m_pondering; }
    std::uint64_t movetime() const { return m_movetime; }
    int movestogo() const { return m_movestogo; }
    // The side to move plays on a clock (wtime or btime given).
    bool clock_running() const;

    // The rules that end a search. Whether the hard limit of the plan made at start() has passed: one
    // clock read, no division, as it runs every 1,024 nodes.
    bool time_to_move() const;
    // Whether a search in this iteration must stop now. The first iteration always completes (a fraction
    // of a millisecond): a move of depth 1 is worth more than the first move generated, however late the
    // search started.
    bool must_stop(int iteration) const { return iteration > 1 && time_to_move(); }
    // Whether a search should not begin its next iteration: only a game clock plans, so a move time, a
    // ponder or infinite search, or no clock at all runs on.
    bool soft_limit_reached(bool resolved, int stable) const;
    // Whether a weakened search that finished early waits on: it answers at its planned time, not before
    // (a move time's plan is the move time less its margin), and a search without one (depth, nodes)
    // answers at once.
    bool keep_waiting() const;
    int remaining_time() const;
    // Per cent of the planned (soft) time used.
    int percentage() const;
    // Elapsed milliseconds of the running search.
    std::uint64_t elapsed_ms() const;
    // The plan from the limits set so far; start() fixes it for the search, and the search reads that.
    TimeBudget budget() const;
    // The plan start() fixed: the hard time ("not given" while pondering or infinite) and the planned time.
    std::uint64_t hard_limit_ms() const;
    std::uint64_t target_ms() const { return m_plan.soft; }
    // The protocol's cost of one move, measured from a search's end to the GUI reading "bestmove" (one
    // 5 ms polling pass and the write), with room for a loaded machine.
    static constexpr std::uint64_t move_overhead_ms = 10;

  private:
    int m_movestogo;
    bool m_movestogo_given;
    int m_mate;
    // The GUI's lag a long fixed move time keeps back.
    static constexpr std::uint64_t m_lag = 200;
    std::uint64_t m_wtime, m_btime, m_winc, m_binc, m_movetime;
    // The front end clears these while a ponder or infinite search runs.
    std::atomic<bool> m_infinite{false}, m_pondering{false};
    bool m_white_to_move = true;
    std::chrono::system_clock::time_point m_origin{};
    // The plan is made once per "go", before the search thread reads it: a ponderhit only ends the
    // pondering, so the GUI's thread never writes what the search reads.
    TimeBudget m_plan{time_not_given, time_not_given};
    std::chrono::system_clock::time_point m_start{};
    std::chrono::system_clock::time_point m_hard_at = std::chrono::system_clock::time_point::max();
};

#endif
