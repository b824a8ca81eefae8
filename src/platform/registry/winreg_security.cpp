#include <algorithm>
#include <cstring>

#include "platform/registry/winreg.h"
#include "platform/registry/winreg_access.h"
#include "platform/security/descriptor.h"

using namespace tolvar;

LSTATUS RegGetKeySecurity(HKEY key, SECURITY_INFORMATION information, BYTE* descriptor, DWORD* size)
{
    if (size == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const RegistryCall call(key, Call::kReadSecurity);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const auto node = call.Node();
    if (!node) {
        return node.error();
    }
    const auto stored = call.Key().key.First().Reader().SecurityDescriptor(*node);
    if (!stored) {
        return RegistryCall::CodeOf(stored.error());
    }
    const Result<std::vector<std::byte>> part = SelectSecurity(*stored, information);
    if (!part) {
        return static_cast<LSTATUS>(part.error().code);
    }
    const DWORD room = *size;
    *size = static_cast<DWORD>(part->size());
    if (descriptor == nullptr || room < part->size()) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    std::memcpy(descriptor, part->data(), part->size());
    return ERROR_SUCCESS;
}
