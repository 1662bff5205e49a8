// Search constants that SPSA may tune. A normal build compiles each as a constant; the tuning build
// (DRAVNIK_TUNE) makes each a variable listed in one table, which the engine offers as a UCI option.
#ifndef DRAVNIK_SEARCH_TUNABLE_H
#define DRAVNIK_SEARCH_TUNABLE_H

// DRAVNIK_TUNABLE(name, default, min, max, step): step is the size of SPSA's trial change at its start
// (tools/spsa.py reads these lines). DRAVNIK_TUNED_CONSTEXPR qualifies the functions that read them.
#define DRAVNIK_TUNABLE_CHECK(name, value, lo, hi, step)                                                     \
    static_assert((lo) <= (value) && (value) <= (hi) && (step) > 0, #name ": default outside its range");

#ifndef DRAVNIK_TUNE

#define DRAVNIK_TUNED_CONSTEXPR constexpr
#define DRAVNIK_TUNABLE(name, value, lo, hi, step)                                                           \
    DRAVNIK_TUNABLE_CHECK(name, value, lo, hi, step)                                                         \
    constexpr int name = value;

#else

#include <vector>

struct Tunable {
    const char *name;
    int *value;
    int default_value, min, max, step;
};

// Every tunable, in the order of its declaration.
std::vector<Tunable> &tunables();
bool register_tunable(const Tunable &t);
// Sets a tunable, held within its range.
void set_tunable(Tunable &t, long long value);

#define DRAVNIK_TUNED_CONSTEXPR inline
// All of them are declared in one header (search/pruning.h): every translation unit defines them in the
// same order, so the registrations run in the order of declaration.
#define DRAVNIK_TUNABLE(name, value, lo, hi, step)                                                           \
    DRAVNIK_TUNABLE_CHECK(name, value, lo, hi, step)                                                         \
    inline int name = value;                                                                                 \
    inline const bool name##_registered = register_tunable({#name, &name, value, lo, hi, step});

#endif

#endif
