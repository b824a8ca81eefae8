#include "platform/registry/change_feed.h"

#include <algorithm>

#include "platform/registry/key_path.h"
#include "platform/registry/registry.h"

namespace tolvar {

namespace {

constexpr std::size_t kMostKeys = 1000; ///< that are told one by one

/// The path of the nearest key that holds both; empty where they lie below two roots.
std::string_view CommonPath(std::string_view left, std::string_view right)
{
    while (!left.empty() && !PathBelow(right, left)) {
        left = ParentPath(left);
    }
    return left;
}

} // namespace

bool ChangeFeed::WalkOrder::operator()(std::string_view left, std::string_view right) const noexcept
{
    const auto rank = [](char c) { return c == kPathSeparator ? 0 : static_cast<unsigned char>(c); };
    return std::ranges::lexicographical_compare(left, right, {}, rank, rank);
}

void ChangeFeed::Open()
{
    const std::lock_guard lock(m_mutex);
    ++m_depth;
}

void ChangeFeed::Note(std::string_view path, KeyChange change)
{
    const std::lock_guard lock(m_mutex);
    auto at = m_changes.find(path);
    if (at == m_changes.end()) {
        at = m_changes.emplace(path, 0).first;
    }
    at->second |= static_cast<unsigned>(change);
}

std::vector<ChangedKey> ChangeFeed::Close()
{
    Changes changes;
    {
        const std::lock_guard lock(m_mutex);
        if (--m_depth != 0) {
            return {};
        }
        changes.swap(m_changes);
    }
    std::vector<ChangedKey> keys;
    const bool isCrowded = changes.size() > kMostKeys;
    const ChangedKey* whole = nullptr; // the last one that is told with all below it
    for (const auto& [path, what] : changes) {
        if (whole != nullptr && PathBelow(path, whole->path)) {
            continue;
        }
        const std::string_view common =
            isCrowded && !keys.empty() ? CommonPath(keys.back().path, path) : std::string_view();
        if (!common.empty()) { // under each root, a crowd of keys becomes the one above them all
            keys.back().path = std::string(common);
            keys.back().changes |= static_cast<unsigned>(KeyChange::kAll);
        } else {
            keys.push_back({path, {}, what});
        }
        whole = keys.back().Has(KeyChange::kAll) ? &keys.back() : nullptr;
    }
    return keys;
}

ChangeScope::ChangeScope() : m_registry(Registry::Current())
{
    if (m_registry != nullptr) {
        m_registry->OpenChangeScope();
    }
}

ChangeScope::ChangeScope(Registry& registry) : m_registry(&registry)
{
    registry.OpenChangeScope();
}

ChangeScope::~ChangeScope()
{
    if (m_registry != nullptr) {
        m_registry->CloseChangeScope();
    }
}

} // namespace tolvar
