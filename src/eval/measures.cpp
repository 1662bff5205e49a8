#include "eval/measures.h"

#include <iomanip>
#include <sstream>

namespace measures_detail {
Measures current = {
#include "eval/measures_values.inc"
};
} // namespace measures_detail

Measures &tunable_measures() { return measures_detail::current; }

namespace {

// Every integer field of Measures in declaration order, with the range a fit may move it in: f(name,
// pointer to the first value, count, low, high). The ranges keep each rule what it is (a bonus stays a
// bonus) and the storm count free of carries.
template <class F> void for_each_field(Measures &m, F f) {
    f("knight_mobility", m.knight_mobility, 9, -300, 300);
    f("bishop_mobility", m.bishop_mobility, 14, -300, 300);
    f("rook_mobility", m.rook_mobility, 15, -100, 100);
    f("queen_mobility", m.queen_mobility, 28, -30, 30);
    f("rook_open_file", &m.rook_open_file, 1, 0, 2000);
    f("rook_half_open_file", &m.rook_half_open_file, 1, 0, 2000);
    f("knight_outpost", &m.knight_outpost, 1, 0, 2000);
    f("bishop_outpost", &m.bishop_outpost, 1, 0, 2000);
    f("attacker_weight", m.attacker_weight, 4, 0, 400);
    f("zone_attack", &m.zone_attack, 1, 0, 400);
    f("weak_zone_square", &m.weak_zone_square, 1, 0, 600);
    f("safe_check", m.safe_check, 4, 0, 2500);
    f("unsafe_check", &m.unsafe_check, 1, 0, 1000);
    f("queenless", &m.queenless, 1, 0, 2500);
    f("danger_offset", &m.danger_offset, 1, -1000, 1000);
    f("danger_threshold", &m.danger_threshold, 1, 0, 1000);
    f("danger_divisor", &m.danger_divisor, 1, 1024, 16384);
    f("king_attack_cap", &m.king_attack_cap, 1, 50, 2000);
    f("shield_near", &m.shield_near, 1, 0, 40);
    f("shield_far", &m.shield_far, 1, 0, 40);
    f("shield_edge", &m.shield_edge, 1, 0, 40);
    f("open_file", &m.open_file, 1, -400, 0);
    f("half_open_file", &m.half_open_file, 1, -400, 0);
    f("castling_right", &m.castling_right, 1, 0, 400);
    f("storm_rank", m.storm_rank, 4, 0, 20);
    f("passed_rank", m.passed_rank, 8, 0, 400);
    f("free_passer_rank", m.free_passer_rank, 8, 0, 400);
    f("hanging_value", m.hanging_value, 4, 0, 40);
    f("queen_checks_cap", &m.queen_checks_cap, 1, 1, 8);
    f("queen_contact_to_move", &m.queen_contact_to_move, 1, 0, 10);
    f("queen_contact_waiting", &m.queen_contact_waiting, 1, 0, 10);
    f("king_pawn_distance", &m.king_pawn_distance, 1, 0, 8);
    f("king_passer_distance", &m.king_passer_distance, 1, 0, 8);
}

} // namespace

std::vector<MeasureParameter> measure_parameters(Measures &m) {
    std::vector<MeasureParameter> out;
    const Weight weights;
    for (int v : free_variables)
        out.push_back({"scale." + weights.names()[v], nullptr, &m.scale[v], 0, 0});
    for_each_field(m, [&](const char *name, int *values, int count, int low, int high) {
        for (int i = 0; i < count; ++i)
            out.push_back({count == 1 ? std::string(name) : std::string(name) + "[" + std::to_string(i) + "]",
                           &values[i], nullptr, low, high});
    });
    return out;
}

std::string measures_source(const Measures &m) {
    std::ostringstream os;
    os << "// The measuring rules' constants, in the order of the fields of Measures (eval/measures.h).\n"
          "// Written by tools/tune_eval; the comments name the fields.\n";
    os << "/* scale */ {";
    for (int i = 0; i < Weight::size; ++i) {
        std::ostringstream v;
        v << std::setprecision(6) << m.scale[i];
        std::string text = v.str();
        if (text.find_first_of(".e") == std::string::npos) text += ".0";
        os << (i ? ", " : "") << text << "f";
    }
    os << "},\n";
    Measures copy = m;
    for_each_field(copy, [&](const char *name, int *values, int count, int, int) {
        os << "/* " << name << " */ ";
        if (count > 1) os << "{";
        for (int i = 0; i < count; ++i)
            os << (i ? ", " : "") << values[i];
        os << (count > 1 ? "},\n" : ",\n");
    });
    return os.str();
}
