#include "engine/communicator.h"

#include <chrono>
#include <iomanip>

Communicator::Communicator()
    : m_id(static_cast<int>(std::chrono::system_clock::now().time_since_epoch().count() & 0x1ff)),
      m_log_enabled(false) {}

void Communicator::log(const char *label, const std::string &message) {
    if (!m_log_enabled || message.empty()) return;
    m_log << std::left << std::setw(30) << label << message << "\n" << std::flush;
}

namespace {
void push(std::deque<std::string> &queue, std::mutex &mutex, const std::string &message) {
    std::lock_guard<std::mutex> lock(mutex);
    queue.push_back(message);
}

// The front message, or the empty string when the queue is empty.
std::string pop(std::deque<std::string> &queue, std::mutex &mutex) {
    std::lock_guard<std::mutex> lock(mutex);
    if (queue.empty()) return std::string();
    std::string message = std::move(queue.front());
    queue.pop_front();
    return message;
}
} // namespace

void Communicator::to_engine(std::string message) {
    push(m_to_engine, m_to_engine_mutex, message);
    log("Communicator::to_engine", message);
}

void Communicator::to_interface(std::string message) {
    push(m_to_interface, m_to_interface_mutex, message);
    log("Communicator::to_interface", message);
}

std::string Communicator::from_interface() {
    std::string message = pop(m_to_engine, m_to_engine_mutex);
    log("Communicator::from_interface", message);
    return message;
}

std::string Communicator::from_engine() {
    std::string message = pop(m_to_interface, m_to_interface_mutex);
    log("Communicator::from_engine", message);
    return message;
}

void Communicator::set_log(bool on) {
    m_log_enabled = on;
    if (on) m_log.open("comm_" + std::to_string(m_id) + ".log", std::ios::out | std::ios::trunc);
}

void Communicator::clear() {
    {
        std::lock_guard<std::mutex> lock(m_to_interface_mutex);
        m_to_interface.clear();
    }
    std::lock_guard<std::mutex> lock(m_to_engine_mutex);
    m_to_engine.clear();
}
