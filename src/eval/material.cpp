#include "eval/material.h"

#include <sstream>

Material::Material() : m_table(slots, Entry{0, 0}) {
    for (const auto &row : material_prefill) {
        const MaterialIndex m(row[0]);
        Entry &e = m_table[slot(row[0])];
        e.key = row[0];
        e.value = m.value();
    }
}

std::string Material::dump() const {
    std::ostringstream os;
    for (int i = 0; i < slots; ++i) {
        const Entry &e = m_table[i];
        if (e.key == 0 && e.value == 0) continue;
        os << i << ": " << std::hex << "0x" << e.key << std::dec << " " << MaterialIndex(e.key).str() << " "
           << e.value << "\n";
    }
    return os.str();
}
