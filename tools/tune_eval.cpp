// Fits the constants of the evaluation's own measuring rules (eval/measures.h) to game results, with the
// 47 weights fixed: the logistic fit of result against score, first the scaling constant, then the
// constants, by gradient descent on a model that is exact in the scales and linearised in the integer
// constants (their effect on each variable is measured by moving each constant one step over all
// positions). Each round measures anew at the new values, so the rules' own non-linearities (caps,
// products) are followed. Every tenth position is held out. Prints the loss before and after on both,
// and the constants that moved most; writes the fitted values as src/eval/measures_values.inc.
// A position that carries a search score as well ("FEN;result;score", evaluation units from white's
// side) is fitted to a blend: result_share times its game's result plus the rest times the score's
// expected result (one result says little about one position; a deeper search knows more of it).
//
// Constants named in keep (comma-separated prefixes of their names, as the output prints them) stay as they
// are: for a rule the fit's quiet positions cannot measure, or one set by other means.
//
//   tune_eval positions.txt [rounds=3] [out=measures_values.inc] [max_positions] [result_share=0.5] [keep]
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "eval/evaluation.h"
#include "eval/measures.h"

namespace {

struct Sample {
    float result; // from white's side
    float target; // what the fit aims at: the result, or its blend with the search score's
    float score;  // the search score from white's side, if has_score
    bool has_score;
    float fixed;      // the weighted sum of the variables whose rules are not ours
    float divisor;    // 2 with opposite-coloured bishops, else 1
    float weight[36]; // blended weight of each free variable at this position's phase
    float raw[36];    // each free variable before its scale
    bool special;     // scored by a special endgame rule: the linear sum does not apply
    bool held_out;
};

// One position's measured response of a free variable's raw count to one integer constant.
struct Slope {
    std::uint16_t parameter;
    std::uint8_t variable;
    float delta;
};

struct Data {
    std::vector<ChessPosition> positions;
    std::vector<Sample> samples;
    std::vector<std::size_t> first; // samples[i]'s slopes are slopes[first[i] .. first[i + 1])
    std::vector<Slope> slopes;
};

float round_half_away(float x) { return std::copysign(std::floor(std::fabs(x) + 0.5f), x); }

// Measures every free variable of every position at the current constants. Returns the scores.
void measure(Data &d, const BoardTables &tables, std::vector<std::array<float, 36>> &raw,
             std::vector<float> *scores) {
    ChessPosition cur(tables);
    Evaluation e(cur, tables); // a new one: its caches hold values measured with other constants
    const float *scale = measures().scale;
    raw.resize(d.positions.size());
    if (scores) scores->resize(d.positions.size());
    for (std::size_t i = 0; i < d.positions.size(); ++i) {
        cur = d.positions[i];
        e.init();
        e.full_eval();
        const std::vector<float> &var = e.variable_vector();
        for (int k = 0; k < free_variable_count; ++k) {
            const int v = free_variables[k];
            raw[i][k] = scale[v] != 0.0f ? var[v] / scale[v] : 0.0f;
        }
        if (scores) (*scores)[i] = e.last_score();
    }
}

// The per-position constants of the model: weights, fixed part, divisor, special rules.
void describe(Data &d, const BoardTables &tables) {
    ChessPosition cur(tables);
    Evaluation e(cur, tables);
    const std::vector<float> &mg = e.weight_mg_vector(), &eg = e.weight_eg_vector();
    long special = 0;
    for (std::size_t i = 0; i < d.positions.size(); ++i) {
        Sample &s = d.samples[i];
        cur = d.positions[i];
        e.init();
        e.full_eval();
        const std::vector<float> &var = e.variable_vector();
        const float mgf = e.mg_factor(), egf = e.eg_factor();
        float acc = 0.0f, free_part = 0.0f;
        std::vector<bool> is_free(Weight::size, false);
        for (int k = 0; k < free_variable_count; ++k) {
            const int v = free_variables[k];
            is_free[v] = true;
            s.weight[k] = mg[v] * mgf + eg[v] * egf;
        }
        for (int v = 0; v < Weight::size; ++v) {
            const float term = var[v] * mg[v] * mgf + var[v] * eg[v] * egf;
            acc += term;
            if (is_free[v]) free_part += term;
        }
        s.fixed = acc - free_part;
        s.divisor = var[v_opposite_colored_bishops] + 1.0f;
        s.special = std::fabs(round_half_away(acc / s.divisor) - e.last_score()) > 0.5f;
        special += s.special;
    }
    std::printf("%ld positions scored by special endgame rules are left out of the fit\n", special);
}

double sigmoid(double score, double k) { return 1.0 / (1.0 + std::pow(10.0, -k * score / 400.0)); }

// Mean squared error of the real evaluation's scores, on the fitted or the held-out positions.
double loss_of_scores(const Data &d, const std::vector<float> &scores, double k, bool held_out) {
    double sum = 0;
    long n = 0;
    for (std::size_t i = 0; i < scores.size(); ++i) {
        if (d.samples[i].held_out != held_out) continue;
        const double err = d.samples[i].target - sigmoid(scores[i], k);
        sum += err * err;
        ++n;
    }
    return n ? sum / n : 0;
}

double fit_k(const Data &d, const std::vector<float> &scores) {
    double lo = 0.2, hi = 4.0;
    for (int it = 0; it < 60; ++it) { // golden section: the loss is unimodal in k
        const double a = lo + (hi - lo) * 0.382, b = lo + (hi - lo) * 0.618;
        if (loss_of_scores(d, scores, a, false) < loss_of_scores(d, scores, b, false))
            hi = b;
        else
            lo = a;
    }
    return (lo + hi) / 2;
}

// The model's score of a sample at parameters theta (scales first, then the integer constants' offsets
// from the values the slopes were measured at).
double model_score(const Data &d, std::size_t i, const std::vector<double> &theta, int nscales,
                   const std::vector<std::array<float, 36>> &raw, std::vector<double> &shifted) {
    const Sample &s = d.samples[i];
    for (int k = 0; k < free_variable_count; ++k)
        shifted[k] = raw[i][k];
    for (std::size_t j = d.first[i]; j < d.first[i + 1]; ++j)
        shifted[d.slopes[j].variable] += d.slopes[j].delta * theta[nscales + d.slopes[j].parameter];
    double acc = s.fixed;
    for (int k = 0; k < free_variable_count; ++k)
        acc += s.weight[k] * theta[k] * shifted[k];
    return acc / s.divisor;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr,
                     "usage: tune_eval positions.txt [rounds] [out.inc] [max_positions] [result_share] [keep]\n");
        return 2;
    }
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
    const std::string out_path = argc > 3 ? argv[3] : "measures_values.inc";
    const long max_positions = argc > 4 ? std::atol(argv[4]) : 100000000L;
    const double result_share = argc > 5 ? std::atof(argv[5]) : 0.5;
    std::vector<std::string> keep;
    if (argc > 6)
        for (std::stringstream list(argv[6]); list.good();) {
            std::string prefix;
            std::getline(list, prefix, ',');
            if (!prefix.empty()) keep.push_back(prefix);
        }
    auto kept = [&](const std::string &name) {
        for (const std::string &k : keep)
            if (name.rfind(k, 0) == 0) return true;
        return false;
    };
    const auto tables = std::make_unique<BoardTables>();

    Data d;
    {
        std::ifstream in(argv[1]);
        ChessPosition pos(*tables);
        long line_no = 0;
        for (std::string line; std::getline(in, line) && line_no < max_positions;) {
            const auto semi = line.find(';');
            if (semi == std::string::npos) continue;
            try {
                pos.fen(line.substr(0, semi));
            } catch (const std::exception &) {
                continue;
            }
            Sample s{};
            char *end = nullptr;
            s.result = s.target = std::strtof(line.c_str() + semi + 1, &end);
            if (*end == ';') {
                s.score = std::strtof(end + 1, nullptr);
                s.has_score = true;
            }
            s.held_out = line_no++ % 10 == 9;
            d.positions.push_back(pos);
            d.samples.push_back(s);
        }
    }
    std::printf("%zu positions (%zu held out)\n", d.positions.size(), d.positions.size() / 10);
    if (d.positions.empty()) return 1;
    describe(d, *tables);

    Measures &m = tunable_measures();
    const Measures start = m;
    std::vector<MeasureParameter> params = measure_parameters(m);
    std::vector<MeasureParameter> integers;
    for (const MeasureParameter &p : params)
        if (p.integer) integers.push_back(p);
    const int nscales = free_variable_count;

    std::vector<std::array<float, 36>> raw, moved;
    std::vector<float> scores;
    measure(d, *tables, raw, &scores);
    const double k = fit_k(d, scores); // against the results alone: the scores' labels need k
    long labelled = 0;
    for (Sample &s : d.samples)
        if (s.has_score) {
            s.target = static_cast<float>(result_share * s.result + (1 - result_share) * sigmoid(s.score, k));
            ++labelled;
        }
    std::printf("%ld positions with a search score, their result's share of the label %.2f\n", labelled,
                result_share);
    const double before_fit = loss_of_scores(d, scores, k, false);
    const double before_held = loss_of_scores(d, scores, k, true);
    std::printf("scaling constant K = %.4f\nloss before: fitted %.6f, held out %.6f\n", k, before_fit,
                before_held);
    std::fflush(stdout);

    for (int round = 0; round < rounds; ++round) {
        // The slopes: each integer constant one step up (or down at the top of its range).
        std::vector<std::vector<Slope>> per_sample(d.positions.size());
        for (std::size_t p = 0; p < integers.size(); ++p) {
            int &value = *integers[p].integer;
            const int step = value < integers[p].high ? 1 : -1;
            value += step;
            measure(d, *tables, moved, nullptr);
            value -= step;
            for (std::size_t i = 0; i < d.positions.size(); ++i)
                for (int v = 0; v < free_variable_count; ++v)
                    if (moved[i][v] != raw[i][v])
                        per_sample[i].push_back({static_cast<std::uint16_t>(p), static_cast<std::uint8_t>(v),
                                                 (moved[i][v] - raw[i][v]) / step});
        }
        d.first.assign(1, 0);
        d.slopes.clear();
        for (const auto &list : per_sample) {
            d.slopes.insert(d.slopes.end(), list.begin(), list.end());
            d.first.push_back(d.slopes.size());
        }

        // Adam on the model: scales as they are, integer constants as offsets from their current values.
        std::vector<double> theta(nscales + integers.size(), 0.0), mom(theta.size(), 0.0),
            vel(theta.size(), 0.0), grad(theta.size());
        std::vector<double> rate(theta.size());
        for (int s = 0; s < nscales; ++s) {
            theta[s] = m.scale[free_variables[s]];
            rate[s] = kept(params[s].name) ? 0 : 0.002 * std::max(0.05, std::fabs(theta[s]));
        }
        for (std::size_t p = 0; p < integers.size(); ++p)
            rate[nscales + p] =
                kept(integers[p].name)
                    ? 0
                    : 0.05 * std::max(1.0, std::fabs(static_cast<double>(*integers[p].integer)) / 10);
        std::vector<double> shifted(free_variable_count);
        const double ln10 = std::log(10.0);
        for (int epoch = 1; epoch <= 400; ++epoch) {
            std::fill(grad.begin(), grad.end(), 0.0);
            double sum = 0;
            long n = 0;
            for (std::size_t i = 0; i < d.samples.size(); ++i) {
                const Sample &s = d.samples[i];
                if (s.held_out || s.special) continue;
                const double score = model_score(d, i, theta, nscales, raw, shifted);
                const double p = sigmoid(score, k);
                const double err = p - s.target;
                sum += err * err;
                ++n;
                // d loss / d score, then through the bilinear model.
                const double g = 2 * err * p * (1 - p) * ln10 * k / 400 / s.divisor;
                for (int v = 0; v < free_variable_count; ++v)
                    grad[v] += g * s.weight[v] * shifted[v];
                for (std::size_t j = d.first[i]; j < d.first[i + 1]; ++j) {
                    const Slope &sl = d.slopes[j];
                    grad[nscales + sl.parameter] += g * s.weight[sl.variable] * theta[sl.variable] * sl.delta;
                }
            }
            for (std::size_t t = 0; t < theta.size(); ++t) {
                const double gt = grad[t] / n;
                mom[t] = 0.9 * mom[t] + 0.1 * gt;
                vel[t] = 0.999 * vel[t] + 0.001 * gt * gt;
                const double mh = mom[t] / (1 - std::pow(0.9, epoch)),
                             vh = vel[t] / (1 - std::pow(0.999, epoch));
                theta[t] -= rate[t] * mh / (std::sqrt(vh) + 1e-12);
                if (t < static_cast<std::size_t>(nscales)) theta[t] = std::max(0.0, theta[t]);
            }
            if (epoch % 100 == 0)
                std::printf("round %d epoch %d model loss %.6f\n", round + 1, epoch, sum / n);
            std::fflush(stdout);
        }
        for (int s = 0; s < nscales; ++s)
            m.scale[free_variables[s]] = static_cast<float>(theta[s]);
        for (std::size_t p = 0; p < integers.size(); ++p) {
            const long value = std::lround(*integers[p].integer + theta[nscales + p]);
            *integers[p].integer =
                static_cast<int>(std::clamp<long>(value, integers[p].low, integers[p].high));
        }
        measure(d, *tables, raw, &scores);
        std::printf("round %d: loss fitted %.6f, held out %.6f\n", round + 1,
                    loss_of_scores(d, scores, k, false), loss_of_scores(d, scores, k, true));
        std::fflush(stdout);
    }

    std::printf("\nloss before: fitted %.6f, held out %.6f\nloss after:  fitted %.6f, held out %.6f\n",
                before_fit, before_held, loss_of_scores(d, scores, k, false),
                loss_of_scores(d, scores, k, true));
    // The constants that moved most, relative to their size.
    Measures old = start;
    std::vector<MeasureParameter> was = measure_parameters(old);
    std::vector<std::pair<double, std::string>> moves;
    for (std::size_t p = 0; p < params.size(); ++p) {
        const double a = was[p].integer ? *was[p].integer : *was[p].real;
        const double b = params[p].integer ? *params[p].integer : *params[p].real;
        char text[160];
        std::snprintf(text, sizeof text, "%-40s %10.3f -> %10.3f", params[p].name.c_str(), a, b);
        moves.emplace_back(std::fabs(b - a) / std::max(1.0, std::fabs(a)), text);
    }
    std::sort(moves.rbegin(), moves.rend());
    std::printf("\nmoved most:\n");
    for (std::size_t i = 0; i < moves.size() && i < 20; ++i)
        std::printf("  %s\n", moves[i].second.c_str());
    std::ofstream(out_path) << measures_source(m);
    std::printf("\nwritten to %s\n", out_path.c_str());
    return 0;
}
