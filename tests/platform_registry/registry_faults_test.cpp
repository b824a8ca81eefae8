#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/power_cut_store.h"
#include "platform/hive/cell_layout.h"
#include "platform/hive/scratch_hive.h"
#include "platform/registry/embedded_registry.h"

namespace tolvar {
namespace {

using fixtures::HiveBuilder;
using fixtures::PowerCutStore;

/// A registry over files in memory, with a writable hive at HKEY_USERS\W and a saved hive beside it.
class RegistryFaults : public testing::Test {
protected:
    void SetUp() override
    {
        store.Put("hive", EmptyHive(u"ROOT", 1));
        store.Put("saved", HiveBuilder().Build({.name = u"ROOT", .subkeys = {{.name = u"saved"}}}));
        ASSERT_TRUE(registry.Mount({"hive", "HKEY_USERS\\W"}, MountMode::kWritable));
        ASSERT_EQ(RegCreateKeyExA(HKEY_USERS, "W\\k\\below", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr),
                  ERROR_SUCCESS);
        ASSERT_EQ(RegOpenKeyExA(HKEY_USERS, "W\\k", 0, KEY_ALL_ACCESS, &key), ERROR_SUCCESS);
        ASSERT_TRUE(registry.Flush());
    }

    /// Makes `file` one that was not closed cleanly, with a log that can't be read.
    void LoseLog(const std::string& file)
    {
        std::vector<std::byte>& bytes = store.Content(file);
        Store(std::span(bytes), base_fields::kSequence1, 99);
        HiveBuilder::FixChecksum(bytes);
        store.Put(file + ".LOG1", {});
        store.FailReading(file + ".LOG1", ErrorCode::kIoDevice);
    }

    static LSTATUS Open(HKEY parent, const char* name)
    {
        HKEY opened = nullptr;
        return RegOpenKeyExA(parent, name, 0, KEY_READ, &opened);
    }

