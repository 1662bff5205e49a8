#include "search/tunable.h"

#ifdef DRAVNIK_TUNE

std::vector<Tunable> &tunables() {
    // A function's static: the registrations run during static initialisation, in any translation unit.
    static std::vector<Tunable> table;
    return table;
}

bool register_tunable(const Tunable &t) {
    tunables().push_back(t);
    return true;
}

void set_tunable(Tunable &t, long long value) {
    *t.value = static_cast<int>(value < t.min ? t.min : value > t.max ? t.max : value);
}

#endif
