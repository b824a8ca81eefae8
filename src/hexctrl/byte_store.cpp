#include "hexctrl/byte_store.h"

#include <algorithm>
#include <iterator>

namespace tolvar {

namespace {

std::ptrdiff_t Distance(std::size_t count)
{
    return static_cast<std::ptrdiff_t>(count);
}

} // namespace

ByteStore::ByteStore(std::size_t chunkBytes, std::pmr::memory_resource* memory)
    : m_nChunkBytes(chunkBytes), m_chunks(memory), m_ends(memory)
{}

void ByteStore::Assign(std::span<const std::uint8_t> bytes)
{
    std::pmr::vector<Chunk> chunks(m_chunks.get_allocator());
    std::pmr::vector<std::uint64_t> ends(m_ends.get_allocator());
    std::uint64_t end = 0;
    while (!bytes.empty()) {
        const auto part = bytes.first(std::min(m_nChunkBytes, bytes.size()));
        chunks.emplace_back(part.begin(), part.end());
        end += part.size();
        ends.push_back(end);
        bytes = bytes.subspan(part.size());
    }
    m_chunks.swap(chunks);
    m_ends.swap(ends);
}

ByteStore::Place ByteStore::Locate(std::uint64_t offset) const
{
    const auto chunk =
        static_cast<std::size_t>(std::distance(m_ends.begin(), std::ranges::upper_bound(m_ends, offset)));
    return {chunk, static_cast<std::size_t>(offset - StartOf(chunk))};
}

std::span<const std::uint8_t> ByteStore::ChunkFrom(std::uint64_t offset) const
{
    if (offset >= Size()) {
        return {};
    }
    const Place place = Locate(offset);
    return std::span(m_chunks[place.chunk]).subspan(place.offset);
}

std::span<std::uint8_t> ByteStore::PieceAt(std::uint64_t offset, std::uint64_t most)
{
    const Place place = Locate(offset);
    const auto rest = std::span(m_chunks[place.chunk]).subspan(place.offset);
    return rest.first(static_cast<std::size_t>(std::min<std::uint64_t>(rest.size(), most)));
}

std::size_t ByteStore::Read(std::uint64_t offset, std::span<std::uint8_t> out) const
{
    std::size_t done = 0;
    while (done < out.size()) {
        const auto chunk = ChunkFrom(offset + done);
        if (chunk.empty()) {
            break;
        }
        const std::size_t count = std::min(chunk.size(), out.size() - done);
        std::copy_n(chunk.begin(), count, out.begin() + Distance(done));
        done += count;
    }
    return done;
}

void ByteStore::Write(std::uint64_t offset, std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const auto piece = PieceAt(offset, bytes.size());
        std::ranges::copy(bytes.first(piece.size()), piece.begin());
        bytes = bytes.subspan(piece.size());
        offset += piece.size();
    }
}

void ByteStore::Fill(std::uint64_t offset, std::uint64_t size, std::uint8_t value)
{
    while (size > 0) {
        const auto piece = PieceAt(offset, size);
        std::ranges::fill(piece, value);
        size -= piece.size();
        offset += piece.size();
    }
}

void ByteStore::Swap(std::uint64_t offset, std::span<std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const auto piece = PieceAt(offset, bytes.size());
        std::ranges::swap_ranges(bytes.first(piece.size()), piece);
        bytes = bytes.subspan(piece.size());
        offset += piece.size();
    }
}

void ByteStore::Insert(std::uint64_t offset, std::span<const std::uint8_t> bytes)
{
    if (bytes.empty()) {
        return;
    }
    if (m_chunks.empty()) {
        Assign(bytes);
        return;
    }
    // At a seam the chunk in front takes the bytes, so that appended bytes fill the last chunk.
    const Place place = offset == 0 ? Place{0, 0} : Locate(offset - 1);
    const std::size_t at = offset == 0 ? 0 : place.offset + 1;
    Chunk& chunk = m_chunks[place.chunk];
    if (chunk.size() + bytes.size() > m_nChunkBytes) {
        Split({place.chunk, at}, bytes);
        return;
    }
    chunk.insert(chunk.begin() + Distance(at), bytes.begin(), bytes.end());
    IndexFrom(place.chunk);
}

