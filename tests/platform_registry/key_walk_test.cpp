#include "platform/registry/key_cursor.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <thread>

#include <gmock/gmock.h>

#include "fixtures/dice.h"
#include "platform/hive/scratch_hive.h"
#include "platform/registry/subkey_listing.h"
#include "platform_hive/raw_hive.h"
#include "platform_registry/name_space_fixture.h"

namespace tolvar {
namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::Not;

std::string KeyLine(const std::string& path, std::string_view className, std::uint64_t lastWrite)
{
    return fmt::format("{} {} {}", path, className, lastWrite);
}

std::string ValueLine(std::string_view name, DWORD type, std::size_t size)
{
    return fmt::format("  {}={}:{}", name, type, size);
}

/// Writes a walk down, a line for each key and value.
class WalkedLines {
public:
    std::vector<std::string> lines;
    std::size_t ends = 0; ///< of lists of values
    std::size_t faults = 0;

    void OnKey(const KeyCursor& key)
    {
        m_path.resize(key.Depth());
        m_path.push_back(key.Name().ToUtf8());
        std::string path = m_path.front();
        for (std::size_t i = 1; i < m_path.size(); ++i) {
            path += "\\" + m_path[i];
        }
        lines.push_back(KeyLine(path, key.ClassName()->ToUtf8(), key.LastWrite()));
        EXPECT_EQ(key.IsStoredLink(), m_path.back().starts_with("stored")) << path;
    }
    void OnValue(const ValueCursor& value)
    {
        EXPECT_FALSE(value.CheckData());
        EXPECT_EQ(value.StoredData()->size(), value.Size());
        lines.push_back(ValueLine(value.Name().ToUtf8(), value.Type(), value.Size()));
    }
    void OnValuesEnd() { ++ends; }
    void OnFault(const KeyFault& /*fault*/) { ++faults; }
    [[nodiscard]] bool IsStopped() const { return false; }

private:
    std::vector<std::string> m_path;
};

/// The same by the calls of winreg.h. Names tell how a key is opened: links of the session ("session...") are entered
/// once, stored ones ("stored...") never. Each key's list of subkeys is held against what the calls say.
class EnumeratedLines {
public:
    std::vector<std::string> lines;

    void Enumerate(HKEY key, const std::string& path, bool isUnderLink)
    {
        char className[64];
        DWORD classSize = sizeof className;
        FILETIME written = {};
        ASSERT_EQ(RegQueryInfoKeyA(key, className, &classSize, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, &written),
                  ERROR_SUCCESS)
            << path;
        lines.push_back(KeyLine(path, className, TimeOf(written)));
        char name[64];
        DWORD nameSize = sizeof name;
        DWORD type = 0;
        for (DWORD i = 0; RegEnumValueA(key, i, name, &nameSize, nullptr, &type, nullptr, nullptr) == ERROR_SUCCESS;
             ++i) {
            std::vector<BYTE> data;
            EXPECT_EQ(QueryStoredValue(key, name, nullptr, &data), ERROR_SUCCESS);
            lines.push_back(ValueLine(name, type, data.size()));
            nameSize = sizeof name;
        }
        const std::vector<std::string> names = Names(key);
        ExpectListing(key, names);
        for (const std::string& subkey : names) {
            const bool isSessionLink = subkey.starts_with("session");
            const bool isShown = subkey.starts_with("stored") || (isSessionLink && isUnderLink);
            HKEY child = nullptr;
            ASSERT_EQ(RegOpenKeyExA(key, subkey.c_str(), isShown ? REG_OPTION_OPEN_LINK : 0, KEY_READ, &child),
                      ERROR_SUCCESS)
                << path << "\\" << subkey;
            Enumerate(child, path + "\\" + subkey, isUnderLink || isSessionLink);
            RegCloseKey(child);
        }
    }

private:
    static std::uint64_t TimeOf(const FILETIME& time)
    {
        return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    }
    static void ExpectListing(HKEY key, const std::vector<std::string>& names)
    {
        std::vector<std::string> listed;
        EXPECT_EQ(ListSubkeys(key, KEY_READ,
                              [&](const ListedSubkey& subkey) {
                                  const std::string name(subkey.name);
                                  listed.push_back(name);
                                  HKEY child = nullptr;
                                  DWORD subkeys = 0;
                                  FILETIME written = {};
                                  if (RegOpenKeyExA(key, name.c_str(), 0, KEY_READ, &child) != ERROR_SUCCESS) {
                                      return; // a link that leads nowhere
                                  }
                                  EXPECT_EQ(RegQueryInfoKeyA(child, nullptr, nullptr, nullptr, &subkeys, nullptr,
                                                             nullptr, nullptr, nullptr, nullptr, nullptr, &written),
                                            ERROR_SUCCESS);
                                  EXPECT_FALSE(subkey.isRefused);
                                  EXPECT_EQ(subkey.hasSubkeys, subkeys != 0) << name;
                                  EXPECT_EQ(subkey.lastWrite, TimeOf(written)) << name;
                                  RegCloseKey(child);
                              }),
                  ERROR_SUCCESS);
        EXPECT_EQ(listed, names);
    }
};

class KeyWalks : public NameSpaceTest {
protected:
    WalkedLines Walk(const std::string& path)
    {
        WalkedLines walked;
        WalkPermit permit(session.registry);
        KeyWalk(permit, walked).Run(permit.Find(path).value());
        return walked;
    }

