#include <fstream>

#include <gtest/gtest.h>

#include "fixtures/writable_session.h"
#include "key_text/read_key_text.h"
#include "key_text/write_key_text.h"
#include "platform/registry/key_image.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {
namespace {

class KeyText : public testing::Test {
protected:
    static RegKey Make(const std::string& path)
    {
        RegKey key;
        EXPECT_EQ(CreateKeyPath(path, *key.Put(), KEY_ALL_ACCESS), ERROR_SUCCESS) << path;
        return key;
    }
    static void Set(const std::string& path, const char* name, DWORD type, const std::string& data)
    {
        const RegKey key = Make(path);
        EXPECT_EQ(RegSetValueExA(key.Get(), name, 0, type, reinterpret_cast<const BYTE*>(data.data()),
                                 static_cast<DWORD>(data.size())),
                  ERROR_SUCCESS);
    }
    static std::string Get(const std::string& path, const char* name)
    {
        RegKey key;
        DWORD type = 0;
        DWORD size = 100;
        std::string data(size, '\0');
        if (OpenKeyPath(path, *key.Put(), KEY_READ) != ERROR_SUCCESS ||
            RegQueryValueExA(key.Get(), name, nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &size) !=
                ERROR_SUCCESS) {
            return "missing";
        }
        return std::to_string(type) + ":" + data.substr(0, size);
    }
    static std::string Text(const std::string& path, KeyTextForm form, KeyTextLosses* losses = nullptr)
    {
        std::string text;
        const Result<KeyTextLosses> written = WriteKeyText(path, form, [&text](std::string_view piece) {
            text.append(piece);
            return Result<void>();
        });
        EXPECT_TRUE(written.has_value());
        if (losses != nullptr) {
            *losses = written.value_or(KeyTextLosses{});
        }
        return text;
    }

    static std::string ValueLine(const std::string& path, const char* name)
    {
        std::string text;
        const RegKey key = Make(path);
        LSTATUS code = ERROR_SUCCESS;
        OpenValue value = OpenValue::Find(key.Get(), name, code);
        const Result<KeyTextLosses> written = WriteValueText(path, value, [&text](std::string_view piece) {
            text.append(piece);
            return Result<void>();
        });
        EXPECT_TRUE(code == ERROR_SUCCESS && written && written->count == 0);
        return text;
    }

