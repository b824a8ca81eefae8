#include "platform/security/descriptor.h"

#include <cstring>

#include <fmt/format.h>

namespace tolvar {

namespace {

constexpr std::size_t kHeaderSize = 20;
constexpr std::size_t kPartOffsets[] = {4, 8, 12, 16}; ///< owner, group, audit list, access list
constexpr std::size_t kListHeader = 8;
constexpr std::size_t kEntryHeader = 4;
constexpr std::size_t kMaskSize = 4;
constexpr std::size_t kGuidSize = 16;
constexpr std::uint16_t kDaclPresent = 0x0004;
constexpr std::uint16_t kSaclPresent = 0x0010;
constexpr std::uint16_t kDaclFlags = 0x150C; ///< present, defaulted, and the inheritance of the access list
constexpr std::uint16_t kSaclFlags = 0x2A30; ///< the same of the audit list
constexpr std::uint16_t kSelfRelative = 0x8000;

std::uint32_t Load32(std::span<const std::byte> bytes, std::size_t at)
{
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

std::uint16_t Load16(std::span<const std::byte> bytes, std::size_t at)
{
    std::uint16_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

Result<std::span<const std::byte>> IdentifierAt(std::span<const std::byte> descriptor, std::uint32_t offset)
{
    if (offset == 0) {
        return std::span<const std::byte>();
    }
    if (offset < kHeaderSize || offset > descriptor.size()) {
        return Failure(ErrorCode::kInvalidSecurityDescriptor);
    }
    const Result<Sid> sid = Sid::Parse(descriptor.subspan(offset));
    if (!sid) {
        return Failure(ErrorCode::kInvalidSecurityDescriptor);
    }
    return descriptor.subspan(offset, sid->StoredSize());
}

Result<std::span<const std::byte>> ListAt(std::span<const std::byte> descriptor, std::uint32_t offset, bool isPresent)
{
    if (!isPresent || offset == 0) {
        return std::span<const std::byte>();
    }
    if (offset < kHeaderSize || descriptor.size() < kListHeader || offset > descriptor.size() - kListHeader) {
        return Failure(ErrorCode::kInvalidSecurityDescriptor);
    }
    const std::size_t size = Load16(descriptor, offset + 2);
    if (size < kListHeader || size > descriptor.size() - offset) {
        return Failure(ErrorCode::kInvalidSecurityDescriptor);
    }
    return descriptor.subspan(offset, size);
}

/// Puts a part behind the others, at a multiple of 4, and its offset into the header.
void AppendPart(std::vector<std::byte>& out, std::span<const std::byte> part, std::size_t offsetField)
{
    if (part.empty()) {
        return;
    }
    out.resize((out.size() + 3) / 4 * 4);
    const auto offset = static_cast<std::uint32_t>(out.size());
    std::memcpy(out.data() + offsetField, &offset, sizeof offset);
    out.insert(out.end(), part.begin(), part.end());
}

/// How the entry of a list goes on behind its mask.
enum class EntryForm {
    kIdentifier, ///< with an identifier
    kObject,     ///< with flags, the GUIDs that they tell of, and an identifier
    kOther,      ///< as a platform knows that we don't
};

EntryForm FormOf(unsigned type)
{
    switch (type) {
    case 0: // allow, deny, audit, alarm
    case 1:
    case 2:
    case 3:
    case 9: // the same with a condition
    case 10:
    case 13:
    case 14:
    case 17: // label, attribute, policy, trust
    case 18:
    case 19:
    case 20:
        return EntryForm::kIdentifier;
    case 5: // of an object: allow, deny, audit, alarm
    case 6:
    case 7:
    case 8:
    case 11: // the same with a condition
    case 12:
    case 15:
    case 16:
        return EntryForm::kObject;
    default:
        return EntryForm::kOther;
    }
}

bool IsEntryWhole(std::span<const std::byte> entry)
{
    const EntryForm form = FormOf(std::to_integer<unsigned>(entry[0]));
    if (form == EntryForm::kOther) {
        return true;
    }
    std::size_t at = kEntryHeader + kMaskSize;
    if (form == EntryForm::kObject) {
        if (entry.size() < at + 4) {
            return false;
        }
        const std::uint32_t guids = Load32(entry, at);
        at += 4 + ((guids & 1) != 0 ? kGuidSize : 0) + ((guids & 2) != 0 ? kGuidSize : 0);
    }
    return at <= entry.size() && Sid::Parse(entry.subspan(at));
}

/// What is wrong with the entries of a list, of which Parse has seen the header; empty where nothing is.
std::string ListFault(std::span<const std::byte> list)
{
    if (list.empty()) {
        return {};
    }
    const auto revision = std::to_integer<unsigned>(list[0]);
    if (revision < 2 || revision > 4) {
        return fmt::format("has revision {}", revision);
    }
    const unsigned count = Load16(list, 4);
    std::span<const std::byte> rest = list.subspan(kListHeader);
    for (unsigned i = 0; i < count; ++i) {
        const std::size_t size = rest.size() < kEntryHeader ? 0 : Load16(rest, 2);
        if (size < kEntryHeader || size % 4 != 0 || size > rest.size()) {
            return fmt::format("has an entry {} whose size can't be", i + 1);
        }
        if (!IsEntryWhole(rest.first(size))) {
            return fmt::format("has an entry {} that does not hold what its type does", i + 1);
        }
        rest = rest.subspan(size);
    }
    return {};
}

} // namespace

Result<void> CheckDescriptor(std::span<const std::byte> descriptor)
{
    const Result<DescriptorParts> parts = DescriptorParts::Parse(descriptor);
    if (!parts) {
        return Failure(ErrorCode::kInvalidSecurityDescriptor, "its header, or where a part of it lies");
    }
    for (const std::size_t part : kPartOffsets) {
        if (Load32(descriptor, part) % 4 != 0) {
            return Failure(ErrorCode::kInvalidSecurityDescriptor, "a part at no multiple of 4");
        }
    }
    for (const auto& [name, list] : {std::pair{"audit", parts->sacl}, std::pair{"access", parts->dacl}}) {
        if (const std::string fault = ListFault(list); !fault.empty()) {
            return Failure(ErrorCode::kInvalidSecurityDescriptor, fmt::format("its {} list {}", name, fault));
        }
    }
    return {};
}

Result<DescriptorParts> DescriptorParts::Parse(std::span<const std::byte> descriptor)
{
    if (descriptor.size() < kHeaderSize || descriptor[0] != std::byte{1}) {
        return Failure(ErrorCode::kInvalidSecurityDescriptor);
    }
    DescriptorParts parts;
    parts.control = Load16(descriptor, 2);
    if ((parts.control & kSelfRelative) == 0) {
        return Failure(ErrorCode::kInvalidSecurityDescriptor);
    }
    const auto owner = IdentifierAt(descriptor, Load32(descriptor, 4));
    const auto group = IdentifierAt(descriptor, Load32(descriptor, 8));
    const auto sacl = ListAt(descriptor, Load32(descriptor, 12), (parts.control & kSaclPresent) != 0);
    const auto dacl = ListAt(descriptor, Load32(descriptor, 16), (parts.control & kDaclPresent) != 0);
    if (!owner || !group || !sacl || !dacl) {
        return Failure(ErrorCode::kInvalidSecurityDescriptor);
    }
    parts.owner = *owner;
    parts.group = *group;
    parts.sacl = *sacl;
    parts.dacl = *dacl;
    return parts;
}

Result<std::vector<std::byte>> SelectSecurity(std::span<const std::byte> descriptor, std::uint32_t information)
{
    const Result<DescriptorParts> parts = DescriptorParts::Parse(descriptor);
    if (!parts) {
        return tl::unexpected(parts.error());
    }
    const auto wants = [information](std::uint32_t flag) { return (information & flag) != 0; };
    std::vector<std::byte> out(kHeaderSize);
    std::uint16_t control = kSelfRelative;
    if (wants(8)) {
        control = static_cast<std::uint16_t>(control | (parts->control & kSaclFlags));
        AppendPart(out, parts->sacl, 12);
    }
    if (wants(4)) {
        control = static_cast<std::uint16_t>(control | (parts->control & kDaclFlags));
        AppendPart(out, parts->dacl, 16);
    }
    if (wants(1)) {
        control = static_cast<std::uint16_t>(control | (parts->control & 0x0001));
        AppendPart(out, parts->owner, 4);
    }
    if (wants(2)) {
        control = static_cast<std::uint16_t>(control | (parts->control & 0x0002));
        AppendPart(out, parts->group, 8);
    }
    out[0] = std::byte{1};
    std::memcpy(out.data() + 2, &control, sizeof control);
    return out;
}

} // namespace tolvar
