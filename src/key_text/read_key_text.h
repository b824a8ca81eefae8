#pragma once

#include <filesystem>
#include <string_view>

#include "platform/registry/winreg.h"
#include "platform/system/error.h"

namespace tolvar {

/// What a reading did.
struct KeyTextReading {
    std::size_t applied = 0; ///< values that were stored
    std::size_t skipped = 0; ///< lines that are no line of the format, lie in no key, or could not be stored
};

/// Reads a text with full paths into the registry: each section makes its key, each value line stores a value there.
/// Lines before the first section, and those of a section whose key can't be made, are passed over and counted.
/// Errors: kBadCommand at a section that begins with no root; what came before it has been applied.
[[nodiscard]] Result<KeyTextReading> ReadKeyText(std::string_view text);

/// Reads a text with paths relative to `key`, or of a single value, into that open key. Values before the first section
/// are the key's own.
[[nodiscard]] KeyTextReading RestoreKeyText(HKEY key, std::string_view text);

/// ReadKeyText and RestoreKeyText of a file. Errors also: the file's.
[[nodiscard]] Result<KeyTextReading> ReadKeyFile(const std::filesystem::path& file);
[[nodiscard]] Result<KeyTextReading> RestoreKeyFile(HKEY key, const std::filesystem::path& file);

/// Whether every line of a text is one of the format: not so where a text was cut, or is none.
[[nodiscard]] bool IsWholeKeyText(std::string_view text);

} // namespace tolvar
