#include "platform/registry/embedded_registry.h"

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_model.h"
#include "fixtures/scratch_folder.h"
#include "platform/registry/winreg.h"

namespace tolvar {
namespace {

/// Gives a variable of the environment another value, or none, for a while.
class SetVariable {
public:
    SetVariable(const char* name, const char* value) : m_name(name)
    {
        if (const char* before = std::getenv(name); before != nullptr) {
            m_before = before;
        }
        Set(value);
    }
    ~SetVariable() { Set(m_before ? m_before->c_str() : nullptr); }
    SetVariable(const SetVariable&) = delete;
    SetVariable& operator=(const SetVariable&) = delete;

private:
    void Set(const char* value) const
    {
        static_cast<void>(value != nullptr ? setenv(m_name, value, 1) : unsetenv(m_name));
    }
    const char* m_name;
    std::optional<std::string> m_before;
};

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

TEST_F(EmbeddedRegistry, LiesInTheUsersDataAndHoldsAStandardSkeleton)
{
    ASSERT_TRUE(MakeEmbeddedRegistry(folder));
    Registry registry;
    const Session session(registry);
    ASSERT_TRUE(MountEmbeddedRegistry(registry, scratch / "none", MountMode::kReadOnly)); // an empty registry
    EXPECT_EQ(Open(HKEY_CURRENT_USER, "Environment"), ERROR_FILE_NOT_FOUND);
    ASSERT_TRUE(MountEmbeddedRegistry(registry, folder, MountMode::kReadOnly));
    struct Case {
        HKEY root;
        const char* key;
        const char* value;
        DWORD type;
        std::string data;
    };
    using namespace std::string_literals;
    for (const Case& c : {
             Case{HKEY_LOCAL_MACHINE, "SYSTEM\\Select", "Current", REG_DWORD, "\1\0\0\0"s},
             Case{HKEY_LOCAL_MACHINE, "SYSTEM\\Setup", "SystemSetupInProgress", REG_DWORD, "\0\0\0\0"s},
             Case{HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", "SystemRoot", REG_SZ,
                  "C:\\WINDOWS\0"s},
             Case{HKEY_CURRENT_USER, "Environment", "TEMP", REG_EXPAND_SZ, "%USERPROFILE%\\Local Settings\\Temp\0"s},
         }) {
        SCOPED_TRACE(c.value);
        HKEY key = nullptr;
        ASSERT_EQ(RegOpenKeyExA(c.root, c.key, 0, KEY_READ, &key), ERROR_SUCCESS);
        std::string data(100, '\0');
        auto size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        EXPECT_EQ(RegQueryValueExA(key, c.value, nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &size),
                  ERROR_SUCCESS);
        EXPECT_EQ(type, c.type);
        EXPECT_EQ(data.substr(0, size), c.data);
    }
    EXPECT_EQ(Open(HKEY_CURRENT_CONFIG, "Software"), ERROR_SUCCESS);
    EXPECT_TRUE(std::filesystem::is_directory(folder / "drive_c/WINDOWS/TEMP"));
    struct Place {
        const char* data;
        const char* home;
        const char* expected;
    };
    for (const Place& place : {Place{"/data", "/home", "/data/tolvar/registry"},
                               Place{"data", "/home", "/home/.local/share/tolvar/registry"},
                               Place{nullptr, "/home", "/home/.local/share/tolvar/registry"},
                               Place{nullptr, nullptr, "/.local/share/tolvar/registry"}}) {
        const SetVariable data("XDG_DATA_HOME", place.data);
        const SetVariable home("HOME", place.home);
        EXPECT_EQ(EmbeddedRegistryFolder(), place.expected);
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
