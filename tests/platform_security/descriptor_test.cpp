#include "platform/security/descriptor.h"

#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tolvar {
namespace {

using Bytes = std::vector<std::byte>;

Bytes BytesOf(std::initializer_list<unsigned> bytes)
{
    Bytes out;
    for (const unsigned byte : bytes) {
        out.push_back(static_cast<std::byte>(byte));
    }
    return out;
}

void Store(Bytes& bytes, std::size_t at, std::uint32_t value, std::size_t size = 4)
{
    std::memcpy(bytes.data() + at, &value, size);
}

const Bytes kOwner = BytesOf({1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0});
const Bytes kGroup = BytesOf({1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0});
const Bytes kSacl = BytesOf({2, 0, 8, 0, 0, 0, 0, 0});
const Bytes kDacl =
    BytesOf({2, 0, 28, 0, 1, 0, 0, 0, 0, 2, 20, 0, 0x3F, 0, 0xF, 0, 1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0});

// Where the parts lie below: in an order that the platform never writes and every reader has to take.
constexpr std::uint32_t kGroupAt = 20;
constexpr std::uint32_t kDaclAt = 32;
constexpr std::uint32_t kOwnerAt = 60;
constexpr std::uint32_t kSaclAt = 76;

/// Owner, group and both lists, with every control bit that belongs to one of them.
Bytes WholeDescriptor()
{
    Bytes descriptor(20);
    descriptor[0] = std::byte{1};
    Store(descriptor, 2, 0xBF3F, 2);
    Store(descriptor, 4, kOwnerAt);
    Store(descriptor, 8, kGroupAt);
    Store(descriptor, 12, kSaclAt);
    Store(descriptor, 16, kDaclAt);
    for (const Bytes* part : {&kGroup, &kDacl, &kOwner, &kSacl}) {
        descriptor.insert(descriptor.end(), part->begin(), part->end());
    }
    return descriptor;
}

Bytes Copy(std::span<const std::byte> part)
{
    return {part.begin(), part.end()};
}

TEST(SecurityDescriptor, GivesAwayThePartsThatAreAskedForAndNoOthers)
{
    struct Part {
        std::uint32_t flag;
        const Bytes& bytes;
        std::uint16_t control;
        std::span<const std::byte> DescriptorParts::*member;
    };
    const Part parts[] = {{1, kOwner, 0x0001, &DescriptorParts::owner},
                          {2, kGroup, 0x0002, &DescriptorParts::group},
                          {4, kDacl, 0x150C, &DescriptorParts::dacl},
                          {8, kSacl, 0x2A30, &DescriptorParts::sacl}};
    for (std::uint32_t information = 0; information < 16; ++information) {
        SCOPED_TRACE(information);
        const Result<Bytes> selected = SelectSecurity(WholeDescriptor(), information);
        ASSERT_TRUE(selected);
        const Result<DescriptorParts> read = DescriptorParts::Parse(*selected);
        ASSERT_TRUE(read);
        std::uint16_t control = 0x8000;
        for (const Part& part : parts) {
            const bool isAsked = (information & part.flag) != 0;
            EXPECT_EQ(Copy((*read).*part.member), isAsked ? part.bytes : Bytes());
            control = static_cast<std::uint16_t>(control | (isAsked ? part.control : 0));
        }
        EXPECT_EQ(read->control, control);
        EXPECT_EQ(*SelectSecurity(*selected, information), *selected);
    }
}

TEST(SecurityDescriptor, KeepsAListThatIsThereAndNull)
{
    Bytes everyone = WholeDescriptor();
    Store(everyone, 16, 0);
    const Result<Bytes> selected = SelectSecurity(everyone, 4);
    ASSERT_TRUE(selected);
    const Result<DescriptorParts> read = DescriptorParts::Parse(*selected);
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->dacl.empty());
    EXPECT_EQ(read->control & 4, 4); // "present": not the same as no list at all
}

TEST(SecurityDescriptor, IsRefusedWhereItIsMalformed)
{
    struct Case {
        const char* what;
        std::size_t at;
        std::uint32_t value;
        std::size_t size;
    };
    const Bytes good = WholeDescriptor();
    const auto end = static_cast<std::uint32_t>(good.size());
    for (const Case& c : {
             Case{"revision", 0, 2, 1},
             Case{"not self-relative", 2, 0x3F3F, 2},
             Case{"owner in the header", 4, 16, 4},
             Case{"owner at the end", 4, end, 4},
             Case{"owner behind the end", 4, end + 4, 4},
             Case{"owner far outside", 4, 0xFFFFFFFC, 4},
             Case{"owner cut short", 4, end - 8, 4},
             Case{"owner with too many parts", kOwnerAt + 1, 16, 1},
             Case{"owner of another revision", kOwnerAt, 0, 1},
             Case{"group in the header", 8, 4, 4},
             Case{"group far outside", 8, 0x80000000, 4},
             Case{"list in the header", 16, 12, 4},
             Case{"list cut in its header", 16, end - 4, 4},
             Case{"list far outside", 12, 0xFFFFFFF8, 4},
             Case{"list smaller than its header", kDaclAt + 2, 7, 2},
             Case{"list longer than the descriptor", kDaclAt + 2, 0xFFFC, 2},
         }) {
        SCOPED_TRACE(c.what);
        Bytes broken = good;
        Store(broken, c.at, c.value, c.size);
        const Result<Bytes> selected = SelectSecurity(broken, 1);
        ASSERT_FALSE(selected);
        EXPECT_EQ(selected.error().code, ErrorCode::kInvalidSecurityDescriptor);
    }
    for (std::size_t size = 0; size < good.size(); ++size) {
        EXPECT_FALSE(DescriptorParts::Parse(std::span(good).first(size))) << size;
    }
}

