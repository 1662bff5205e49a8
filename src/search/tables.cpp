#include "search/tables.h"

// Tables is header-only today; this unit keeps its header compiled on its own in every build.
