#pragma once

#include <filesystem>
#include <span>

#include "platform/files/file_store.h"

namespace tolvar {

/// Makes a new file with this content: under another name first, so that it is there whole or not at all, and durable
/// when this returns. Errors: kAlreadyExists; otherwise the file system's, and nothing is left behind.
[[nodiscard]] Result<void> WriteNewFile(FileStore& store, const std::filesystem::path& file,
                                        std::span<const std::byte> content);

} // namespace tolvar
