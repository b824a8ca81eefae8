#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "hexctrl/hex_charset.h"
#include "hexctrl/hex_data.h"
#include "hexctrl/hex_dump.h"
#include "hexctrl/hex_inspect.h"

namespace tolvar {
namespace {

using namespace std::string_literals;
using Bytes = std::vector<std::uint8_t>;

TEST(HexInspect, ReadsTheBytesAtTheCaretInEveryWay)
{
    struct Case {
        Bytes bytes;
        HexReadings readings;
    };
    const Case cases[] = {
        {{}, {}},
        {{0xA2}, {"162 / -94", "", "", "", "", "", ""}},
        {{0x34, 0x92}, {"52", "37428 / -28108", "", "", "", "", "\xE9\x88\xB4"}},
        {{0xFF, 0xFF, 0xFF, 0xFF}, {"255 / -1", "65535 / -1", "4294967295 / -1", "", "", "", ""}},
        {{0x00, 0x80, 0x3E, 0xD5, 0xDE, 0xB1, 0x9D, 0x01},
         {"0", "32768 / -32768", "3577643008 / -717324288", "116444736000000000", "1970-01-01 00:00:00.0000000", "",
          "\xE8\x80\x80\xED\x94\xBE\xEB\x87\x9E\xC6\x9D"}},
        {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}, // no time: the year is 30828
         {"255 / -1", "65535 / -1", "4294967295 / -1", "9223372036854775807", "", "", ""}},
        {{0x41, 0x00, 0x3D, 0xD8, 0x00, 0xDE, 0x00, 0x00, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46},
         {"65", "65", "3627876417 / -667090879", "244095209242689", "1601-10-10 12:25:20.9242689",
          "{D83D0041-DE00-0000-C000-000000000046}", "A\xF0\x9F\x98\x80"}},
        {{0x3D, 0xD8, 0x41, 0x00}, {"61", "55357 / -10179", "4315197", "", "", "", ""}}, // half a pair
        {{0x3D, 0xD8}, {"61", "55357 / -10179", "", "", "", "", ""}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(InspectBytes(c.bytes), c.readings) << HexPairs(c.bytes);
    }
}

TEST(HexCharset, ShowsEachByteAsItsSetDoesAndTypesItBack)
{
    struct Case {
        std::uint32_t charset;
        std::uint8_t byte;
        char32_t character;
    };
    for (const Case& c : {
             Case{1, 'A', U'A'}, Case{1, 0x1F, U'.'}, Case{1, 0x7F, U'.'}, Case{1, 0xE4, U'ä'}, Case{1, 0x80, U'€'},
             Case{1, 0x81, U'.'}, Case{204, 0xC6, U'Ж'}, Case{238, 0xB9, U'ą'}, Case{999, 0xE4, U'ä'},
             Case{128, 0x81, U'.'}, // the first of two bytes
         }) {
        const HexCharacters characters = CharactersOf(c.charset);
        EXPECT_EQ(characters[c.byte], c.character) << c.charset << " " << int{c.byte};
        if (c.character != U'.') {
            EXPECT_EQ(ByteOf(characters, c.character), c.byte);
        }
    }
    EXPECT_EQ(ByteOf(CharactersOf(1), U'Ж'), std::nullopt);
    EXPECT_EQ(ByteOf(CharactersOf(1), U'.'), '.');
}

TEST(HexDump, WritesTheRowsThatTheRangeTouches)
{
    CHexData data(std::make_shared<HexClipboard>());
    std::string text = "AB\x01"s + "DEFGHIJ";
    ASSERT_EQ(data.Load({10, 0, 0x20, reinterpret_cast<std::uint8_t*>(text.data())}), HexCode::kSuccess);
    EXPECT_EQ(HexDump(data, 4, 4, 1, 4, 6), "0020     42 01 44   B.D\n"
                                            "0024  45           E   \n");
    EXPECT_EQ(HexDump(data, 4, 4, 0, 3, 2), "0020  41 42 01     \n");
    EXPECT_EQ(HexDump(data, 4, 4, 0, 4, 4), "0020   AB.D\n0024       \n") << "the row behind the range is there too";
    EXPECT_EQ(HexDump(data, 4, 4, 99, -7, 4), "0028       \n");
}

TEST(HexDump, ReadsHexTextInPairs)
{
    EXPECT_EQ(BytesOfHexText("4d 5A90  00 "), (Bytes{0x4D, 0x5A, 0x90, 0}));
    EXPECT_EQ(BytesOfHexText(""), Bytes());
    for (const char* wrong : {"4", "4 d", "4d5", "xy", "4d,5a"}) {
        EXPECT_EQ(BytesOfHexText(wrong), std::nullopt) << wrong;
    }
}

/// A folder of its own for one test.
class HexFile : public testing::Test {
protected:
    void SetUp() override
    {
        std::string name = (std::filesystem::temp_directory_path() / "hex_file_XXXXXX").string();
        ASSERT_NE(::mkdtemp(name.data()), nullptr);
        m_folder = name;
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    [[nodiscard]] std::string Name(const char* name) const { return (m_folder / name).string(); }
    static std::string Content(const std::string& name)
    {
        std::ifstream file(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::filesystem::path m_folder;
    CHexData m_data{std::make_shared<HexClipboard>(), 4};
};

TEST_F(HexFile, SavesWhereItWasLoadedFromThroughALinkAndKeepsThePermissions)
{
    std::ofstream(Name("real")) << "0123456789";
    ASSERT_EQ(::chmod(Name("real").c_str(), 0640), 0);
    std::filesystem::create_symlink(Name("real"), Name("link"));
    ASSERT_EQ(m_data.LoadFile(Name("link")), HexCode::kSuccess);
    m_data.Select(2, 7);
    ASSERT_EQ(m_data.Delete(), HexOutcome::kDone);
    EXPECT_TRUE(m_data.IsModified());
    EXPECT_EQ(m_data.Save(), 0U);
    EXPECT_FALSE(m_data.IsModified());
    EXPECT_EQ(Content(Name("real")), "019");
    EXPECT_TRUE(std::filesystem::is_symlink(Name("link")));
    struct stat status {};
    ASSERT_EQ(::stat(Name("real").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
    EXPECT_EQ(m_data.SaveAs(Name("other")), 0U);
    EXPECT_EQ(Content(Name("other")), "019");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), 3) << "nothing else is left behind";
}

TEST_F(HexFile, TellsWhatCanNotBeReadOrWritten)
{
    constexpr auto kBad = static_cast<std::uint32_t>(HexCode::kBadParameter);
    EXPECT_EQ(m_data.Save(), kBad);
    EXPECT_EQ(m_data.SaveAs(Name("x")), kBad) << "what a host gave is not saved to a file";
    EXPECT_EQ(m_data.LoadFile(Name("none")), HexCode::kFileNotFound);
    EXPECT_EQ(m_data.LoadFile(m_folder.string()), HexCode::kAccessDenied);
    ASSERT_EQ(::mkfifo(Name("pipe").c_str(), 0600), 0);
    EXPECT_EQ(m_data.LoadFile(Name("pipe")), HexCode::kAccessDenied);
    std::ofstream(Name("file")) << "abc";
    ASSERT_EQ(m_data.LoadFile(Name("file")), HexCode::kSuccess);
    EXPECT_EQ(m_data.SaveAs(""), kBad);
    EXPECT_EQ(m_data.SaveAs(Name("none/file")), static_cast<std::uint32_t>(HexCode::kFileNotFound));
}

} // namespace
} // namespace tolvar