    PowerCutStore store;
    Registry registry{store};
    Session session{registry};
    HKEY key = nullptr;
    HKEY below = nullptr;
};

constexpr auto kIoDevice = static_cast<LSTATUS>(ErrorCode::kIoDevice);

TEST_F(RegistryFaults, KeepAHiveThatCanNotBeReadFromBeingMounted)
{
    store.FailReading("saved", ErrorCode::kIoDevice);
    for (const MountMode mode : {MountMode::kReadOnly, MountMode::kWritable}) {
        const Result<void> mounted = registry.Mount({"saved", "HKEY_USERS\\R"}, mode);
        ASSERT_FALSE(mounted);
        EXPECT_EQ(mounted.error().code, ErrorCode::kIoDevice);
        EXPECT_THAT(mounted.error().context, testing::HasSubstr("saved"));
        EXPECT_EQ(Open(HKEY_USERS, "R"), ERROR_FILE_NOT_FOUND);
    }
    EXPECT_TRUE(registry.Notices().empty());
}

TEST_F(RegistryFaults, ShowAHiveWithoutItsLogToThoseWhoOnlyLook)
{
    LoseLog("saved");
    EXPECT_EQ(registry.Mount({"saved", "HKEY_USERS\\R"}, MountMode::kWritable).error().code, ErrorCode::kIoDevice);
    ASSERT_TRUE(registry.Mount({"saved", "HKEY_USERS\\R"}));
    EXPECT_EQ(Open(HKEY_USERS, "R\\saved"), ERROR_SUCCESS);
    ASSERT_EQ(registry.Notices().size(), 1U);
    EXPECT_FALSE(registry.Notices()[0].isDamage);
    EXPECT_THAT(registry.Notices()[0].error.context, testing::HasSubstr("open saved.LOG1"));
}

TEST_F(RegistryFaults, ShowWhatIsThereOfAHiveThatIsCut)
{
    std::vector<std::byte>& bytes = store.Content("saved");
    Store(std::span(bytes), base_fields::kLength, static_cast<std::uint32_t>(bytes.size()));
    HiveBuilder::FixChecksum(bytes); // a page more than there is
    ASSERT_TRUE(registry.Mount({"saved", "HKEY_USERS\\R"}));
    ASSERT_EQ(registry.Notices().size(), 1U);
    EXPECT_TRUE(registry.Notices()[0].isDamage);
    EXPECT_EQ(registry.Notices()[0].error.code, ErrorCode::kRegistryCorrupt);
}

TEST(MemoryMountTest, BelongsToTheSessionAlone)
{
    const std::unique_ptr<MemoryMount> mount = MemoryMount::Make().value();
    const CellOffset root = mount->Reader().Root();
    const CellOffset key = mount->MakeKey(root, u"key").value();
    EXPECT_EQ(mount->MakeKey(root, u"KEY").value(), key);
    EXPECT_EQ(mount->Reader().KeyName(key)->ToUtf8(), "key");
    EXPECT_EQ(mount->Reader().Key(key)->lastWrite, 0U);
    EXPECT_EQ(mount->Writer().error().code, ErrorCode::kAccessDenied);
    EXPECT_TRUE(mount->Flush());
    EXPECT_FALSE(mount->IsChanged());
    EXPECT_TRUE(mount->IsVolatile());
}

TEST_F(RegistryFaults, LeaveAKeyThatIsToBeRestoredAsItIs)
{
    const auto expectRefused = [this] {
        EXPECT_EQ(RegRestoreKeyA(key, "saved", 0), kIoDevice);
        EXPECT_EQ(Open(key, "saved"), ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(Open(below, ""), ERROR_SUCCESS);
        EXPECT_FALSE(registry.IsChanged());
    };
    store.FailReading("saved", ErrorCode::kIoDevice);
    expectRefused();
    store.FailReading("saved", ErrorCode::kSuccess);
    LoseLog("saved");
    expectRefused();
    store.FailReading("saved.LOG1", ErrorCode::kSuccess);
    EXPECT_EQ(RegRestoreKeyA(key, "saved", 0), ERROR_SUCCESS);
    EXPECT_EQ(Open(key, "saved"), ERROR_SUCCESS);
    EXPECT_EQ(Open(below, ""), ERROR_KEY_DELETED);
    EXPECT_TRUE(registry.IsChanged());
}

TEST_F(RegistryFaults, LeaveNoHalfOfASavedKey)
{
    std::size_t faults = 0;
    for (LSTATUS code = kIoDevice; code != ERROR_SUCCESS; ++faults) {
        ASSERT_LT(faults, 20U);
        ASSERT_THAT(store.List("").value(), testing::UnorderedElementsAre("hive", "hive.LOG1", "saved"));
        store.FailAt(faults + 1, PowerCutStore::Fault::kDiskFull);
        code = RegSaveKeyA(key, "copy", nullptr);
        EXPECT_TRUE(code == ERROR_SUCCESS || code == static_cast<LSTATUS>(ErrorCode::kDiskFull)) << code;
    }
    EXPECT_GT(faults, 3U);
    ASSERT_TRUE(registry.Mount({"copy", "HKEY_USERS\\copy"}));
    EXPECT_EQ(Open(HKEY_USERS, "copy\\below"), ERROR_SUCCESS);
}

TEST(EmbeddedRegistryFaults, LeaveWholeHivesOrNone)
{
    bool isMade = false;
    for (std::size_t call = 1; !isMade; ++call) {
        SCOPED_TRACE(call);
        ASSERT_LT(call, 100U);
        PowerCutStore store;
        store.FailAt(call, PowerCutStore::Fault::kDiskFull);
        const Result<void> made = MakeEmbeddedRegistry("/r", store);
        isMade = made.has_value();
        EXPECT_TRUE(isMade || made.error().code == ErrorCode::kDiskFull);
        store.FailAt(0);
        EXPECT_THAT(store.List("/r").value(), testing::Each(testing::Not(testing::EndsWith(".tmp"))));
        for (const MountRequest& hive : EmbeddedMounts("/r")) {
            if (store.Exists(hive.file)) {
                Registry registry(store);
                EXPECT_TRUE(registry.Mount(hive));
            } else {
                EXPECT_FALSE(isMade);
            }
        }
        ASSERT_TRUE(MakeEmbeddedRegistry("/r", store)); // what is missing is made
        Registry registry(store);
        const Session session(registry);
        ASSERT_TRUE(MountEmbeddedRegistry(registry, "/r", MountMode::kReadOnly));
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Environment", 0, KEY_READ, &key), ERROR_SUCCESS);
        store.FailReading("/r/SAM", ErrorCode::kIoDevice);
        Registry second(store);
        EXPECT_EQ(MountEmbeddedRegistry(second, "/r", MountMode::kReadOnly).error().code, ErrorCode::kIoDevice);
    }
}

TEST_F(RegistryFaults, AreAnsweredByTheFlushThatMetThem)
{
    ASSERT_EQ(RegDeleteKeyA(below, ""), ERROR_SUCCESS);
    store.FailAt(1, PowerCutStore::Fault::kDiskFull);
    EXPECT_EQ(RegFlushKey(key), static_cast<LSTATUS>(ErrorCode::kDiskFull));
    EXPECT_TRUE(registry.IsChanged());
    store.FailAt(1, PowerCutStore::Fault::kDiskFull);
    EXPECT_EQ(registry.Flush().error().code, ErrorCode::kDiskFull);
    EXPECT_TRUE(registry.Flush());
    EXPECT_FALSE(registry.IsChanged());
}

} // namespace
} // namespace tolvar
