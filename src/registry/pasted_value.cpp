#include "registry/pasted_value.h"

namespace tolvar {

namespace {

constexpr std::string_view kSeparator = "\\\\[";

} // namespace

std::optional<PastedValue> PastedValue::FromText(std::string_view text)
{
    const std::size_t separator = text.find(kSeparator);
    if (separator == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(separator + kSeparator.size());
    return PastedValue{std::string(text.substr(0, separator)), std::string(rest.substr(0, rest.rfind(']')))};
}

std::string PastedValue::Text() const
{
    return keyPath + std::string(kSeparator) + name + "]";
}

} // namespace tolvar
