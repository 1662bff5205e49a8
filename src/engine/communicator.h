// Two message queues between the console side and the engine side, each guarded by its own mutex.
#ifndef DRAVNIK_ENGINE_COMMUNICATOR_H
#define DRAVNIK_ENGINE_COMMUNICATOR_H

#include <chrono>
#include <deque>
#include <fstream>
#include <mutex>
#include <string>

class Communicator {
  public:
    Communicator();
    Communicator(const Communicator &) = delete;
    Communicator &operator=(const Communicator &) = delete;

    // An empty string means "no message": callers never queue empty strings.
    void to_engine(std::string message);
    // Passes on a message that arrived earlier elsewhere, keeping the moment it arrived.
    void to_engine(std::string message, std::chrono::system_clock::time_point arrived);
    void to_interface(std::string message);
    std::string from_interface();
    std::string from_engine();
    // When the message last taken by from_interface() arrived: a "go" counts its clock from then.
    std::chrono::system_clock::time_point last_arrival() const { return m_last_arrival; }

    void set_log(bool on);
    void clear();
    void lock_interface_to_engine() { m_to_engine_mutex.lock(); }
    void lock_engine_to_interface() { m_to_interface_mutex.lock(); }
    void unlock_interface_to_engine() { m_to_engine_mutex.unlock(); }
    void unlock_engine_to_interface() { m_to_interface_mutex.unlock(); }
    void set_id(int id) { m_id = id; }
    int id() const { return m_id; }

    struct Message {
        std::string text;
        std::chrono::system_clock::time_point arrived;
    };

  private:
    void log(const char *label, const std::string &message);

    int m_id;
    bool m_log_enabled;
    std::ofstream m_log;
    std::mutex m_to_engine_mutex;
    std::mutex m_to_interface_mutex;
    std::deque<Message> m_to_engine;
    std::deque<Message> m_to_interface;
    std::chrono::system_clock::time_point m_last_arrival{};
};

#endif
