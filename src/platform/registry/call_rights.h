#pragma once

#include <algorithm>

#include "platform/registry/winreg.h"

namespace tolvar {

/// What is asked of a key, for the table of rights.
enum class Call {
    kReach, ///< another key is reached by name from this one: the rights on that key count
    kQueryInfo,
    kEnumerateSubkeys,
    kQueryValue,
    kSetValue,
    kCreateSubkey,
    kDelete,
    kRename,
    kReadSecurity,
    kFlush,
    kSave,
    kRestore,
    kTakeImage,
    kLayImage,
    kInspect, ///< what stands against a change, before it is asked for
};

struct CallRight {
    Call call;
    REGSAM right;
};

/// The rights that each call needs on the key itself.
inline constexpr CallRight kCallRights[] = {
    {Call::kReach, 0},
    {Call::kQueryInfo, KEY_QUERY_VALUE},
    {Call::kEnumerateSubkeys, KEY_ENUMERATE_SUB_KEYS},
    {Call::kQueryValue, KEY_QUERY_VALUE},
    {Call::kSetValue, KEY_SET_VALUE},
    {Call::kCreateSubkey, KEY_CREATE_SUB_KEY},
    {Call::kDelete, DELETE},
    {Call::kRename, DELETE},
    {Call::kReadSecurity, READ_CONTROL},
    {Call::kFlush, 0},
    {Call::kSave, 0},
    {Call::kRestore, KEY_ALL_ACCESS},
    {Call::kTakeImage, KEY_QUERY_VALUE},
    {Call::kLayImage, KEY_SET_VALUE},
    {Call::kInspect, 0},
};

[[nodiscard]] constexpr REGSAM RightsFor(Call call) noexcept
{
    return kCallRights[static_cast<std::size_t>(call)].right;
}
static_assert(std::ranges::all_of(kCallRights, [](const CallRight& row) { return RightsFor(row.call) == row.right; }) &&
                  std::ranges::is_sorted(kCallRights, {}, &CallRight::call),
              "the table goes by the enumeration");

} // namespace tolvar
