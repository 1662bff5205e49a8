// Leaf counts of the legal move tree against reference figures for standard and Chess960 positions.
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "movegen/perft.h"

namespace {
struct PerftCase {
    std::string fen;
    int depth;
    std::uint64_t nodes;
};

std::vector<PerftCase> load_cases(std::uint64_t limit) {
    std::vector<PerftCase> cases;
    std::ifstream in(std::string(DRAVNIK_TEST_DATA) + "/perft.txt");
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string fen, part;
        std::getline(fields, fen, ';');
        while (std::getline(fields, part, ';')) {
            int depth = 0;
            unsigned long long nodes = 0;
            if (std::sscanf(part.c_str(), "D%d %llu", &depth, &nodes) == 2 && nodes <= limit)
                cases.push_back({fen, depth, nodes});
        }
    }
    return cases;
}

std::uint64_t node_limit() {
    if (std::getenv("DRAVNIK_PERFT_FULL")) return ~0ULL;
#ifdef NDEBUG
    return 5000000;
#else
    return 300000; // the per-node consistency checks of debug builds are slow
#endif
}

const BoardTables &tables() {
    static const BoardTables t;
    return t;
}
} // namespace

TEST(Perft, ReferenceCounts) {
    const auto cases = load_cases(node_limit());
    ASSERT_GT(cases.size(), 100u);
    ChessPosition pos(tables());
    MoveGenerator gen(tables());
    for (const PerftCase &c : cases) {
        pos.fen(c.fen);
        const std::string before = pos.fen();
        EXPECT_EQ(perft(pos, gen, c.depth), c.nodes) << c.fen << " depth " << c.depth;
        EXPECT_EQ(pos.fen(), before) << "make/unmake did not restore " << c.fen;
    }
}
