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

void Communicator::to_engine(std::string message) {
    {
        std::lock_guard<std::mutex> lock(m_to_engine_mutex);
        m_to_engine.push_back(message);
    }
    log("Communicator::to_engine", message);
}

void Communicator::to_interface(std::string message) {
    {
        std::lock_guard<std::mutex> lock(m_to_interface_mutex);
        m_to_interface.push_back(message);
    }
    log("Communicator::to_interface", message);
}

std::string Communicator::from_interface() {
    std::string message;
    {
        std::lock_guard<std::mutex> lock(m_to_engine_mutex);
        if (!m_to_engine.empty()) {
            message = std::move(m_to_engine.front());
            m_to_engine.pop_front();
        }
    }
    log("Communicator::from_interface", message);
    return message;
}

std::string Communicator::from_engine() {
    std::string message;
    {
        std::lock_guard<std::mutex> lock(m_to_interface_mutex);
        if (!m_to_interface.empty()) {
            message = std::move(m_to_interface.front());
            m_to_interface.pop_front();
        }
    }
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
