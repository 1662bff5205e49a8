// Process entry: the console reader thread, the engine and the polling loop that joins them.
#include <chrono>
#include <fstream>
#include <iostream>
#include <thread>

#include "engine/command_line.h"
#include "engine/communicator.h"
#include "engine/console_input.h"
#include "engine/engine.h"

namespace {
// The loop's pause, short: the GUI's clock runs from its "go" to our "bestmove", and with an increment of a
// hundredth of a second, pausing 5 ms before taking the "go" and again before seeing the search end spent
// more than the increment gave back, until the clock ran out.
void pause_1ms() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

void answer_uci() {
    std::cout << "id name Dravnik 0.40.1" << std::endl;
    std::cout << "id author Harvenlo" << std::endl;
    Engine::announce_options(std::cout);
    std::cout << "uciok" << std::endl;
}

// Everything the engine has queued goes out now: a backlog of info lines never delays "bestmove".
void write_queued(Communicator &engine_side) {
    bool wrote = false;
    for (std::string out = engine_side.from_engine(); !out.empty(); out = engine_side.from_engine()) {
        std::cout << out << '\n';
        wrote = true;
    }
    if (wrote) std::cout << std::flush;
}
} // namespace

int main(int argc, char **argv) {
    if (argc > 1) return run_command_line(argc, argv, std::cerr);
    std::ofstream engine_log;
    Communicator engine_side;
    Communicator console_side;
    ConsoleInput input(console_side);
    std::thread console_thread(std::ref(input));
    {
        Engine engine(engine_side, engine_log);
        for (;;) {
            const std::string line = console_side.from_interface();
            if (line == "uci") { // answered at once, without the pause
                answer_uci();
                continue;
            }
            if (ConsoleInput::quit_line(line)) break; // also sent by the reader at the end of input
            if (!line.empty()) engine_side.to_engine(line, console_side.last_arrival());
            engine.from_console();
            engine.to_console();
            write_queued(engine_side);
            // Lines waiting behind this one ("position" and then "go") are taken without a pause.
            if (line.empty()) pause_1ms();
        }
        console_thread.join();
        engine_side.to_engine("quit");
        engine.from_console();
        write_queued(engine_side); // what was answered before "quit" is not lost
    }
    return 0;
}