    /// A walk over what lies at `path` tells what the calls tell.
    void ExpectAsEnumerated(const std::string& path, HKEY root, const char* rest)
    {
        SCOPED_TRACE(path);
        HKEY key = nullptr;
        ASSERT_EQ(RegOpenKeyExA(root, rest, 0, KEY_READ, &key), ERROR_SUCCESS);
        EnumeratedLines enumerated;
        enumerated.Enumerate(key, path.substr(path.rfind('\\') + 1), false);
        const WalkedLines walked = Walk(path);
        EXPECT_THAT(walked.lines, ElementsAreArray(enumerated.lines));
        EXPECT_EQ(walked.faults, 0U);
        EXPECT_EQ(walked.ends, static_cast<std::size_t>(std::ranges::count_if(
                                   walked.lines, [](const std::string& line) { return !line.starts_with("  "); })));
    }
};

TEST_F(KeyWalks, TellWhatTheCallsTell)
{
    for (const char* path :
         {"a", "a\\hidden\\never seen", "a\\m", "a\\way\\own", "b\\c\\d", "target\\deep", "u\\both\\mine",
          "u\\only user", "x\\both\\theirs", "x\\apple", "x\\both\\zebra\\z", "empty"}) {
        Set(path, "v", 1);
        Set(path, "", 2);
    }
    Set("u\\both", "same", 1);
    Set("x\\both", "SAME", 2);
    Set("x\\both", "machine", 3);
    MakeLink("a\\stored", "\\Registry\\User\\W\\b");
    MakeLink("target\\stored nowhere", "\\Registry\\User\\W\\none");
    MakeLink("x\\both\\stored", "\\Registry\\User\\W\\b");
    const std::filesystem::path file = session.File().string() + ".second";
    const std::vector<std::byte> bytes = EmptyHive(u"SECOND", 77);
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
    ASSERT_TRUE(session.registry.Mount({file, "HKEY_USERS\\W\\a\\HIDDEN"}, MountMode::kWritable));
    Set("a\\hidden\\second", "v", 3);
    ASSERT_TRUE(session.registry.Link("HKEY_USERS\\W\\a\\session", "HKEY_USERS\\W\\target"));
    ASSERT_TRUE(session.registry.Link("HKEY_USERS\\W\\target\\session again", "HKEY_USERS\\W\\b"));
    ASSERT_TRUE(session.registry.Link("HKEY_USERS\\W\\a\\way\\nothing\\session far", "HKEY_USERS\\W\\b"));
    ASSERT_TRUE(session.registry.Link("HKEY_CURRENT_CONFIG\\x\\session", "HKEY_USERS\\W\\u"));
    ASSERT_TRUE(session.registry.View("HKEY_CLASSES_ROOT", "HKEY_USERS\\W\\u", "HKEY_USERS\\W\\x"));
    ASSERT_TRUE(session.registry.Link("HKEY_CLASSES_ROOT\\both\\session", "HKEY_USERS\\W\\b"));
    ExpectAsEnumerated("HKEY_USERS", HKEY_USERS, "");
    ExpectAsEnumerated("HKEY_USERS\\W", HKEY_USERS, "W");
    ExpectAsEnumerated("HKEY_USERS\\W\\a", HKEY_USERS, "W\\a");
    ExpectAsEnumerated("HKEY_USERS\\W\\a\\way", HKEY_USERS, "W\\a\\way");
    ExpectAsEnumerated("HKEY_USERS\\W\\b", HKEY_USERS, "W\\b");
    ExpectAsEnumerated("HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT, "");
    ExpectAsEnumerated("HKEY_CLASSES_ROOT\\both", HKEY_CLASSES_ROOT, "both");
    ExpectAsEnumerated("HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG, "");
    EXPECT_THAT(Walk("HKEY_USERS\\W\\a").lines, Not(Contains(testing::HasSubstr("never seen"))));

    const WalkPermit permit(session.registry);
    const KeyRef both = permit.Find("HKEY_CLASSES_ROOT\\both").value();
    for (const auto& [name, isThere, data] :
         {std::tuple{u"SAME", true, 1U}, {u"machine", true, 3U}, {u"none", false, 0U}}) {
        unsigned seen = 0;
        const auto visit = [&seen = seen](const ValueCursor& value) {
            seen = std::to_integer<unsigned>(value.FlatData().value()[0]);
        };
        EXPECT_EQ(VisitValue(both, name, visit).value(), isThere);
        EXPECT_EQ(seen, data);
    }
    EXPECT_EQ(permit.Find("HKEY_USERS\\W\\none").error().code, ErrorCode::kFileNotFound);
}

TEST_F(KeyWalks, ComeToAnEndInMergedTreesThatLieAboutThemselves)
{
    fixtures::RawHive raw;
    const auto makeCircle = [&raw](std::string_view name) { // a key that lists itself
        const std::uint32_t key = raw.Allocate(kKeyFixedSize + name.size());
        const std::uint32_t list = raw.AddList("li", std::vector{key});
        raw.SetKey(key, {.name = name, .subkeys = 1, .subkeyList = list});
        return list;
    };
    const std::uint32_t value = raw.AddValue("v", REG_BINARY, 1000, raw.Allocate(1000));
    const std::uint32_t first = raw.AddKey({.name = "a",
                                            .subkeys = 1,
                                            .subkeyList = makeCircle("x"),
                                            .values = 100,
                                            .valueList = raw.AddOffsets(std::vector(100, value))});
    const std::uint32_t second = raw.AddKey({.name = "b", .subkeys = 1, .subkeyList = makeCircle("y")});
    const std::vector<std::byte> bytes = raw.Finish(
        raw.AddKey({.name = "root", .subkeys = 2, .subkeyList = raw.AddList("li", std::vector{first, second})}));
    const std::filesystem::path file = session.File().string() + ".raw";
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
    ASSERT_TRUE(session.registry.Mount({file, "HKEY_USERS\\Raw"}));
    ASSERT_TRUE(session.registry.View("HKEY_CLASSES_ROOT", "HKEY_USERS\\Raw\\a", "HKEY_USERS\\Raw\\b"));
    const WalkedLines walked = Walk("HKEY_CLASSES_ROOT");
    ASSERT_EQ(bytes.size(), 8192U); // four times the value fill its bins
    EXPECT_EQ(std::ranges::count(walked.lines, "  v=3:1000"), 4);
    EXPECT_EQ(walked.lines.size(), 3U + 4U); // the top, x and y
    EXPECT_EQ(walked.faults, 3U);
    EXPECT_EQ(walked.ends, 3U);
}

TEST_F(KeyWalks, PassOverADamagedKeyBetweenItsSisters)
{
    fixtures::RawHive raw;
    const std::uint32_t good = raw.AddKey({.name = "x"});
    const std::uint32_t broken = raw.Allocate(100);
    const std::vector<std::byte> bytes = raw.Finish(
        raw.AddKey({.name = "root", .subkeys = 3, .subkeyList = raw.AddList("li", std::vector{broken, good, broken})}));
    const std::filesystem::path file = session.File().string() + ".raw";
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
    ASSERT_TRUE(session.registry.Mount({file, "HKEY_USERS\\Raw"}));
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_USERS, "Raw", 0, KEY_READ, &key), ERROR_SUCCESS);
    std::vector<std::string> listed;
    EXPECT_EQ(ListSubkeys(key, KEY_READ, [&](const ListedSubkey& subkey) { listed.emplace_back(subkey.name); }),
              ERROR_SUCCESS);
    EXPECT_THAT(listed, testing::ElementsAre("x"));
    char name[8];
    for (const auto& [index, code] : {std::pair{0U, ERROR_REGISTRY_CORRUPT},
                                      {1U, ERROR_SUCCESS},
                                      {2U, ERROR_REGISTRY_CORRUPT},
                                      {3U, ERROR_NO_MORE_ITEMS}}) {
        EXPECT_EQ(RegEnumKeyA(key, index, name, sizeof name), code) << index;
    }
    const WalkedLines walked = Walk("HKEY_USERS\\Raw");
    EXPECT_EQ(walked.lines.size(), 2U);
    EXPECT_EQ(walked.faults, 2U);
}

TEST_F(KeyWalks, TellEachKeyThatStaysOnceBesideAWriter)
{
    constexpr int kKeys = 2600; // a walk looks for a writer every 1024 keys
    const auto name = [](int number) { return fmt::format("k{:05}", number); };
    for (int i = 0; i < kKeys; ++i) {
        Make((i % 3 == 0 ? "u\\top\\" : "x\\top\\") + name(i));
        Make("top\\" + name(i));
    }
    ASSERT_TRUE(session.registry.View("HKEY_CLASSES_ROOT", "HKEY_USERS\\W\\u", "HKEY_USERS\\W\\x"));
    for (const char* path : {"HKEY_USERS\\W\\top", "HKEY_CLASSES_ROOT\\top", "HKEY_USERS"}) {
        SCOPED_TRACE(path);
        std::atomic<bool> isOver = false;
        std::atomic<int> calls = 0;
        std::thread writer([&] { // odd keys come and go
            fixtures::Dice dice(7);
            while (!isOver) {
                const std::string odd = name(static_cast<int>(dice.Below(kKeys / 2)) * 2 + 1);
                for (const char* top : {"top\\", "u\\top\\", "x\\top\\"}) {
                    const std::string key = std::string("W\\") + top + odd;
                    if (RegDeleteTreeA(HKEY_USERS, key.c_str()) == ERROR_FILE_NOT_FOUND) {
                        RegCloseKey(Make(top + odd));
                    }
                    ++calls;
                }
            }
        });
        WalkedLines walked;
        int callsMeanwhile = 0;
        {
            WalkPermit permit(session.registry);
            const Result<KeyRef> top = permit.Find(path);
            while (!permit.IsWanted()) {
                std::this_thread::yield();
            }
            callsMeanwhile = -calls;
            KeyWalk(permit, walked).Run(*top);
            callsMeanwhile += calls;
        }
        isOver = true;
        writer.join();
        EXPECT_GT(callsMeanwhile, 0);
        EXPECT_EQ(walked.faults, 0U);
        std::map<std::string, int> told;
        for (const std::string& line : walked.lines) {
            ++told[line.substr(0, line.find("  "))];
        }
        const std::string top = path == std::string("HKEY_USERS") ? "HKEY_USERS\\W\\top\\" : "top\\";
        for (int i = 0; i < kKeys; ++i) {
            const int times = told[top + name(i)];
            ASSERT_TRUE(times == 1 || (times == 0 && i % 2 == 1)) << name(i) << " was told " << times << " times";
        }
    }
}

TEST_F(KeyWalks, APermitTellsWhetherAWriterChangedAnything)
{
    WalkPermit permit(session.registry);
    EXPECT_FALSE(permit.IsWanted());
    for (const bool isChanging : {true, false}) {
        std::thread writer([isChanging] {
            if (isChanging) {
                RegCloseKey(Make("new"));
            } else {
                EXPECT_EQ(RegDeleteKeyA(HKEY_USERS, "W\\none"), ERROR_FILE_NOT_FOUND);
            }
        });
        while (!permit.IsWanted()) {
            std::this_thread::yield();
        }
        EXPECT_EQ(permit.LetWriterIn(), isChanging);
        while (permit.IsWanted()) { // opening the key that was made is another call
            static_cast<void>(permit.LetWriterIn());
        }
        writer.join();
    }
}

/// Collects the names of a walk; the first look at a key lets another thread write.
class WalkedNames {
public:
    std::vector<std::string> names;
    std::function<void()> onKey;

