// The measuring rules' constants: the tuner's writer gives back the table as the source holds it, and a
// changed constant reaches the evaluation.
#include <cstring>
#include <fstream>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

#include "eval/evaluation.h"
#include "eval/measures.h"
#include "eval_test_util.h"

using evaltest::tables;

namespace {
// Puts the measures back however a test ends.
struct Restore {
    Measures saved = measures();
    ~Restore() { tunable_measures() = saved; }
};
} // namespace

TEST(Measures, SourceWriterGivesEveryFieldInOrder) {
    const std::string text = measures_source(measures());
    std::ifstream in(DRAVNIK_TEST_DATA "/../../src/eval/measures_values.inc");
    std::stringstream held;
    held << in.rdbuf();
    EXPECT_EQ(text, held.str()); // what the tuner writes is what the build reads

    // The values, in writing order, are the struct's fields in memory order: 47 scales, then the integers.
    const std::string code = std::regex_replace(text, std::regex(R"(//[^\n]*|/\*.*?\*/)"), "");
    const std::regex number(R"(-?\d+(\.\d+)?(e-?\d+)?)");
    std::vector<double> values;
    for (auto it = std::sregex_iterator(code.begin(), code.end(), number); it != std::sregex_iterator(); ++it)
        values.push_back(std::stod(it->str()));
    const Measures &m = measures();
    const std::size_t integers = (sizeof(Measures) - sizeof(m.scale)) / sizeof(int);
    ASSERT_EQ(values.size(), static_cast<std::size_t>(Weight::size) + integers);
    for (int i = 0; i < Weight::size; ++i)
        EXPECT_FLOAT_EQ(values[i], m.scale[i]) << i;
    const int *first = &m.knight_mobility[0];
    for (std::size_t i = 0; i < integers; ++i)
        EXPECT_EQ(values[Weight::size + i], first[i]) << i;
}

TEST(Measures, ChangedConstantsReachTheEvaluation) {
    Restore restore;
    ChessPosition pos(tables());
    // White's knight and bishop still at home, black's developed; a white passed pawn on h5.
    pos.fen("r3k2r/ppp2p2/2nbbn2/7P/8/8/PPP2PPP/RNB1K2R w KQkq - 0 1");
    Evaluation e(pos, tables());
    e.full_eval();
    const float development = e.variable_vector()[v_development];
    ASSERT_NE(development, 0.0f);
    tunable_measures().scale[v_development] *= 2;
    const float passed = e.variable_vector()[v_passed_pawns];
    tunable_measures().passed_rank[4] += 7; // h5 is the pawn's fifth rank
    e.full_eval();
    EXPECT_EQ(e.variable_vector()[v_development], 2 * development);
    Evaluation fresh(pos, tables()); // its pawn table holds no structure measured with the old values
    fresh.full_eval();
    EXPECT_NEAR(fresh.variable_vector()[v_passed_pawns] - passed,
                tunable_measures().scale[v_passed_pawns] * 7, 1e-4);
}
