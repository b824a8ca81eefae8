#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/registry/winreg.h"

namespace tolvar {

// One line of the subtree text format, which is "[path]" or "name=type:text". There are no escapes: the text begins
// behind the first ":", the name ends at the first "=" before that.

/// The key that the following values belong to.
struct SectionLine {
    std::string_view path;
};

/// One value. An empty name is the key's default value.
struct ValueLine {
    std::string name;
    DWORD type = 0;
    std::vector<BYTE> data; ///< as RegSetValueExA takes it
};

/// A line that is neither: readers pass it over.
struct OtherLine {
    bool isBlank = false;
};

using KeyTextLine = std::variant<SectionLine, ValueLine, OtherLine>;

/// Reads a line without its end. A section's path points into `line`. Only the first 8 digits of a number count.
[[nodiscard]] KeyTextLine ParseKeyTextLine(std::string_view line);

/// Whether a value of this name with this text comes back from its line as what it was.
[[nodiscard]] bool LineHoldsValue(std::string_view name, std::string_view text);

/// Whether a section with this name of a key in it is read as a section.
[[nodiscard]] bool LineHoldsKeyName(std::string_view name);

/// Takes the next line off `text`, without its end. Nothing at the end of the text, which a byte 0x1A is as well.
[[nodiscard]] std::optional<std::string_view> NextLine(std::string_view& text);

} // namespace tolvar
