#pragma once

#include <cstdint>

/// The blocks that cross the interface of the hex control, and the numbers in them. All offsets and sizes are bytes.
namespace tolvar {

/// Results of the interface: the system's error codes.
enum class HexCode : std::uint32_t {
    kSuccess = 0,
    kFileNotFound = 2,
    kAccessDenied = 5,
    kNotEnoughMemory = 8,
    kGeneralFailure = 31,
    kBadParameter = 87,
    kNoData = 232,
    kMoreData = 234, ///< the buffer is too small; its block says how much is needed
};

/// What the selection marks.
enum class HexZone : std::int64_t {
    kNone = 0, ///< nothing: the moment of a mouse press
    kHighDigit = 1,
    kLowDigit = 2,
    kBytes = 3,
};

/// The caret and the selection. `start` is the caret's offset; the size of the data is a valid one, the append
/// position. `end` is the last byte of the selection, `start` where there is only a caret, and may lie below `start`
/// while the mouse is held.
struct HexSelection {
    std::int64_t zone = 0;
    std::int64_t start = 0;
    std::int64_t end = 0;

    friend bool operator==(const HexSelection&, const HexSelection&) = default;
};

/// Bytes on their way across the interface; `data` belongs to the sender.
struct HexDataBlock {
    std::int64_t size = 0; ///< number of bytes; on reading, the capacity of `data` in and the number of bytes out
    std::int64_t reserved = 0;
    std::int64_t position = 0; ///< a base address when loading, an offset otherwise
    std::uint8_t* data = nullptr;
};

/// One search. `from` and `to` are addresses: offsets plus the base address.
struct HexFindBlock {
    const char* path = nullptr; ///< read only by the class for devices, as are the next and the last field
    std::uint32_t pathLength = 0;
    std::int64_t from = 0;
    std::int64_t to = 0;
    const std::uint8_t* pattern = nullptr;
    std::uint32_t length = 0;
    std::uint32_t mode = 0; ///< see HexFindMode
    void* window = nullptr;
};

/// Where the data came from.
enum class HexMode : std::uint32_t {
    kNoData = 0,
    kGiven = 1, ///< by the host
    kDevice = 2,
    kFile = 3,
};

/// The column that the caret is in.
enum class HexPane : std::uint16_t { kAddress = 0, kHex = 1, kText = 2 };

} // namespace tolvar
