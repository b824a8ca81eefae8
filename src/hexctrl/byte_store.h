#pragma once

#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <span>
#include <vector>

namespace tolvar {

/// A long run of bytes that is cheap to change anywhere: chunks of bounded size, and an index of where each one ends.
/// A change costs the move of one chunk's bytes and a pass over the index, however long the run is.
///
/// Offsets and ranges of what changes must lie inside the run. Every call that needs memory throws std::bad_alloc where
/// there is none, and then has changed nothing. Not safe for threads that change it.
class ByteStore {
public:
    static constexpr std::size_t kChunkBytes = std::size_t{64} * 1024;

    /// `chunkBytes`, at least 2, is the most that one chunk holds: small in tests, so that few bytes make many chunks.
    explicit ByteStore(std::size_t chunkBytes = kChunkBytes,
                       std::pmr::memory_resource* memory = std::pmr::get_default_resource());

    [[nodiscard]] std::uint64_t Size() const { return m_ends.empty() ? 0 : m_ends.back(); }

    /// Replaces all bytes.
    void Assign(std::span<const std::uint8_t> bytes);

    /// Copies bytes out and returns how many: fewer than `out` holds only at the end of the run, none after it.
    std::size_t Read(std::uint64_t offset, std::span<std::uint8_t> out) const;

    void Write(std::uint64_t offset, std::span<const std::uint8_t> bytes);
    void Fill(std::uint64_t offset, std::uint64_t size, std::uint8_t value);
    /// Exchanges `bytes` with those at `offset`.
    void Swap(std::uint64_t offset, std::span<std::uint8_t> bytes);
    /// Puts `bytes` in front of the byte at `offset`; the size of the run is a valid offset.
    void Insert(std::uint64_t offset, std::span<const std::uint8_t> bytes);
    /// Needs no memory, so it can't fail.
    void Erase(std::uint64_t offset, std::uint64_t size) noexcept;

    /// The bytes from `offset` to the end of their chunk, empty at the end of the run and after it. Valid until the
    /// next change.
    [[nodiscard]] std::span<const std::uint8_t> ChunkFrom(std::uint64_t offset) const;

private:
    using Chunk = std::pmr::vector<std::uint8_t>; ///< never empty

    struct Place {
        std::size_t chunk;
        std::size_t offset; ///< in that chunk
    };

    [[nodiscard]] Place Locate(std::uint64_t offset) const;
    [[nodiscard]] std::uint64_t StartOf(std::size_t chunk) const { return chunk == 0 ? 0 : m_ends[chunk - 1]; }
    [[nodiscard]] std::span<std::uint8_t> PieceAt(std::uint64_t offset, std::uint64_t most);
    [[nodiscard]] std::pmr::vector<Chunk> Cut(std::initializer_list<std::span<const std::uint8_t>> parts) const;
    void Split(const Place& place, std::span<const std::uint8_t> bytes);
    void MergeAround(std::size_t chunk) noexcept;
    void IndexFrom(std::size_t chunk) noexcept;

    std::size_t m_nChunkBytes;
    std::pmr::vector<Chunk> m_chunks;
    std::pmr::vector<std::uint64_t> m_ends; ///< of each chunk, the offset after its last byte
};

} // namespace tolvar
