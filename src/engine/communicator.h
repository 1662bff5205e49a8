// Two message queues between the console side and the engine side, each guarded by its own mutex.
#ifndef DRAVNIK_ENGINE_COMMUNICATOR_H
#define DRAVNIK_ENGINE_COMMUNICATOR_H

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
    void to_interface(std::string message);
    std::string from_interface();
    std::string from_engine();

    void set_log(bool on);
    void clear();
    void lock_interface_to_engine() { m_to_engine_mutex.lock(); }
    void lock_engine_to_interface() { m_to_interface_mutex.lock(); }
    void unlock_interface_to_engine() { m_to_engine_mutex.unlock(); }
    void unlock_engine_to_interface() { m_to_interface_mutex.unlock(); }
    void set_id(int id) { m_id = id; }
    int id() const { return m_id; }

  private:
    void log(const char *label, const std::string &message);

    int m_id;
    bool m_log_enabled;
    std::ofstream m_log;
    std::mutex m_to_engine_mutex;
    std::mutex m_to_interface_mutex;
    std::deque<std::string> m_to_engine;
    std::deque<std::string> m_to_interface;
};

#endif
