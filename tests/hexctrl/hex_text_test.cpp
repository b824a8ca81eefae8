#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "fixtures/scratch_folder.h"
#include "hex_bytes.h"
#include "hexctrl/hex_charset.h"
#include "hexctrl/hex_dump.h"
#include "hexctrl/hex_inspect.h"

namespace tolvar {
namespace {

using namespace std::string_view_literals;

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
        {{0xFF, 0x3F, 0xC0, 0xD1, 0x5E, 0x5A, 0xC8, 0x24}, // the last time that is one
         {"255 / -1", "16383", "3519037439 / -775929857", "2650467743999999999", "9999-12-31 23:59:59.9999999", "",
          "\xE3\xBF\xBF\xED\x87\x80\xE5\xA9\x9E\xE2\x93\x88"}},
        {{0x00, 0x40, 0xC0, 0xD1, 0x5E, 0x5A, 0xC8, 0x24},
         {"0", "16384", "3519037440 / -775929856", "2650467744000000000", "", "",
          "\xE4\x80\x80\xED\x87\x80\xE5\xA9\x9E\xE2\x93\x88"}},
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

TEST(HexInspect, ReadsTextUpToWhatIsNoCharacter)
{
    struct Case {
        std::u16string units; ///< with an "x" after them that is read only where they are text
        std::string text;
    };
    for (const Case& c : {
             Case{u" ", " "},
             Case{u"\x1F", ""},
             Case{u"~", "~"},
             Case{u"\x7F", ""},
             Case{u"\x80", ""},
             Case{u"\x9F", ""},
             Case{u"\xA0", "\xC2\xA0"},
             Case{u"\x7FF", "\xDF\xBF"},
             Case{u"\x800", "\xE0\xA0\x80"},
             Case{u"\xD7FF", "\xED\x9F\xBF"},
             Case{u"\xE000", "\xEE\x80\x80"},
             Case{{0xD800, 0xDC00}, "\xF0\x90\x80\x80"},
             Case{{0xDBFF, 0xDFFD}, "\xF4\x8F\xBF\xBD"},
             Case{{0xD812, 0xDD67}, "\xF0\x94\xA5\xA7"},
             Case{{0xD83F, 0xDFFE}, ""}, // no character has this number
             Case{{0xD800, 0xDBFF}, ""},
             Case{{0xD800, 0xE000}, ""},
             Case{{0xDC00}, ""},
             Case{u"\xFDCF", "\xEF\xB7\x8F"},
             Case{u"\xFDD0", ""},
             Case{u"\xFDEF", ""},
             Case{u"\xFDF0", "\xEF\xB7\xB0"},
             Case{u"\xFFFD", "\xEF\xBF\xBD"},
             Case{u"\xFFFE", ""},
             Case{u"\xFFFF", ""},
             Case{std::u16string(31, u'a'), std::string(31, 'a')},
             Case{std::u16string(32, u'a'), std::string(32, 'a')}, // more isn't looked at
             Case{std::u16string(30, u'a') + u"\xD800\xDC00", std::string(30, 'a') + "\xF0\x90\x80\x80"},
         }) {
        Bytes bytes;
        for (const char16_t unit : c.units + u"x") {
            bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
            bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
        }
        const std::string read = InspectBytes(bytes)[static_cast<std::size_t>(HexReading::kText)];
        EXPECT_EQ(read, c.text + (c.text.empty() || c.units.size() == 32 ? "" : "x")) << HexPairs(bytes);
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
             Case{1, 'A', U'A'}, Case{1, 0x1F, U'.'}, Case{1, 0x20, U' '}, Case{1, 0x7E, U'~'}, Case{1, 0x7F, U'.'},
             Case{1, 0xA0, U'\u00A0'}, Case{1, 0xAD, U'.'}, Case{1, 0xFF, U'ÿ'}, Case{128, 0x80, U'.'},
             Case{128, 0xB1, U'ｱ'}, Case{163, 0xC2, U'Â'}, Case{1, 0xE4, U'ä'}, Case{1, 0x80, U'€'},
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
    EXPECT_EQ(ByteOf(CharactersOf(1), U'\x7F'), 0x7F)
        << "a control is the byte that it is, though it is shown as a dot";
    EXPECT_EQ(ByteOf(CharactersOf(1), U'\x80'), std::nullopt);
}

TEST(HexDump, WritesTheRowsThatTheRangeTouches)
{
    CHexData data(std::make_shared<HexClipboard>());
    Loaded(data, "AB\x1F FGHIJK", 0x20);
    EXPECT_EQ(HexDump(data, 4, 4, 1, 4, 6), "0020     42 1F 20   B. \n"
                                            "0024  46           F   \n");
    EXPECT_EQ(HexDump(data, 4, 4, 5, 2, 6), "0024     47 48      GH \n");
    EXPECT_EQ(HexDump(data, 4, 4, 6, 1000, 4), "0024     HI\n0028   JK  \n");
    EXPECT_EQ(HexDump(data, 4, 4, 0, 3, 2), "0020  41 42 1F     \n");
    EXPECT_EQ(HexDump(data, 4, 4, 0, 4, 4), "0020   AB. \n0024       \n") << "the row behind the range is there too";
    EXPECT_EQ(HexDump(data, 4, 4, 99, -7, 4), "0028       \n");
}

TEST(HexDump, ReadsHexTextInPairs)
{
    EXPECT_EQ(BytesOfHexText("4d 5A90  00 "), (Bytes{0x4D, 0x5A, 0x90, 0}));
    EXPECT_EQ(BytesOfHexText(""), Bytes());
    EXPECT_EQ(HexPairs(Bytes{0x4D, 0x05, 0xF0}), "4d 05 f0 ");
    EXPECT_EQ(HexPair(0x5F), "5F");
    EXPECT_EQ(HexAddress(0xA0, 4), "00A0");
    EXPECT_EQ(HexAddress(0x12345, 4), "12345");
    EXPECT_EQ(HexAddress(0, 0), "");
    for (const std::string_view wrong : {"4"sv, "4 d"sv, "4d5"sv, "xy"sv, "4x"sv, "4d,5a"sv, "4d5a"sv.substr(0, 3)}) {
        EXPECT_EQ(BytesOfHexText(wrong), std::nullopt) << wrong;
    }
}

/// A folder of its own for one test.
class HexFile : public testing::Test {
protected:
    [[nodiscard]] std::string Name(const char* name) const { return (m_folder / name).string(); }
    static std::string Content(const std::string& name)
    {
        std::ifstream file(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    [[nodiscard]] std::ptrdiff_t FilesInFolder() const
    {
        return std::distance(std::filesystem::directory_iterator(m_folder.Path()), {});
    }
    static unsigned ModeOf(const std::string& name)
    {
        struct stat status {};
        EXPECT_EQ(::stat(name.c_str(), &status), 0);
        return status.st_mode & 07777U;
    }

    fixtures::ScratchFolder m_folder;
    std::shared_ptr<HexClipboard> m_clipboard = std::make_shared<HexClipboard>();
    CHexData m_data{m_clipboard, 4};
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
    EXPECT_EQ(ModeOf(Name("real")), 0640U);
    const mode_t mask = ::umask(0027);
    EXPECT_EQ(m_data.SaveAs(Name("other")), 0U);
    EXPECT_EQ(::umask(mask), 0027U) << "and it stays so";
    EXPECT_EQ(ModeOf(Name("other")), 0640U);
    EXPECT_EQ(Content(Name("other")), "019");
    EXPECT_EQ(FilesInFolder(), 3) << "nothing else is left behind";
    m_data.Select(0, 1);
    ASSERT_EQ(m_data.Copy(), HexOutcome::kDone);
    EXPECT_EQ(m_clipboard->sourceName, Name("link"));
}

/// No file of the process grows longer than this.
class ShortFiles {
public:
    explicit ShortFiles(rlim_t most)
    {
        ::getrlimit(RLIMIT_FSIZE, &m_old);
        const rlimit limit{most, m_old.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        m_oldAction = std::signal(SIGXFSZ, SIG_IGN);
    }
    ShortFiles(const ShortFiles&) = delete;
    ShortFiles& operator=(const ShortFiles&) = delete;
    ~ShortFiles()
    {
        std::signal(SIGXFSZ, m_oldAction);
        ::setrlimit(RLIMIT_FSIZE, &m_old);
    }

private:
    rlimit m_old{};
    void (*m_oldAction)(int) = nullptr;
};

TEST_F(HexFile, AFileThatDoesNotFitIsNotTouched)
{
    std::ofstream(Name("file")) << "0123456789";
    ASSERT_EQ(m_data.LoadFile(Name("file")), HexCode::kSuccess);
    m_data.Select(0, 10);
    ASSERT_EQ(m_data.OverwriteWithZeros(), HexOutcome::kDone);
    for (const auto& [room, result] :
         {std::pair<rlim_t, std::uint32_t>{7, 7}, {1, 1}, {0, static_cast<std::uint32_t>(HexCode::kGeneralFailure)}}) {
        std::uint32_t saved = 0;
        {
            const ShortFiles limit(room);
            saved = m_data.Save();
        }
        EXPECT_EQ(saved, result);
        EXPECT_TRUE(m_data.IsModified());
        EXPECT_EQ(Content(Name("file")), "0123456789");
        EXPECT_EQ(FilesInFolder(), 1);
    }
}

TEST_F(HexFile, TellsWhatCanNotBeReadOrWritten)
{
    constexpr auto kBad = static_cast<std::uint32_t>(HexCode::kBadParameter);
    EXPECT_EQ(m_data.Save(), kBad);
    EXPECT_EQ(m_data.SaveAs(Name("x")), kBad) << "what a host gave is not saved to a file";
    EXPECT_EQ(m_data.LoadFile(Name("none")), HexCode::kFileNotFound);
    EXPECT_EQ(m_data.LoadFile(m_folder.Path().string()), HexCode::kAccessDenied);
    ASSERT_EQ(::mkfifo(Name("pipe").c_str(), 0600), 0);
    EXPECT_EQ(m_data.LoadFile(Name("pipe")), HexCode::kAccessDenied);
    std::ofstream(Name("file")) << "abc";
    ASSERT_EQ(m_data.LoadFile(Name("file")), HexCode::kSuccess);
    EXPECT_EQ(m_data.SaveAs(""), kBad);
    EXPECT_EQ(m_data.SaveAs(Name("none/file")), static_cast<std::uint32_t>(HexCode::kFileNotFound));
    EXPECT_EQ(m_data.SaveAs(Name("file/below")), static_cast<std::uint32_t>(HexCode::kFileNotFound));
    std::filesystem::create_directory(Name("folder"));
    EXPECT_EQ(m_data.SaveAs(Name("folder")), static_cast<std::uint32_t>(HexCode::kAccessDenied));
    EXPECT_EQ(m_data.LoadFile(Name(std::string(300, 'x').c_str())), HexCode::kGeneralFailure);
    EXPECT_EQ(FilesInFolder(), 3) << "the pipe, the file and the folder";
    EXPECT_EQ(Text(m_data), "abc");
    EXPECT_FALSE(m_data.IsModified());
}

} // namespace
} // namespace tolvar
