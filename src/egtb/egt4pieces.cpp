#include "egtb/egt4pieces.h"

Egt4Pieces::Egt4Pieces(const Attacks &attacks, piece_t first, piece_t second)
    : m_attacks(attacks), m_first(first), m_second(second) {}

void Egt4Pieces::release() {
    m_progress = -1;
    m_memory = nullptr;
    m_bytes = 0;
}

bool Egt4Pieces::set_memory(unsigned char *memory, std::size_t bytes) {
    if (bytes < bytes_needed()) return false;
    m_memory = memory;
    m_bytes = bytes;
    return true;
}

void Egt4Pieces::use_own_buffer() {
    m_memory = nullptr;
    m_bytes = 0;
}

void Egt4Pieces::create() {}

EgtProbe Egt4Pieces::probe(const ChessPosition &) const { return EgtProbe{}; }

bool Egt4Pieces::handles(const std::string &material) const {
    if ((m_first & 7) == wbishop || (m_second & 7) == wbishop) return material == "KBNk" || material == "Kkbn";
    return material == "KQkr" || material == "KRkq" || material == "KQk" || material == "Kkq" || material == "KRk" ||
           material == "Kkr";
}
