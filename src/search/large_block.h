// Zeroed memory for the search's large tables, which every node reads at random places.
#ifndef DRAVNIK_SEARCH_LARGE_BLOCK_H
#define DRAVNIK_SEARCH_LARGE_BLOCK_H

#include <cstddef>

// A zeroed block of at least the bytes asked for, aligned to a cache line and, when it spans at least one
// of the processor's large pages, to a large page and backed by large pages where the system offers them:
// with small pages most random probes of a table of many megabytes also miss the processor's address cache
// (a fifth of the search's node rate on a desktop machine). Fresh pages from the system are not written
// until used. A failed allocation leaves an empty block (get() is null).
class LargeBlock {
  public:
    LargeBlock() = default;
    explicit LargeBlock(std::size_t bytes);
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
