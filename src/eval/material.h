// Direct-mapped cache of material balances keyed by the material index, pre-filled with the material
// configurations that occur most often in games.
#ifndef DRAVNIK_EVAL_MATERIAL_H
#define DRAVNIK_EVAL_MATERIAL_H

#include <cstdint>
#include <string>
#include <vector>

#include "board/materialindex.h"

// (material index, MaterialIndex::value() of it), most frequent configurations first.
constexpr int material_prefill_size = 1000;
extern const std::uint64_t material_prefill[material_prefill_size][2];

class Material {
  public:
    static constexpr int slots = 8192;

    Material();

    // The balance in centipawns from white's side; computed and stored (always replacing) on a miss.
    int get_eval(const MaterialIndex &m) {
        Entry &e = m_table[slot(m.index())];
        if (e.key != m.index()) {
            e.key = m.index();
            e.value = m.value();
        }
        return e.value;
    }
    // True when the index is stored in its slot (for tests and statistics).
    bool cached(const MaterialIndex &m) const { return m_table[slot(m.index())].key == m.index(); }
    static int slot(std::uint64_t index) { return static_cast<int>((index * 0x0188465003482008ULL) >> 51); }
    std::string dump() const;

  private:
    struct Entry {
        std::uint64_t key;
        std::int32_t value;
    };
    std::vector<Entry> m_table;
};

#endif