    fixtures::WritableSession session;
    const std::string top = "HKEY_USERS\\W";
};

TEST_F(KeyText, HasOneFormForExportsOneForKeysAndOneForValues)
{
    Set(top + "\\a", "", REG_SZ, "x");
    Set(top + "\\a", "n", REG_DWORD, std::string("\x34\x12\0\0", 4));
    Set(top + "\\a\\b", "big", REG_DWORD_BIG_ENDIAN, std::string("\0\0\x12\x34", 4));
    Set(top + "\\a\\b\\c", "list", REG_MULTI_SZ, std::string("a\0b\0", 4));
    Set(top + "\\a\\d", "bytes", 0x80000001, "\x01\xff");
    const std::string below = "b]\r\nbig=5:00001234\r\n";
    EXPECT_EQ(Text(top + "\\a", KeyTextForm::kAbsolute),
              "[HKEY_USERS\\W\\a]\r\n@=1:x\r\nn=4:00001234\r\n[HKEY_USERS\\W\\a\\b]\r\nbig=5:00001234\r\n"
              "[HKEY_USERS\\W\\a\\b\\c]\r\nlist=7:a;b\r\n[HKEY_USERS\\W\\a\\d]\r\nbytes=-2147483647:01 ff \r\n");
    EXPECT_EQ(Text(top + "\\a", KeyTextForm::kRelative),
              "@=1:x\r\nn=4:00001234\r\n[" + below + "[b\\c]\r\nlist=7:a;b\r\n[d]\r\nbytes=-2147483647:01 ff \r\n");
    EXPECT_EQ(ValueLine(top + "\\a", "N"), "n=4:00001234");
    EXPECT_EQ(ValueLine(top + "\\a", ""), "=1:x");
    EXPECT_EQ(ValueLine(top + "\\a", "none"), "");
    Make(top + "\\empty");
    EXPECT_EQ(Text(top + "\\empty", KeyTextForm::kRelative), "");
    EXPECT_EQ(Text(top + "\\empty", KeyTextForm::kAbsolute), "[HKEY_USERS\\W\\empty]\r\n");
}

TEST_F(KeyText, LeavesOutWhatWouldBeReadAsSomethingElseAndCountsIt)
{
    struct Case {
        const char* name;
        DWORD type;
        std::string data;
        bool isWritten;
        bool isCounted;
    };
    for (const Case& c : {
             Case{"plain", REG_SZ, "x", true, false},
             Case{"a:b", REG_SZ, "x", false, true},
             Case{"a=b", REG_SZ, "x", false, true},
             Case{"[HKEY_USERS\\W\\evil]", REG_SZ, "x", false, true},
             Case{"a[b", REG_SZ, "x", true, false},
             Case{"@", REG_SZ, "x", false, true},
             Case{"feed", REG_SZ, "x\n[HKEY_USERS\\W\\evil]", false, true},
             Case{"end", REG_SZ, "x\x1A", false, true},
             Case{"return", REG_SZ, "x\r", true, false},
             Case{"behind", REG_SZ, std::string("a\0b", 3), true, true},
             Case{"list", REG_MULTI_SZ, std::string("a;b\0c\0", 6), true, true},
             Case{"short", REG_DWORD, "ab", false, true},
             Case{"odd", 12, "abc", true, false},
         }) {
        SCOPED_TRACE(c.name);
        const std::string key = top + "\\case";
        Set(key, c.name, c.type, c.data);
        KeyTextLosses losses;
        const std::string text = Text(key, KeyTextForm::kAbsolute, &losses);
        EXPECT_EQ(losses.count, c.isCounted ? 1U : 0U);
        EXPECT_EQ(losses.first, c.isCounted ? key + ", value \"" + c.name + "\"" : "");
        EXPECT_EQ(std::ranges::count(text, '\n'), c.isWritten ? 2 : 1) << text;
        EXPECT_EQ(RegDeleteTreeA(Make(top).Get(), "case"), ERROR_SUCCESS);
    }
    Set(top + "\\keys\\in\nner\\deep", "v", REG_SZ, "x");
    Set(top + "\\keys\\last", "v", REG_SZ, "x");
    KeyTextLosses losses;
    EXPECT_EQ(Text(top + "\\keys", KeyTextForm::kRelative, &losses), "[last]\r\nv=1:x\r\n");
    EXPECT_EQ(losses.count, 3U) << "the key, the one below it, and its value";
}

TEST_F(KeyText, IsReadByItsRules)
{
    struct Case {
        const char* lines;
        const char* name;
        std::string value;
    };
    const std::string none = "missing";
    for (const Case& c : {
             Case{"@=1:x\r\n", "", std::string("1:x\0", 4)},
             Case{"=1:x", "", std::string("1:x\0", 4)},
             Case{"n=4:00001234\n", "n", std::string("4:\x34\x12\0\0", 6)},
             Case{"n=4:0000123499\n", "n", std::string("4:\x34\x12\0\0", 6)},
             Case{"n=5:1234\n", "n", std::string("5:\0\0\x12\x34", 6)},
             Case{"n=4:\n", "n", std::string("4:\0\0\0\0", 6)},
             Case{"n=3:01 02 FF\n", "n", "3:\x01\x02\xff"},
             Case{"n=-1:01 \n", "n", "4294967295:\x01"},
             Case{"n=7:a;b\n", "n", std::string("7:a\0b\0\0", 7)},
             Case{"n=1:a:b=c\n", "n", std::string("1:a:b=c\0", 8)},
             Case{"n=1:last\x1An=1:behind", "n", std::string("1:last\0", 7)},
             Case{"a=b=1:x\n", "a", none},
             Case{"n=4:zz\n", "n", none},
             Case{"n=:x\n", "n", none},
             Case{"n\n", "n", none},
         }) {
        SCOPED_TRACE(c.lines);
        const RegKey key = Make(top + "\\case");
        const KeyTextReading reading = RestoreKeyText(key.Get(), c.lines);
        EXPECT_EQ(Get(top + "\\case", c.name), c.value);
        EXPECT_EQ(reading.applied, c.value == none ? 0U : 1U);
        EXPECT_EQ(reading.skipped, c.value == none ? 1U : 0U);
        EXPECT_EQ(IsWholeKeyText(c.lines),
                  c.value != none && std::string_view(c.lines).find('\x1A') == std::string::npos);
        EXPECT_EQ(RegDeleteTreeA(Make(top).Get(), "case"), ERROR_SUCCESS);
    }
}

TEST_F(KeyText, TakesItsKeysFromSectionsAndStopsAtAnUnknownRoot)
{
    const Result<KeyTextReading> reading =
        ReadKeyText("lost=1:x\r\n[hkey_users\\W\\a]\r\nn=1:1\r\n[HKEY_USERS\\W\\a\\b]\r\nn=1:2\r\n"
                    "[HKEY_LOCAL_MACHINE\\nothing is mounted here]\r\nn=1:3\r\n");
    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->applied, 2U);
    EXPECT_EQ(reading->skipped, 3U);
    EXPECT_EQ(Get(top + "\\a\\b", "n"), std::string("1:2\0", 4));
    const Result<KeyTextReading> stopped =
        ReadKeyText("[HKEY_USERS\\W\\a]\nm=1:1\n[NO_SUCH_ROOT\\x]\nn=1:2\n[HKEY_USERS\\W\\never]\n");
    ASSERT_FALSE(stopped);
    EXPECT_EQ(stopped.error().code, ErrorCode::kBadCommand);
    EXPECT_EQ(Get(top + "\\a", "m"), std::string("1:1\0", 4));
    EXPECT_EQ(Get(top + "\\never", ""), "missing");
    EXPECT_EQ(RestoreKeyText(Make(top + "\\r").Get(), "own=1:1\r\n[x\\y]\r\nn=1:2\r\n").applied, 2U);
    EXPECT_EQ(Get(top + "\\r", "own"), std::string("1:1\0", 4));
    EXPECT_EQ(Get(top + "\\r\\x\\y", "n"), std::string("1:2\0", 4));
}

