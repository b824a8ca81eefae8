#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace tolvar {

// The file "index" of the data folder: four lists of texts, one behind the other, numbers little-endian.
//
//   list: count, then that many texts. The count takes 16 bits, or from 0xFFFF on 16 bits of ones and 32 more.
//   text: length, then that many bytes. The length takes 8 bits; from 255 on a byte of ones and 16 bits; from 0xFFFE on
//         three bytes of ones and 32 bits.

/// What it carries from one run to the next. A fourth list is reserved, and empty.
struct JournalIndex {
    std::vector<std::string> bookmarkPaths;
    std::vector<std::string> journal; ///< records, the oldest first
    std::vector<std::string> bookmarkTargets;
};

[[nodiscard]] std::vector<std::byte> EncodeIndex(const JournalIndex& index);

/// What was read, as far as it could be.
struct DecodedIndex {
    JournalIndex lists;
    bool isWhole = true; ///< false: the file ends or breaks in the middle. One that holds three lists is whole.
};

/// Takes any bytes. What stands before a break is kept.
[[nodiscard]] DecodedIndex DecodeIndex(std::span<const std::byte> bytes);

/// What can be told of an index without taking its texts out.
struct IndexSummary {
    std::string latestStamp; ///< the greatest of its records; empty: none
    bool isWhole = true;     ///< as in DecodedIndex
};

/// Takes any bytes. A hundred thousand records take about a millisecond.
[[nodiscard]] IndexSummary SummarizeIndex(std::span<const std::byte> bytes);

/// One list alone, which is how a group's backup names its members.
[[nodiscard]] std::vector<std::string> DecodeTextList(std::span<const std::byte> bytes);

} // namespace tolvar
