#include "registry/value_reference.h"

namespace tolvar {

namespace {

constexpr std::string_view kBeginsName = "\\\\[";

} // namespace

std::optional<ValueReference> ParseValueReference(std::string_view text)
{
    const std::size_t at = text.find(kBeginsName);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(at + kBeginsName.size());
    return ValueReference{std::string(text.substr(0, at)), std::string(rest.substr(0, rest.rfind(']')))};
}

std::string FormatValueReference(const ValueReference& value)
{
    return value.key + std::string(kBeginsName) + value.name + "]";
}

} // namespace tolvar