TEST_F(KeyText, ReplacesAFileAsAWholeOrNotAtAll)
{
    const std::filesystem::path file = session.File().parent_path() / "out.tvr";
    Set(top + "\\a", "n", REG_SZ, "x");
    std::ofstream(file) << std::string(1000, 'o');
    ASSERT_TRUE(WriteKeyTextFile(top + "\\a", KeyTextForm::kAbsolute, file));
    EXPECT_EQ(std::filesystem::file_size(file), 25U);
    EXPECT_FALSE(WriteKeyTextFile(top + "\\none", KeyTextForm::kAbsolute, file));
    EXPECT_EQ(WriteKeyTextFile("NOWHERE\\a", KeyTextForm::kAbsolute, file).error().code, ErrorCode::kBadCommand);
    EXPECT_EQ(std::filesystem::file_size(file), 25U);
    EXPECT_EQ(SystemFiles().List(file.parent_path())->size(), 2U); // the hive beside it, and nothing left of the tries
    EXPECT_EQ(RegDeleteTreeA(Make(top).Get(), "a"), ERROR_SUCCESS);
    EXPECT_EQ(ReadKeyFile(file)->applied, 1U);
    EXPECT_EQ(Get(top + "\\a", "n"), std::string("1:x\0", 4));
}

} // namespace
} // namespace tolvar
