#include "platform/registry/registry.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include <fmt/format.h>

#include "platform/registry/key_path.h"
#include "platform/registry/registry_state.h"

namespace tolvar {

namespace {

std::atomic<Registry*> g_current{nullptr};

} // namespace

MountRequest MountRequest::FromArgument(std::string_view argument)
{
    for (std::size_t at = argument.rfind('@'); at != std::string_view::npos && at != 0;
         at = argument.rfind('@', at - 1)) {
        const std::string_view key = argument.substr(at + 1);
        if (FindRoot(SplitFirst(key).first) != nullptr) {
            return {argument.substr(0, at), std::string(key)};
        }
    }
    return {argument, {}};
}

std::string MountRequest::KeyPath() const
{
    return key.empty() ? JoinPath("HKEY_LOCAL_MACHINE", file.filename().string()) : key;
}

Registry::Registry(FileStore& files, const Clock& clock) : m_pState(std::make_unique<State>(files, clock)) {}

Registry::~Registry() = default;

Result<void> Registry::State::Flush(tolvar::Mount& mount)
{
    const bool isChanged = mount.IsChanged();
    auto flushed = mount.Flush();
    if (flushed && isChanged) {
        handles.ForEach([&mount](OpenKey& open) {
            if (open.IsIn(mount)) {
                open.NoteFlushed();
            }
        });
    }
    return flushed;
}

Result<void> Registry::State::Revert(tolvar::Mount& mount)
{
    ++generation;
    std::unordered_map<const OpenKey*, std::string> opened; // since the last flush, with their paths
    handles.ForEach([&](const OpenKey& open) {
        if (open.IsIn(mount) && !open.flushed && !open.isDeleted) {
            opened.emplace(&open, names.PathOf(open.key));
        }
    });
    auto reverted = mount.Revert();
    if (!reverted) {
        return reverted;
    }
    handles.ForEach([&](OpenKey& open) {
        if (const auto since = opened.find(&open); since != opened.end()) {
            const Result<KeyRef> found = names.Resolve(since->second, LastLink::kOpen);
            open.isDeleted = !found;
            open.key = found.value_or(open.key);
        } else if (open.IsIn(mount) && open.flushed) {
            open.key = *open.flushed;
            open.isDeleted = false;
        }
    });
    return reverted;
}

REGSAM Registry::State::Grant(const KeyPart& part, REGSAM desired) const
{
    if (accessCheck == nullptr) {
        return (desired & MAXIMUM_ALLOWED) != 0 ? KEY_ALL_ACCESS | (desired & ~MAXIMUM_ALLOWED) : desired;
    }
    const Checked<KeyNode> node = part.Node();
    return node ? Grant(names.PathOf(part), part.Reader(), *node, desired) : 0;
}

REGSAM Registry::State::Grant(const std::string& path, const Hive& hive, const KeyNode& node, REGSAM desired) const
{
    const auto descriptor = hive.SecurityDescriptor(node);
    const REGSAM granted = accessCheck->Granted(path, descriptor.value_or(std::span<const std::byte>()), desired);
    const REGSAM named = desired & ~MAXIMUM_ALLOWED;
    return (granted & named) == named ? granted & ~MAXIMUM_ALLOWED : 0;
}

Result<void> Registry::Link(std::string_view link, std::string_view target)
{
    const std::unique_lock lock(m_pState->lock);
    ++m_pState->generation;
    return m_pState->names.Link(link, target);
}

Result<void> Registry::View(std::string_view view, std::string_view first, std::string_view second)
{
    const std::unique_lock lock(m_pState->lock);
    ++m_pState->generation;
    return m_pState->names.View(view, first, second);
}

Result<void> Registry::Mount(const MountRequest& request, MountMode mode)
{
    const std::string path = request.KeyPath();
    const std::string what = fmt::format("mount {} at {}", request.file.string(), path);
    if (FindRoot(SplitFirst(path).first) == nullptr) {
        return Failure(ErrorCode::kInvalidParameter, what);
    }
    RecoveryReport recovery;
    Result<std::unique_ptr<HiveMount>> mounted =
        HiveMount::Open(m_pState->files, m_pState->clock, request.file, mode, recovery);
    if (!mounted) {
        return tl::unexpected(std::move(mounted.error()));
    }
    const Hive& hive = (*mounted)->Reader();
    const std::unique_lock lock(m_pState->lock);
    ++m_pState->generation;
    if (auto shown = m_pState->names.Show(*std::move(mounted), path); !shown) {
        return Failure(shown.error().code, what + ": " + shown.error().context);
    }
    if (hive.Damage()) {
        m_pState->notices.push_back({request.file, *hive.Damage(), true});
    }
    if (std::string notice = RecoveryNotice(hive, recovery, mode == MountMode::kReadOnly); !notice.empty()) {
        m_pState->notices.push_back({request.file, {ErrorCode::kSuccess, std::move(notice)}, false});
    }
    return {};
}

Result<void> Registry::Flush()
{
    const std::unique_lock lock(m_pState->lock);
    Result<void> result;
    for (const auto& mount : m_pState->names.Mounts()) {
        if (auto flushed = m_pState->Flush(*mount); !flushed && result) {
            result = std::move(flushed);
        }
    }
    return result;
}

FlushFate Registry::FailedFlush() const
{
    const std::shared_lock lock(m_pState->lock);
    FlushFate worst = FlushFate::kNotMade;
    for (const auto& mount : m_pState->names.Mounts()) {
        worst = std::max(worst, mount->FailedFlush());
    }
    return worst;
}

Result<void> Registry::Revert()
{
    const ChangeScope scope(*this);
    const std::unique_lock lock(m_pState->lock);
    Result<void> result;
    for (const auto& mount : m_pState->names.Mounts()) {
        if (!mount->IsChanged()) {
            continue;
        }
        if (auto reverted = m_pState->Revert(*mount); !reverted && result) {
            result = std::move(reverted);
        }
        if (m_pState->observer != nullptr) {
            m_pState->feed.Note(m_pState->names.PathOf(KeyPart{mount.get(), mount->Reader().Root()}), KeyChange::kAll);
        }
    }
    return result;
}

bool Registry::IsChanged() const
{
    const std::shared_lock lock(m_pState->lock);
    return std::ranges::any_of(m_pState->names.Mounts(), [](const auto& mount) { return mount->IsChanged(); });
}

void Registry::SetObserver(RegistryObserver* observer) noexcept
{
    m_pState->observer = observer;
}

std::vector<std::string> Registry::AliasesOf(std::string_view path) const
{
    const std::shared_lock lock(m_pState->lock);
    return m_pState->names.AliasesOf(path);
}

void Registry::OpenChangeScope()
{
    m_pState->feed.Open();
}

void Registry::CloseChangeScope()
{
    std::vector<ChangedKey> keys = m_pState->feed.Close();
    if (keys.empty() || m_pState->observer == nullptr) {
        return;
    }
    for (ChangedKey& key : keys) {
        key.aliases = AliasesOf(key.path);
    }
    m_pState->observer->OnChanged(keys);
}

std::span<const MountNotice> Registry::Notices() const noexcept
{
    return m_pState->notices;
}

void Registry::SetAccessCheck(const AccessCheck* check) noexcept
{
    m_pState->accessCheck = check;
}

std::filesystem::path Registry::FileOf(std::string_view path) const
{
    const std::shared_lock lock(m_pState->lock);
    const Result<KeyRef> key = m_pState->names.Resolve(path);
    if (key && !key->First().mount->IsVolatile()) {
        return key->First().Reader().File();
    }
    std::filesystem::path file;
    auto least = std::filesystem::perms::all;
    for (const auto& mount : m_pState->names.Mounts()) {
        const std::filesystem::path& candidate = mount->Reader().File();
        std::error_code error;
        const auto others = std::filesystem::status(candidate, error).permissions() &
                            (std::filesystem::perms::group_all | std::filesystem::perms::others_all);
        if (!error && (file.empty() || others < least)) {
            file = candidate;
            least = others;
        }
    }
    return file;
}

FileStore& Registry::Files() const noexcept
{
    return m_pState->files;
}

Registry* Registry::Current() noexcept
{
    return g_current.load();
}

Session::Session(Registry& registry)
{
    g_current.store(&registry);
}

Session::~Session()
{
    g_current.store(nullptr);
}

} // namespace tolvar
