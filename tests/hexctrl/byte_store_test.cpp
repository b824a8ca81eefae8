#include <string>

#include <gtest/gtest.h>

#include "hex_bytes.h"
#include "hexctrl/byte_store.h"

namespace tolvar {
namespace {

constexpr std::size_t kChunk = 4;

/// The chunks of a store, "0123|45".
std::string Chunks(const ByteStore& store)
{
    std::string text;
    for (std::uint64_t offset = 0; offset < store.Size();) {
        const auto chunk = store.ChunkFrom(offset);
        text += (offset > 0 ? "|" : "") + std::string(chunk.begin(), chunk.end());
        offset += chunk.size();
    }
    return text;
}

TEST(ByteStore, ChangesTheChunksThatAChangeTouches)
{
    struct Case {
        const char* before;
        void (*change)(ByteStore&);
        const char* after;
    };
    for (const Case& c : {
             Case{"", [](ByteStore&) {}, ""},
             Case{"0123", [](ByteStore&) {}, "0123"},
             Case{"01234", [](ByteStore&) {}, "0123|4"},
             // What is put in goes into the chunk in front where it fits, and else into even ones with room.
             Case{"", [](ByteStore& s) { s.Insert(0, BytesOf("abcde")); }, "abcd|e"},
             Case{"01234", [](ByteStore& s) { s.Insert(5, BytesOf("a")); }, "0123|4a"},
             Case{"01234", [](ByteStore& s) { s.Insert(4, BytesOf("a")); }, "01|23a|4"},
             Case{"01234", [](ByteStore& s) { s.Insert(0, BytesOf("a")); }, "a0|123|4"},
             Case{"012", [](ByteStore& s) { s.Insert(0, BytesOf("a")); }, "a012"},
             Case{"012", [](ByteStore& s) { s.Insert(1, BytesOf("abcdef")); }, "0ab|cde|f12"},
             Case{"0123", [](ByteStore& s) { s.Insert(2, BytesOf("abcd")); }, "01|abc|d23"},
             Case{"0123", [](ByteStore& s) { s.Insert(2, {}); }, "0123"},
             // What is left over is put together while it fills no more than half a chunk.
             Case{"012345678", [](ByteStore& s) { s.Erase(0, 0); }, "0123|4567|8"},
             Case{"012345678", [](ByteStore& s) { s.Erase(5, 1); }, "0123|467|8"},
             Case{"012345678", [](ByteStore& s) { s.Erase(4, 4); }, "0123|8"},
             Case{"012345678", [](ByteStore& s) { s.Erase(5, 3); }, "0123|48"},
             Case{"012345678", [](ByteStore& s) { s.Erase(1, 6); }, "07|8"},
             Case{"012345678", [](ByteStore& s) { s.Erase(1, 7); }, "08"},
             Case{"012345678", [](ByteStore& s) { s.Erase(0, 5); }, "567|8"},
             Case{"01234567", [](ByteStore& s) { s.Erase(1, 3), s.Erase(2, 3); }, "04"},
             Case{"01234567", [](ByteStore& s) { s.Erase(2, 4); }, "01|67"},
             Case{"012345678", [](ByteStore& s) { s.Erase(1, 3), s.Erase(1, 3); }, "07|8"},
             Case{"0123456789ab", [](ByteStore& s) { s.Erase(5, 3), s.Erase(6, 2); }, "0123|4|8b"},
             Case{"01234567", [](ByteStore& s) { s.Erase(0, 8); }, ""},
             // Bytes change in their places.
             Case{"012345678", [](ByteStore& s) { s.Write(3, BytesOf("abcdef")); }, "012a|bcde|f"},
             Case{"012345678", [](ByteStore& s) { s.Fill(2, 6, 'z'); }, "01zz|zzzz|8"},
         }) {
        ByteStore store(kChunk);
        store.Assign(BytesOf(c.before));
        c.change(store);
        EXPECT_EQ(Chunks(store), c.after) << "from " << c.before;
    }
}

TEST(ByteStore, ReadsAndSwapsAcrossChunksUpToTheEnd)
{
    ByteStore store(kChunk);
    store.Assign(BytesOf("0123456789"));
    Bytes bytes(7, '-');
    EXPECT_EQ(store.Read(5, bytes), 5U);
    EXPECT_EQ(bytes, BytesOf("56789--"));
    EXPECT_EQ(store.Read(10, bytes), 0U);
    EXPECT_TRUE(store.ChunkFrom(10).empty());
    bytes = BytesOf("abcdef");
    store.Swap(3, bytes);
    EXPECT_EQ(bytes, BytesOf("345678"));
    EXPECT_EQ(Chunks(store), "012a|bcde|f9");
}

} // namespace
} // namespace tolvar
