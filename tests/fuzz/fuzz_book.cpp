// Fuzz target: the opening-book reader on arbitrary file contents. Every key the file holds (and the start
// position's) is looked up; a chosen move must be one of that key's records, and decoding it against the
// start position must give a move or a refusal with a message.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include "board/hasher.h"
#include "book/book.h"
#include "fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const std::string path = "/tmp/dravnik_fuzz_book_" + std::to_string(::getpid()) + ".bin";
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
    }
    Book book(path);
    book.open();
    fuzz::require(book.get_file_size() == static_cast<std::int64_t>(size / 16 * 16), "usable size", path);
    ChessPosition start(fuzz::tables());
    start.newgame();
    Hasher<1> hasher(fuzz::tables());
    hasher.init(&start);
    std::vector<std::uint64_t> keys{hasher.hash()};
    for (std::size_t at = 0; at + 16 <= size && keys.size() < 16; at += 16)
        keys.push_back(Book_record(reinterpret_cast<const char *>(data + at)).get_key());
    for (std::uint64_t key : keys) {
        const std::vector<Book_record> records = book.get_records(key);
        const BKmove chosen = book.get_move(key);
        if (chosen.nomove()) continue;
        bool listed = false;
        for (const Book_record &r : records)
            listed = listed || r.get_move() == chosen;
        fuzz::require(listed, "chosen move is a record of the key", chosen.dump());
        try {
            chosen(start);
        } catch (const std::logic_error &) {
            // a book move that does not fit the position is refused with a message
        }
    }
    std::remove(path.c_str());
    return 0;
}
