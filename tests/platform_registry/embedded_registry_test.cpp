#include "platform/registry/embedded_registry.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_model.h"
#include "fixtures/scratch_folder.h"
#include "platform/registry/winreg.h"

namespace tolvar {
namespace {

class EmbeddedRegistry : public testing::Test {
protected:
    static LSTATUS Open(HKEY root, const char* path)
    {
        HKEY key = nullptr;
        const LSTATUS code = RegOpenKeyExA(root, path, 0, KEY_READ, &key);
        RegCloseKey(key);
        return code;
    }

    fixtures::ScratchFolder scratch;
    const std::filesystem::path folder = scratch / "registry";
};

TEST_F(EmbeddedRegistry, IsMadeAtFirstUseAndFoundAgain)
{
    {
        Registry registry;
        const Session session(registry);
        ASSERT_TRUE(MakeEmbeddedRegistry(folder));
        ASSERT_TRUE(MountEmbeddedRegistry(registry, folder, MountMode::kWritable));
        HKEY key = nullptr;
        ASSERT_EQ(
            RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\Demo", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
        EXPECT_EQ(RegFlushKey(key), ERROR_SUCCESS);
    }
    Registry registry;
    const Session session(registry);
    ASSERT_TRUE(MakeEmbeddedRegistry(folder)); // and leaves what is there
    ASSERT_TRUE(MountEmbeddedRegistry(registry, folder, MountMode::kReadOnly));
    EXPECT_EQ(Open(HKEY_CURRENT_USER, "Software\\Demo"), ERROR_SUCCESS);
    EXPECT_EQ(Open(HKEY_USERS, "S-1-5-21-1000-1000-1000-1000\\Software\\Demo"), ERROR_SUCCESS);
    EXPECT_EQ(Open(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Control\\Session Manager"), ERROR_SUCCESS);
    EXPECT_EQ(Open(HKEY_CURRENT_CONFIG, "Software"), ERROR_SUCCESS);
    EXPECT_EQ(Open(HKEY_CLASSES_ROOT, ""), ERROR_SUCCESS);
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            EXPECT_EQ(fixtures::Findings(Hive::Open(entry.path()).value()), "") << entry.path();
        }
    }
}

TEST_F(EmbeddedRegistry, HasOneWriterAndLinksThatFollowWhatChanges)
{
    Registry registry;
    const Session session(registry);
    ASSERT_TRUE(MakeEmbeddedRegistry(folder));
    ASSERT_TRUE(MountEmbeddedRegistry(registry, folder, MountMode::kWritable));
    {
        Registry second;
        const Result<void> mounted = MountEmbeddedRegistry(second, folder, MountMode::kWritable);
        ASSERT_FALSE(mounted);
        EXPECT_EQ(mounted.error().code, ErrorCode::kSharingViolation);
    }
    HKEY key = nullptr;
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Classes"), ERROR_SUCCESS);
    EXPECT_EQ(RegCreateKeyExA(HKEY_CLASSES_ROOT, "x", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Classes\\y", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr),
        ERROR_SUCCESS);
    EXPECT_EQ(Open(HKEY_CLASSES_ROOT, "y"), ERROR_SUCCESS);
}

} // namespace
} // namespace tolvar
