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
using Queue = std::deque<Communicator::Message>;

void push(Queue &queue, std::mutex &mutex, std::string message,
          std::chrono::system_clock::time_point arrived) {
    std::lock_guard<std::mutex> lock(mutex);
    queue.push_back({std::move(message), arrived});
}

// The front message, or an empty one when the queue is empty.
Communicator::Message pop(Queue &queue, std::mutex &mutex) {
    std::lock_guard<std::mutex> lock(mutex);
    if (queue.empty()) return {};
    Communicator::Message message = std::move(queue.front());
    queue.pop_front();
    return message;
}
} // namespace

void Communicator::to_engine(std::string message) {
    to_engine(std::move(message), std::chrono::system_clock::now());
}

void Communicator::to_engine(std::string message, std::chrono::system_clock::time_point arrived) {
    log("Communicator::to_engine", message);
    push(m_to_engine, m_to_engine_mutex, std::move(message), arrived);
}

void Communicator::to_interface(std::string message) {
    log("Communicator::to_interface", message);
    push(m_to_interface, m_to_interface_mutex, std::move(message), std::chrono::system_clock::now());
}

std::string Communicator::from_interface() {
    Message message = pop(m_to_engine, m_to_engine_mutex);
    if (!message.text.empty()) m_last_arrival = message.arrived;
    log("Communicator::from_interface", message.text);
    return std::move(message.text);
}

std::string Communicator::from_engine() {
    Message message = pop(m_to_interface, m_to_interface_mutex);
    log("Communicator::from_engine", message.text);
    return std::move(message.text);
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
