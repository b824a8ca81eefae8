#include "platform/registry/key_text.h"

#include <cstring>

#include "platform/system/text.h"

namespace tolvar {

std::vector<std::byte> DataForCaller(DWORD type, std::span<const std::byte> stored)
{
    if (!IsTextType(type)) {
        return {stored.begin(), stored.end()};
    }
    std::u16string units(stored.size() / 2, u'\0');
    std::memcpy(units.data(), stored.data(), 2 * units.size());
    const std::string text = ToUtf8(units, NulForm::kPlain);
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

} // namespace tolvar
