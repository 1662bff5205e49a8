// Clock limits of one search: when to stop, how much time is left, how far into the target we are.
#ifndef DRAVNIK_SEARCH_TIMEMANAGER_H
#define DRAVNIK_SEARCH_TIMEMANAGER_H

#include <atomic>
#include <chrono>
#include <cstdint>

// A time that was not given is held as 2^40 ms.
constexpr std::uint64_t time_not_given = 1ULL << 40;

class Timer {
  public:
    Timer() = default;
    void start() {
        m_stopped = false;
        m_start = std::chrono::system_clock::now();
    }
    void stop() {
        if (m_stopped) return;
        m_stopped = true;
        m_accumulated +=
            std::chrono::duration<double, std::nano>(std::chrono::system_clock::now() - m_start).count();
        ++m_stops;
    }
    void clear() {
        m_accumulated = 0;
        m_stops = 0;
        m_stopped = true;
    }
    double nanoseconds() const { return m_accumulated; }
    // The running total including the current run, without stopping the timer.
    double elapsed_ns() const {
        return m_accumulated +
               (m_stopped
                    ? 0.0
                    : std::chrono::duration<double, std::nano>(std::chrono::system_clock::now() - m_start)
                          .count());
    }
    // Moves the start of the running measurement back to an earlier moment.
    void backdate(std::chrono::system_clock::time_point earlier) { m_start = earlier; }
    bool stopped() const { return m_stopped; }
    int stops() const { return m_stops; }

  private:
    std::chrono::system_clock::time_point m_start{};
    double m_accumulated = 0;
    int m_stops = 0;
    bool m_stopped = true;
};

class Duration {
  public:
    using seconds_t = std::chrono::duration<double>;
    Duration() = default;
    explicit Duration(seconds_t d) : m_d(d) {}
    static Duration from_nanoseconds(long long n) { return Duration(seconds_t(n * 1e-9)); }
    static Duration from_milliseconds(long long n) { return Duration(seconds_t(n * 1e-3)); }
    static Duration from_centiseconds(long long n) { return Duration(seconds_t(n * 1e-2)); }
    static Duration from_minutes(long long n) { return Duration(seconds_t(n * 60.0)); }
    static Duration from_seconds(double s) { return Duration(seconds_t(s)); }
    Duration &operator+=(const Duration &o) {
        m_d += o.m_d;
        return *this;
    }
    Duration &operator-=(const Duration &o) {
        m_d -= o.m_d;
        return *this;
    }
    bool operator==(const Duration &o) const { return m_d == o.m_d; }
    bool operator!=(const Duration &o) const { return m_d != o.m_d; }
    double nanoseconds() const { return m_d.count() * 1e9; }
    double microseconds() const { return m_d.count() * 1e6; }
    double milliseconds() const { return m_d.count() * 1e3; }
    double centiseconds() const { return m_d.count() * 1e2; }
    double seconds() const { return m_d.count(); }
    double minutes() const { return m_d.count() / 60.0; }

  private:
    seconds_t m_d{0};
};
inline Duration operator+(Duration a, const Duration &b) { return a += b; }
inline Duration operator-(Duration a, const Duration &b) { return a -= b; }

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

class TimeManager {
  public:
    TimeManager() { reset(); }
    void reset(); // every limit to "not given"; the lag is kept
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
    void set_lag(int ms) { m_lag = ms; }
    void set_infinite(bool on) { m_infinite = on; }
    void set_pondering(bool on) { m_pondering = on; }
    void ponderhit() { m_pondering = false; }
    void set_white_to_move(bool on) { m_white_to_move = on; }
    void stop_timer() { m_timer.stop(); }

    bool infinite() const { return m_infinite; }
    bool pondering() const { return m_pondering; }
    std::uint64_t movetime() const { return m_movetime; }
    int movestogo() const { return m_movestogo; }
    int lag() const { return m_lag; }
    // The side to move plays on a clock (wtime or btime given).
    bool clock_running() const;

    bool time_to_move();
    int remaining_time();
    // Per cent of the planned (soft) time used.
    int percentage();
    // Elapsed milliseconds of the running search.
    std::uint64_t elapsed_ms();
    TimeBudget budget() const;
    // The hard time, or "not given" while pondering or infinite.
    std::uint64_t hard_limit_ms() const;
    std::uint64_t deadline_ms() const { return hard_limit_ms(); }
    std::uint64_t target_ms() const { return budget().soft; }
    // The protocol's cost of one move, measured from a search's end to the GUI reading "bestmove" (one
    // 5 ms polling pass and the write), with room for a loaded machine.
    static constexpr std::uint64_t move_overhead_ms = 10;

  private:
    int m_movestogo;
    bool m_movestogo_given;
    int m_mate;
    int m_lag = 200;
    std::uint64_t m_wtime, m_btime, m_winc, m_binc, m_movetime;
    // The front end clears these while a ponder or infinite search runs.
    std::atomic<bool> m_infinite{false}, m_pondering{false};
    bool m_white_to_move = true;
    std::chrono::system_clock::time_point m_origin{};
    Timer m_timer;
};

#endif
