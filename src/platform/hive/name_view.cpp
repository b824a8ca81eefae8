#include "platform/hive/name_view.h"

#include <algorithm>
#include <cstring>

#include "platform/system/text.h"

namespace tolvar {

namespace {

template <class Left, class Right>
int CompareUnits(const Left& left, const Right& right) noexcept
{
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        const char16_t a = left[i];
        const char16_t b = right[i];
        if (a == b) {
            continue;
        }
        if (const int order = UpCase(a) - UpCase(b); order != 0) {
            return order;
        }
    }
    return left.size() < right.size() ? -1 : left.size() > right.size() ? 1 : 0;
}

template <class Name>
std::uint32_t HashUnits(const Name& name) noexcept
{
    std::uint32_t hash = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        hash = hash * 37 + UpCase(name[i]);
    }
    return hash;
}

template <class Name>
std::uint32_t HintUnits(const Name& name) noexcept
{
    std::uint32_t hint = 0;
    for (std::size_t i = 0; i < std::min<std::size_t>(4, name.size()); ++i) {
        if (name[i] > 0xFF) {
            return 0;
        }
        hint |= static_cast<std::uint32_t>(name[i]) << (8 * i);
    }
    return hint;
}

} // namespace

std::u16string NameView::ToUtf16() const
{
    std::u16string text(size(), u'\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = (*this)[i];
    }
    return text;
}

void NameView::AppendUtf8(std::string& out) const
{
    if (!isLatin1) {
        tolvar::AppendUtf8(out, ToUtf16());
        return;
    }
    for (std::size_t i = 0; i < bytes; ++i) {
        const char16_t unit = (*this)[i];
        if (unit != 0 && unit < 0x80) {
            out.push_back(static_cast<char>(unit));
        } else {
            AppendUtf8Unit(out, unit);
        }
    }
}

std::string NameView::ToUtf8() const
{
    std::string out;
    out.reserve(bytes);
    AppendUtf8(out);
    return out;
}

bool FitsLatin1(std::u16string_view name) noexcept
{
    return std::ranges::all_of(name, [](char16_t unit) { return unit <= 0xFF; });
}

std::vector<std::byte> StoredName(std::u16string_view name)
{
    std::vector<std::byte> stored(FitsLatin1(name) ? name.size() : 2 * name.size());
    if (stored.size() == name.size()) {
        std::ranges::transform(name, stored.begin(), [](char16_t unit) { return static_cast<std::byte>(unit); });
    } else {
        std::memcpy(stored.data(), name.data(), stored.size());
    }
    return stored;
}

int CompareNames(const NameView& left, std::u16string_view right) noexcept
{
    return CompareUnits(left, right);
}

int CompareNames(const NameView& left, const NameView& right) noexcept
{
    return CompareUnits(left, right);
}

std::uint32_t NameHash(std::u16string_view name) noexcept
{
    return HashUnits(name);
}

std::uint32_t NameHash(const NameView& name) noexcept
{
    return HashUnits(name);
}

std::uint32_t NameHint(std::u16string_view name) noexcept
{
    return HintUnits(name);
}

std::uint32_t NameHint(const NameView& name) noexcept
{
    return HintUnits(name);
}

} // namespace tolvar
