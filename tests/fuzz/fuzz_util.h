// Shared pieces of the fuzz targets: the tables, and a check that stops the run on a broken invariant.
#ifndef DRAVNIK_TESTS_FUZZ_FUZZ_UTIL_H
#define DRAVNIK_TESTS_FUZZ_FUZZ_UTIL_H

#include <cstdio>
#include <cstdlib>
#include <string>

#include "board/chessposition.h"

namespace fuzz {

inline const BoardTables &tables() {
    static const BoardTables t;
    return t;
}

// A broken invariant is reported and ends the process, so the fuzzer keeps the input as a crash.
inline void require(bool ok, const char *what, const std::string &detail) {
    if (ok) return;
    std::fprintf(stderr, "fuzz check failed: %s: %s\n", what, detail.c_str());
    std::abort();
}

// Everything the position keeps incrementally must equal a fresh computation.
inline void self_check(const ChessPosition &p) {
    require(p.consistent(), "board consistent", p.fen());
    require(p.key() == p.full_key_from_scratch(), "incremental key", p.fen());
    require(p.materialindex() == p.compute_materialindex(), "material index", p.fen());
}

} // namespace fuzz

#endif
