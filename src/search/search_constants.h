// Score bounds shared by the search files: the infinite window and the mate scores.
#ifndef DRAVNIK_SEARCH_SEARCH_CONSTANTS_H
#define DRAVNIK_SEARCH_SEARCH_CONSTANTS_H

constexpr int infinity = 32000;
constexpr int mate = 30000;       // a mate at ply p from the root scores mate - p
constexpr int mate_bound = 29897; // beyond this a score is a mate, not an evaluation

#endif