/// Even chunks that together hold `parts`, one more than would do, so that the next insertion finds room.
std::pmr::vector<ByteStore::Chunk> ByteStore::Cut(std::initializer_list<std::span<const std::uint8_t>> parts) const
{
    std::size_t total = 0;
    for (const auto part : parts) {
        total += part.size();
    }
    const std::size_t count = total / m_nChunkBytes + 1;
    std::pmr::vector<Chunk> chunks(m_chunks.get_allocator());
    chunks.reserve(count);
    std::size_t room = 0;
    for (auto part : parts) {
        while (!part.empty()) {
            if (room == 0) {
                const std::size_t number = chunks.size();
                room = (total * (number + 1)) / count - (total * number) / count;
                chunks.emplace_back().reserve(room);
            }
            const auto piece = part.first(std::min(room, part.size()));
            chunks.back().insert(chunks.back().end(), piece.begin(), piece.end());
            room -= piece.size();
            part = part.subspan(piece.size());
        }
    }
    return chunks;
}

void ByteStore::Split(const Place& place, std::span<const std::uint8_t> bytes)
{
    const std::span<const std::uint8_t> old = m_chunks[place.chunk];
    auto fresh = Cut({old.first(place.offset), bytes, old.subspan(place.offset)});
    m_chunks.reserve(m_chunks.size() + fresh.size() - 1);
    m_ends.reserve(m_ends.size() + fresh.size() - 1);
    // From here on nothing needs memory.
    m_chunks[place.chunk] = std::move(fresh.front());
    m_chunks.insert(m_chunks.begin() + Distance(place.chunk + 1), std::make_move_iterator(fresh.begin() + 1),
                    std::make_move_iterator(fresh.end()));
    m_ends.resize(m_chunks.size());
    IndexFrom(place.chunk);
}

void ByteStore::Erase(std::uint64_t offset, std::uint64_t size) noexcept
{
    if (size == 0) {
        return;
    }
    const Place first = Locate(offset);
    const Place last = Locate(offset + size - 1);
    Chunk& head = m_chunks[first.chunk];
    if (first.chunk == last.chunk) {
        head.erase(head.begin() + Distance(first.offset), head.begin() + Distance(last.offset + 1));
    } else {
        Chunk& tail = m_chunks[last.chunk];
        tail.erase(tail.begin(), tail.begin() + Distance(last.offset + 1));
        head.erase(head.begin() + Distance(first.offset), head.end());
    }
    const std::size_t keepFirst = m_chunks[first.chunk].empty() ? 0 : 1;
    const std::size_t keepLast = first.chunk != last.chunk && !m_chunks[last.chunk].empty() ? 1 : 0;
    const std::size_t dropped = first.chunk + keepFirst;
    m_chunks.erase(m_chunks.begin() + Distance(dropped), m_chunks.begin() + Distance(last.chunk + 1 - keepLast));
    m_ends.resize(m_chunks.size());
    IndexFrom(first.chunk);
    MergeAround(first.chunk);
}

/// Keeps many small deletions from leaving many small chunks.
void ByteStore::MergeAround(std::size_t chunk) noexcept
{
    for (std::size_t left = chunk == 0 ? 0 : chunk - 1; left <= chunk && left + 1 < m_chunks.size(); ++left) {
        Chunk& into = m_chunks[left];
        const Chunk& from = m_chunks[left + 1];
        if (into.size() + from.size() > m_nChunkBytes / 2) {
            continue;
        }
        try {
            into.reserve(m_nChunkBytes / 2);
        } catch (const std::bad_alloc&) {
            return; // two chunks are as right as one
        }
        into.insert(into.end(), from.begin(), from.end());
        m_chunks.erase(m_chunks.begin() + Distance(left + 1));
        m_ends.resize(m_chunks.size());
        IndexFrom(left);
        return;
    }
}

void ByteStore::IndexFrom(std::size_t chunk) noexcept
{
    std::uint64_t end = StartOf(chunk);
    for (; chunk < m_chunks.size(); ++chunk) {
        end += m_chunks[chunk].size();
        m_ends[chunk] = end;
    }
}

} // namespace tolvar
