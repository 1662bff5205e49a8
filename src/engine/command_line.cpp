#include "engine/command_line.h"

#include <fstream>
#include <string>

#include "engine/communicator.h"
#include "engine/engine.h"

namespace {
// The same bench as the UCI command: one engine, one command, then the shutdown a "quit" gives.
void bench() {
    std::ofstream log;
    Communicator comm;
    Engine engine(comm, log);
    comm.to_engine("bench");
    engine.from_console();
    comm.to_engine("quit");
    engine.from_console();
}
} // namespace

int run_command_line(int argc, const char *const *argv, std::ostream &err) {
    if (argc == 2 && std::string(argv[1]) == "bench") {
        bench();
        return 0;
    }
    err << "usage: " << (argc > 0 ? argv[0] : "dravnik") << " [bench]" << std::endl;
    return 2;
}
