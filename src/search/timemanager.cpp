#include "search/timemanager.h"

#include <algorithm>

std::uint64_t fixed_time_used(std::uint64_t movetime, std::uint64_t margin) {
    constexpr std::uint64_t overhead = TimeManager::move_overhead_ms;
    // The answer must be out by the move time, the protocol's cost included.
    if (movetime <= overhead) return 1;
    // Long move times keep the safety margin; shorter ones still think up to the floor, so that more time
    // given never means less thinking (a margin subtracted alone would leave nothing at 200 ms).
    const std::uint64_t floor = std::min(movetime - overhead, fixed_time_floor_ms);
    return movetime > margin + floor ? movetime - margin : floor;
}

TimeBudget plan_time(std::uint64_t time_left, std::uint64_t increment, int movestogo, std::uint64_t movetime,
                     std::uint64_t margin) {
    using std::min;
    constexpr std::uint64_t overhead = TimeManager::move_overhead_ms;
    if (movetime != time_not_given) {
        const std::uint64_t end = fixed_time_used(movetime, margin);
        return {end, end};
    }
    if (time_left == time_not_given) return {time_not_given, time_not_given};
    const std::uint64_t t = time_left, i = increment;

    // The ordinary shares: B from the clock and the moves to go (40 when the GUI gives none), the planned
    // time S = 1.5 B and the hard limit H = 2.5 B at 40 moves to go.
    const std::uint64_t m = movestogo > 0 ? static_cast<std::uint64_t>(movestogo) : 40;
    const std::uint64_t b = (m * i + t) / (m + 2);
    const std::uint64_t s = (m * b) / 40 + b - b / 2;
    const std::uint64_t h = 2 * ((b / 2) * m / 40 + (b - b / 4));

    // Bounded by the clock. The horizon assumes the game lasts at least as many moves again, so that in
    // sudden death an increment never pays for more than the move it comes with: the coming increments
    // count at three quarters and every move sets its protocol cost aside. A search usually ends at 60 per
    // cent of its planned time, so the plan is 5/3 of the share.
    const std::uint64_t horizon = movestogo > 0 ? min(m, sudden_death_horizon) : sudden_death_horizon;
    const std::uint64_t income = t + (horizon - 1) * (3 * i / 4);
    const std::uint64_t costs = (horizon + 1) * overhead;
    const std::uint64_t pool = income > costs ? income - costs : 0;
    // A reserve never planned with: it absorbs a late answer and grows with the increment that refills it.
    const std::uint64_t reserve = 2 * i + 5 * overhead;
    const std::uint64_t avail = t > overhead + reserve ? t - overhead - reserve : 0;

    const std::uint64_t soft = min({s, 5 * pool / (3 * horizon), avail});
    const std::uint64_t hard = min({h, 3 * soft, avail / 3 + i / 2, avail});
    return {soft, std::max(soft, hard)};
}

void TimeManager::reset() {
    m_movestogo = 999;
    m_movestogo_given = false;
    m_mate = 999999;
    m_wtime = m_btime = time_not_given;
    m_winc = m_binc = 0;
    m_movetime = time_not_given;
    m_infinite = m_pondering = false;
    m_origin = std::chrono::system_clock::time_point{};
    m_plan = {time_not_given, time_not_given};
    m_hard_at = std::chrono::system_clock::time_point::max();
}

void TimeManager::start() {
    m_start = std::chrono::system_clock::now();
    // The clock of the GUI runs since it sent "go": count the time the command spent in the queues.
    if (m_origin != std::chrono::system_clock::time_point{} && m_origin < m_start) m_start = m_origin;
    m_plan = budget();
    m_hard_at = m_plan.hard == time_not_given ? std::chrono::system_clock::time_point::max()
                                              : m_start + std::chrono::milliseconds(m_plan.hard);
}

std::uint64_t TimeManager::elapsed_ms() const {
    const auto d = std::chrono::system_clock::now() - m_start;
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(d).count());
}

TimeBudget TimeManager::budget() const {
    const bool white = m_white_to_move;
    return plan_time(white ? m_wtime : m_btime, white ? m_winc : m_binc, m_movestogo_given ? m_movestogo : 0,
                     m_movetime, m_lag);
}

bool TimeManager::time_to_move() const {
    if (m_infinite.load(std::memory_order_relaxed) || m_pondering.load(std::memory_order_relaxed))
        return false;
    return std::chrono::system_clock::now() >= m_hard_at;
}

int TimeManager::percentage() const {
    if (m_infinite || m_pondering) return 0;
    const std::uint64_t s = m_plan.soft;
    if (s == time_not_given) return 0;
    return s == 0 ? 100 : static_cast<int>(elapsed_ms() * 100 / s);
}

int TimeManager::remaining_time() const {
    const std::uint64_t elapsed = elapsed_ms();
    const std::uint64_t total =
        m_movetime != time_not_given ? m_movetime : (m_white_to_move ? m_wtime : m_btime);
    const long long left = static_cast<long long>(total) - static_cast<long long>(elapsed);
    return left > 2147483647LL ? 2147483647 : static_cast<int>(left); // "not given" reads as plenty
}

std::uint64_t TimeManager::hard_limit_ms() const {
    if (m_infinite || m_pondering) return time_not_given;
    return m_plan.hard;
}

bool TimeManager::clock_running() const { return (m_white_to_move ? m_wtime : m_btime) != time_not_given; }

bool stop_before_iteration(bool resolved, int used_percent, int stable) {
    // Past 60 per cent of the planned time a new iteration would rarely finish; once the best move has
    // stood for two iterations that is where the search ends, and past the planned time in any case.
    return resolved && (used_percent >= 100 || (used_percent >= 60 && stable >= 2));
}

bool TimeManager::soft_limit_reached(bool resolved, int stable) const {
    if (!clock_running() || m_movetime != time_not_given || m_infinite || m_pondering) return false;
    return stop_before_iteration(resolved, percentage(), stable);
}

bool TimeManager::keep_waiting() const {
    // Pondering or analysing, the move is owed only at ponderhit or stop.
    if (m_pondering.load() || m_infinite.load()) return true;
    // Otherwise up to the planned time, no further: waiting on to the hard limit on every move would spend
    // the clock faster than a full-strength search and lose late in a fast game.
    // (The hard limit is never below the plan, so it cannot have passed.)
    return m_plan.soft != time_not_given && elapsed_ms() < m_plan.soft;
}
