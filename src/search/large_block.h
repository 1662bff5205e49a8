// Zeroed memory for the search's large tables, which every node reads at random places.
#ifndef DRAVNIK_SEARCH_LARGE_BLOCK_H
#define DRAVNIK_SEARCH_LARGE_BLOCK_H

#include <cstddef>

// A zeroed block of at least the bytes asked for, aligned to a cache line and, when it spans at least one
// of the processor's large pages, to a large page, and backed by large pages where the system offers
// them: with small pages most random probes of a table of many megabytes also miss the processor's address
// cache. But the system zeroes (and may first compact memory for) a large page at its first touch: a table
// probed all over from a search's first nodes would pay for that in its first move, so such a block may be
// asked for touched, and every page is faulted in when the block is made (at start-up or when the table is
// resized, where no clock runs). Otherwise fresh pages from the system are not written until used. A failed
// allocation leaves an empty block (get() is null).
class LargeBlock {
  public:
    enum class pages { large, large_touched };
    LargeBlock() = default;
    LargeBlock(std::size_t bytes, pages kind);
    LargeBlock(LargeBlock &&o) noexcept : m_raw(o.m_raw), m_data(o.m_data) { o.m_raw = o.m_data = nullptr; }
    LargeBlock &operator=(LargeBlock &&o) noexcept;
    LargeBlock(const LargeBlock &) = delete;
    LargeBlock &operator=(const LargeBlock &) = delete;
    ~LargeBlock();

    void *get() const { return m_data; }

  private:
    void *m_raw = nullptr;  // what the allocator returned, for freeing
    void *m_data = nullptr; // the aligned start
};

#endif
