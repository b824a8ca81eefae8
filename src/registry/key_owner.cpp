#include "registry/key_owner.h"

#include <vector>

#include "platform/security/descriptor.h"

namespace tolvar {

LSTATUS GetKeyOwnerAndGroup(HKEY key, std::string& ownerName, std::string& groupName)
{
    constexpr SECURITY_INFORMATION kParts = OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION;
    if (key == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    DWORD size = 0;
    LSTATUS code = RegGetKeySecurity(key, kParts, nullptr, &size);
    if (code != ERROR_INSUFFICIENT_BUFFER) {
        return code;
    }
    std::vector<BYTE> descriptor(size);
    code = RegGetKeySecurity(key, kParts, descriptor.data(), &size);
    if (code != ERROR_SUCCESS) {
        return code;
    }
    const Result<DescriptorParts> parts = DescriptorParts::Parse(std::as_bytes(std::span(descriptor)));
    if (!parts) {
        return static_cast<LSTATUS>(parts.error().code);
    }
    const Result<Sid> owner = Sid::Parse(parts->owner);
    const Result<Sid> group = Sid::Parse(parts->group);
    if (owner) {
        ownerName = LookupAccountSid(*owner);
    }
    if (group) {
        groupName = LookupAccountSid(*group);
    }
    return owner && group ? ERROR_SUCCESS : static_cast<LSTATUS>(ErrorCode::kInvalidSid);
}

} // namespace tolvar