/// A descriptor with `entries` in its access list and nothing else, and `spare` bytes behind them.
Bytes WithEntries(unsigned count, std::initializer_list<unsigned> entries, unsigned spare = 0)
{
    Bytes descriptor(28);
    descriptor[0] = std::byte{1};
    Store(descriptor, 2, 0x8004, 2);
    Store(descriptor, 16, 20);
    const Bytes bytes = BytesOf(entries);
    descriptor.insert(descriptor.end(), bytes.begin(), bytes.end());
    descriptor.resize(descriptor.size() + spare);
    descriptor[20] = std::byte{2};
    Store(descriptor, 22, static_cast<std::uint32_t>(descriptor.size() - 20), 2);
    Store(descriptor, 24, count, 2);
    return descriptor;
}

TEST(SecurityDescriptor, IsCheckedDownToTheIdentifiersOfItsEntries)
{
    EXPECT_TRUE(CheckDescriptor(WholeDescriptor()));
    EXPECT_TRUE(CheckDescriptor(WithEntries(0, {}, 8)));
    // Everyone, allowed; an object's with one GUID; one with a condition; one of a type that nobody knows.
    const std::initializer_list<unsigned> kGood = {0, 0, 20, 0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0};
    EXPECT_TRUE(CheckDescriptor(WithEntries(1, kGood)));
    EXPECT_TRUE(CheckDescriptor(WithEntries(1, kGood, 24))) << "lists have room to spare";
    EXPECT_TRUE(CheckDescriptor(WithEntries(1, {5, 0, 36, 0, 1, 0, 0, 0, 2, 0, 0, 0, 9, 9, 9, 9, 9, 9,
                                                9, 9, 9,  9, 9, 9, 9, 9, 9, 9, 1, 0, 0, 0, 0, 0, 0, 1})));
    EXPECT_TRUE(
        CheckDescriptor(WithEntries(1, {9, 0, 20, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0x61, 0x72, 0x74, 0x78})));
    EXPECT_TRUE(CheckDescriptor(WithEntries(1, {99, 0, 4, 0})));

    struct Case {
        const char* what;
        Bytes descriptor;
    };
    Bytes uneven = WholeDescriptor();
    uneven.insert(uneven.begin() + kGroupAt, 2, std::byte{0}); // all parts move by 2
    for (const std::size_t part : {4U, 8U, 12U, 16U}) {
        uneven[part] = static_cast<std::byte>(std::to_integer<unsigned>(uneven[part]) + 2);
    }
    Bytes revision = WithEntries(1, kGood);
    revision[20] = std::byte{5};
    for (const Case& c : {
             Case{"no header", Bytes(19)},
             Case{"parts between words", uneven},
             Case{"list of revision 5", revision},
             Case{"more entries than there are", WithEntries(2, kGood)},
             Case{"entry of no size", WithEntries(1, {0, 0, 0, 0}, 20)},
             Case{"entry of an odd size", WithEntries(1, {99, 0, 6, 0}, 20)},
             Case{"entry beyond the list", WithEntries(1, {99, 0, 8, 0})},
             Case{"entry without a mask", WithEntries(1, {0, 0, 4, 0}, 20)},
             Case{"entry without an identifier", WithEntries(1, {0, 0, 8, 0, 1, 0, 0, 0}, 20)},
             Case{"identifier cut short", WithEntries(1, {0, 0, 16, 0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 1}, 20)},
             Case{"identifier of revision 2", WithEntries(1, {1, 0, 16, 0, 1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 1})},
             Case{"object without its flags", WithEntries(1, {5, 0, 8, 0, 1, 0, 0, 0}, 40)},
             Case{"object without its GUIDs",
                  WithEntries(1, {5, 0, 20, 0, 1, 0, 0, 0, 3, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1}, 40)},
         }) {
        SCOPED_TRACE(c.what);
        const Result<void> checked = CheckDescriptor(c.descriptor);
        ASSERT_FALSE(checked);
        EXPECT_EQ(checked.error().code, ErrorCode::kInvalidSecurityDescriptor);
        EXPECT_FALSE(checked.error().context.empty());
    }
}

TEST(SecurityDescriptor, DoesNotLookForAListThatIsNotPresent)
{
    Bytes descriptor = WholeDescriptor();
    Store(descriptor, 2, 0x8000, 2);
    Store(descriptor, 12, 0xFFFFFFFF);
    Store(descriptor, 16, 3);
    const Result<DescriptorParts> parts = DescriptorParts::Parse(descriptor);
    ASSERT_TRUE(parts);
    EXPECT_TRUE(parts->dacl.empty() && parts->sacl.empty());
    EXPECT_EQ(Copy(parts->owner), kOwner);
}

} // namespace
} // namespace tolvar
