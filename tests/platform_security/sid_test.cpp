#include "platform/security/sid.h"

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

TEST(SidTest, HasItsTextFormAndTheNameOfAKnownAccount)
{
    struct Case {
        Bytes bytes;
        const char* text;
        const char* name;
    };
    Bytes longest = BytesOf({1, 15, 0, 0, 0, 0, 0, 5});
    longest.resize(8 + 15 * 4, std::byte{0xFF});
    std::string longestText = "S-1-5";
    for (int i = 0; i < 15; ++i) {
        longestText += "-4294967295";
    }
    for (const Case& c : {
             Case{BytesOf({1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0}), "S-1-5-18", "SYSTEM"},
             Case{BytesOf({1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0}), "S-1-5-32-544", "Administrators"},
             Case{BytesOf({1, 0, 0, 0, 0, 0, 0, 5}), "S-1-5", "S-1-5"},
             Case{BytesOf({1, 1, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0}), "S-1-4294967295-1", "S-1-4294967295-1"},
             // From 2^32 on the authority is written in hexadecimal.
             Case{BytesOf({1, 1, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0}), "S-1-0x000100000000-1", "S-1-0x000100000000-1"},
             Case{longest, longestText.c_str(), longestText.c_str()},
         }) {
        SCOPED_TRACE(c.text);
        Bytes padded = c.bytes;
        padded.resize(padded.size() + 3, std::byte{0xEE}); // what follows it is not its own
        const Result<Sid> sid = Sid::Parse(padded);
        ASSERT_TRUE(sid);
        EXPECT_EQ(sid->ToText(), c.text);
        EXPECT_EQ(LookupAccountSid(*sid), c.name);
        EXPECT_EQ(sid->StoredSize(), c.bytes.size());
    }
}

TEST(SidTest, IsRefusedWhereItIsMalformed)
{
    Bytes sixteen = BytesOf({1, 16, 0, 0, 0, 0, 0, 5});
    sixteen.resize(8 + 16 * 4);
    for (const Bytes& bytes :
         {Bytes(), BytesOf({1}), BytesOf({1, 0, 0, 0, 0, 0, 0}), BytesOf({2, 0, 0, 0, 0, 0, 0, 5}),
          BytesOf({0, 0, 0, 0, 0, 0, 0, 5}), BytesOf({1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0}), sixteen}) {
        const Result<Sid> sid = Sid::Parse(bytes);
        ASSERT_FALSE(sid) << testing::PrintToString(bytes);
        EXPECT_EQ(sid.error().code, ErrorCode::kInvalidSid);
    }
}

} // namespace
} // namespace tolvar
