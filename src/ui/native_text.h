#pragma once

#include <string>
#include <string_view>

#include <QString>

namespace tolvar {

/// A text of the core (see platform/system/text.h) as a QString, and back. Both hold 16-bit units, so nothing is lost:
/// a lone surrogate or a zero stays what it is. Bytes that are no such text become U+FFFD.
[[nodiscard]] QString ToQString(std::string_view text);
[[nodiscard]] std::string FromQString(const QString& text);

} // namespace tolvar
