// Fuzz target: the UCI interpreter fed arbitrary lines through its communicator, as the main loop feeds it.
// One engine serves every input (building it costs too much per input); each input starts from
// "ucinewgame" with the options at their defaults. Searches are held to a few nodes, and commands that
// are slow by design (bench, deep perft, huge hash tables) or end the engine (quit) are left out.
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "engine/communicator.h"
#include "engine/engine.h"
#include "engine/uci_text.h"

namespace {
struct Harness {
    std::ofstream log;
    Communicator comm;
    Engine engine{comm, log};
    std::ostringstream sink; // "eval" writes to standard output

    Harness() {
        std::cout.rdbuf(sink.rdbuf());
        send("setoption name Hash value 6"); // "ucinewgame" clears the table before every input
    }

    // One pass of the main loop; true once a "bestmove" line came out.
    bool pass() {
        engine.from_console();
        engine.to_console();
        bool best = false;
        for (std::string out; !(out = comm.from_engine()).empty();)
            best = best || out.rfind("bestmove", 0) == 0;
        sink.str("");
        return best;
    }

    void send(const std::string &line) {
        comm.to_engine(line);
        // A search of a few nodes ends quickly; a ponder or infinite one waits for "stop" or "ponderhit".
        const bool waits = line.rfind("go", 0) == 0 && line.find("ponder") == std::string::npos &&
                           line.find("infinite") == std::string::npos &&
                           line.find("perft") == std::string::npos;
        bool best = pass();
        for (int i = 0; waits && !best && i < 100000; ++i)
            best = pass();
    }
};

Harness &harness() {
    static Harness h;
    return h;
}

// The line as the harness passes it on, or "" to leave it out.
std::string tame(const std::string &line) {
    std::istringstream in(line);
    std::vector<std::string> w;
    for (std::string word; in >> word;)
        w.push_back(word);
    if (w.empty()) return line;
    if (w[0] == "bench" || w[0] == "quit") return "";
    if (w[0] == "setoption")
        for (const std::string &x : w)
            if (equal_options(x, "Hash") || equal_options(x, "Debug")) return "";
    if (w[0] != "go") return line;
    // Every search gets a node limit of its own that no later word can lift.
    std::string out = "go nodes 64";
    for (std::size_t i = 1; i < w.size(); ++i) {
        if (w[i] == "nodes") {
            ++i;
            continue;
        }
        if (w[i] == "perft" &&
            (i + 1 >= w.size() || w[i + 1].size() != 1 || w[i + 1][0] < '0' || w[i + 1][0] > '2'))
            return "";
        out += " " + w[i];
    }
    return out;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size > 4096) return 0;
    Harness &h = harness();
    h.send("setoption name Threads value 1");
    h.send("setoption name MultiPV value 1");
    h.send("setoption name UCI_Chess960 value false");
    h.send("setoption name UCI_LimitStrength value false");
    h.send("ucinewgame");
    std::istringstream in(std::string(reinterpret_cast<const char *>(data), size));
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back(); // as the console reader does
        const std::string t = tame(line);
        if (!t.empty()) h.send(t);
    }
    h.send("stop");
    h.send("isready");
    return 0;
}
