#pragma once

#include <cstddef>
#include <span>

namespace tolvar::fuzz {

/// Hands bytes to each reader of the journal's files and of text files, and throws std::logic_error where one of them
/// breaks what it promises.
void ReadJournalFiles(std::span<const std::byte> bytes);

} // namespace tolvar::fuzz
