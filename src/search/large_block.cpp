#include "search/large_block.h"

#include <cstdint>
#include <cstdlib>
#include <utility>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace {
constexpr std::size_t cache_line = 64;
// Two megabytes on x86-64, and on 32-bit ARM with large physical addresses.
constexpr std::size_t large_page = std::size_t{1} << 21;
constexpr std::size_t small_page = 4096;
} // namespace

LargeBlock::LargeBlock(std::size_t bytes, pages kind) {
    const std::size_t align = bytes >= large_page ? large_page : cache_line;
    if (bytes > SIZE_MAX - align) return;
#if defined(__linux__)
    // Touching more than the machine's memory would bring the system's out-of-memory killer, not a failed
    // allocation: such a block is refused like one the allocator cannot give.
    const long phys_pages = sysconf(_SC_PHYS_PAGES), page_bytes = sysconf(_SC_PAGESIZE);
    if (kind == pages::large_touched && phys_pages > 0 && page_bytes > 0 &&
        bytes / static_cast<std::size_t>(page_bytes) >= static_cast<std::size_t>(phys_pages))
        return;
#endif
    // calloc, unlike new[], may take fresh pages from the system and skip zeroing them; the spare room
    // is for the alignment.
    m_raw = std::calloc(bytes + align, 1);
    if (!m_raw) return;
    const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(m_raw);
    m_data = reinterpret_cast<void *>((at + align - 1) & ~static_cast<std::uintptr_t>(align - 1));
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // Advice only, given before the pages are first touched: without large pages the block works as well.
    if (align == large_page) madvise(m_data, bytes, MADV_HUGEPAGE);
#endif
    if (kind == pages::large_touched) {
        // A write per small page: each large page is faulted in by its first, and where the system gave
        // small pages after all, the cost still falls here rather than in the search.
        volatile unsigned char *p = static_cast<unsigned char *>(m_data);
        for (std::size_t i = 0; i < bytes; i += small_page)
            p[i] = 0;
    }
}

LargeBlock &LargeBlock::operator=(LargeBlock &&o) noexcept {
    std::swap(m_raw, o.m_raw);
    std::swap(m_data, o.m_data);
    return *this;
}

LargeBlock::~LargeBlock() { std::free(m_raw); }
