#pragma once

#include <string>
#include <string_view>

namespace tolvar {

/// `text` with every %NAME% replaced by the variable's value in the registry that is being edited: never by that of
/// this process, which runs on another system. A name that is not found stays as it stands, and a value is not expanded
/// again. The platform's limit of 32,767 bytes for a variable holds, and a text is expanded no further once it has more
/// than 65,536.
[[nodiscard]] std::string ExpandEnvironmentText(std::string_view text);

} // namespace tolvar
