#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tolvar {

/// What a HexClipboard holds.
enum class HexClipboardKind : std::uint32_t {
    kNothing = 0,
    kBytes = 1,
    kDevice = 2, ///< a whole device by its name, as is the next
    kFile = 3,
};

/// The control's own clipboard: one for all controls of the process, alive as long as any of them, so that bytes copied
/// in one value can be pasted into the next. It is not the system's, which carries no bytes that every program takes.
struct HexClipboard {
    HexClipboardKind kind = HexClipboardKind::kNothing;
    std::int64_t position = 0; ///< offset of the first byte in its source
    std::vector<std::uint8_t> data;
    std::string sourceName; ///< the file's name, where the source was one
};

} // namespace tolvar