    void OnKey(const KeyCursor& key)
    {
        names.push_back(key.Name().ToUtf8());
        onKey();
    }
    void OnValue(const ValueCursor& /*value*/) {}
    void OnValuesEnd() {}
    void OnFault(const KeyFault& /*fault*/) { names.emplace_back("fault"); }
    [[nodiscard]] bool IsStopped() const { return false; }
};

TEST_F(KeyWalks, GoOnBehindTheKeyThatWasToldLast)
{
    constexpr int kKeys = 3000; // more than a walk tells between two looks for a writer
    Make("top");
    for (int i = 0; i < kKeys; ++i) {
        Make(fmt::format("top\\k{:05}", i));
    }
    std::thread writer;
    {
        WalkPermit permit(session.registry);
        WalkedNames walked;
        walked.onKey = [&] {
            if (walked.names.size() == 2) {
                writer = std::thread([] {
                    Make("top\\a before"); // behind the walk by now
                    Make("top\\z behind");
                });
            }
            while (walked.names.size() == 2 && !permit.IsWanted()) {
                std::this_thread::yield();
            }
        };
        const Result<KeyRef> top = permit.Find("HKEY_USERS\\W\\top");
        ASSERT_TRUE(top);
        KeyWalk(permit, walked).Run(*top);
        std::vector<std::string> sorted = walked.names;
        std::ranges::sort(sorted);
        EXPECT_EQ(std::ranges::adjacent_find(sorted), sorted.end());
        EXPECT_GE(walked.names.size(), std::size_t{kKeys} + 1);
        EXPECT_THAT(walked.names, testing::Contains(fmt::format("k{:05}", kKeys - 1)));
        EXPECT_THAT(walked.names, testing::Not(testing::Contains("a before")));
    }
    writer.join();
    EXPECT_EQ(Names(Make("top")).size(), std::size_t{kKeys} + 2);
}

} // namespace
} // namespace tolvar
