#include "platform/registry/registry.h"

#include <algorithm>
#include <atomic>
#include <optional>

#include <fmt/format.h>

#include "platform/hive/hive_walk.h"
#include "platform/registry/key_path.h"
#include "platform/registry/registry_state.h"
#include "platform/system/text.h"

namespace tolvar {

namespace {

struct PredefinedRoot {
    const char16_t* name;
    std::uintptr_t handle;
};

constexpr std::array<PredefinedRoot, kRootCount> kRoots = {{
    {u"HKEY_CLASSES_ROOT", 0x80000000},
    {u"HKEY_CURRENT_USER", 0x80000001},
    {u"HKEY_LOCAL_MACHINE", 0x80000002},
    {u"HKEY_USERS", 0x80000003},
    {u"HKEY_PERFORMANCE_DATA", 0x80000004},
    {u"HKEY_CURRENT_CONFIG", 0x80000005},
    {u"HKEY_DYN_DATA", 0x80000006},
}};

std::atomic<Registry*> g_current{nullptr};

constexpr int kMostLinks = 32;             // in a row
constexpr std::size_t kMostAliases = 1000; // links in a circle would have no end of them

/// The name of a path's first component and what follows it.
struct SplitPath {
    std::u16string_view root;
    std::u16string_view rest;
};

SplitPath SplitRoot(std::u16string_view path)
{
    const std::size_t end = std::min(path.find(u'\\'), path.size());
    return {path.substr(0, end), path.substr(std::min(end + 1, path.size()))};
}

std::optional<std::size_t> RootIndex(std::u16string_view name)
{
    for (std::size_t i = 0; i < kRoots.size(); ++i) {
        if (CompareNames(kRoots[i].name, name) == 0) {
            return i;
        }
    }
    return std::nullopt;
}

} // namespace

MountRequest MountRequest::FromArgument(std::string_view argument)
{
    for (std::size_t at = argument.rfind('@'); at != std::string_view::npos && at != 0;
         at = argument.rfind('@', at - 1)) {
        const std::optional<std::u16string> key = ToUtf16(argument.substr(at + 1));
        if (key && RootIndex(SplitRoot(*key).root)) {
            return {argument.substr(0, at), std::string(argument.substr(at + 1))};
        }
    }
    return {argument, {}};
}

std::string MountRequest::KeyPath() const
{
    return key.empty() ? "HKEY_LOCAL_MACHINE\\" + file.filename().string() : key;
}

const NamespaceKey* Registry::State::RootOf(HKEY handle) const noexcept
{
    for (std::size_t i = 0; i < kRoots.size(); ++i) {
        if (reinterpret_cast<std::uintptr_t>(handle) == kRoots[i].handle) {
            return &roots[i];
        }
    }
    return nullptr;
}

Registry::Registry(FileStore& files) : m_pState(std::make_unique<State>())
{
    m_pState->files = &files;
    for (std::size_t i = 0; i < kRoots.size(); ++i) {
        m_pState->roots[i].name = kRoots[i].name;
    }
}

Registry::~Registry() = default;

WritableHive* Registry::State::WriterOf(const Hive* hive) const noexcept
{
    for (const MountedHive& mounted : hives) {
        if (&mounted.Reader() == hive) {
            return mounted.writable.get();
        }
    }
    return nullptr;
}

bool Registry::State::Grants(const std::string& path, const KeyReference& key, REGSAM access) const
{
    if (accessCheck == nullptr) {
        return true;
    }
    const Checked<KeyNode> node = key.HasHive() ? key.Node() : Fault(Breach::kNone, {});
    const auto descriptor = node ? key.hive->SecurityDescriptor(*node) : Checked<std::span<const std::byte>>();
    return accessCheck->Grants(path, descriptor.value_or(std::span<const std::byte>()), access);
}

namespace {

/// A hive opened as the mode asks for it.
Result<MountedHive> OpenHive(FileStore& files, const std::filesystem::path& file, MountMode mode,
                             RecoveryReport& recovery)
{
    MountedHive mounted;
    if (mode == MountMode::kWritable) {
        Result<std::unique_ptr<WritableHive>> hive = WritableHive::Open(files, file, SystemClock());
        if (!hive) {
            return tl::unexpected(std::move(hive.error()));
        }
        recovery = (*hive)->Recovery();
        mounted.writable = std::move(*hive);
        return mounted;
    }
    Result<Hive> hive = OpenForReading(files, file, recovery);
    if (!hive) {
        return tl::unexpected(std::move(hive.error()));
    }
    mounted.readOnly.emplace(std::move(*hive));
    return mounted;
}

/// What a person should know of a hive that was not closed cleanly.
std::string RecoveryNotice(const Hive& hive, const RecoveryReport& recovery, MountMode mode)
{
    const std::string begin = hive.File().string() + " was not closed cleanly: ";
    if (!recovery.DidAnything()) {
        return begin + "it has no transaction log that fits, so that its last changes may be missing";
    }
    return begin + fmt::format("{} set(s) of changes were taken over from its transaction logs{}", recovery.entries,
                               mode == MountMode::kReadOnly ? ", in memory alone" : "");
}

} // namespace

namespace {

/// The key of the name space at `path` below `top`; what is missing of it is made, as empty keys.
NamespaceKey* MakePath(NamespaceKey& top, std::u16string_view path)
{
    NamespaceKey* at = &top;
    while (!path.empty()) {
        const SplitPath split = SplitRoot(path);
        path = split.rest;
        if (split.root.empty()) {
            continue;
        }
        NamespaceKey* child = at->Child(split.root);
        if (child == nullptr) {
            at->children.push_back(std::make_unique<NamespaceKey>());
            child = at->children.back().get();
            child->name = split.root;
            child->parent = at;
        }
        at = child;
    }
    return at;
}

} // namespace

Result<void> Registry::Link(std::string_view link, std::string_view target)
{
    const std::optional<std::u16string> from = ToUtf16(link);
    const std::optional<std::u16string> to = ToUtf16(target);
    const std::optional<std::size_t> fromRoot = from ? RootIndex(SplitRoot(*from).root) : std::nullopt;
    const std::optional<std::size_t> toRoot = to ? RootIndex(SplitRoot(*to).root) : std::nullopt;
    if (!fromRoot || !toRoot) {
        return Failure(ErrorCode::kInvalidParameter, fmt::format("link {} to {}", link, target));
    }
    const std::unique_lock lock(m_pState->lock);
    NamespaceKey* at = MakePath(m_pState->roots[*fromRoot], SplitRoot(*from).rest);
    at->linkBase = &m_pState->roots[*toRoot];
    at->linkPath = ToUtf8(SplitRoot(*to).rest);
    m_pState->links.push_back({std::string(link), std::string(target)});
    return {};
}

Result<void> Registry::Mount(const MountRequest& request, MountMode mode)
{
    const std::string path = request.KeyPath();
    const std::optional<std::u16string> text = ToUtf16(path);
    const std::optional<std::size_t> root = text ? RootIndex(SplitRoot(*text).root) : std::nullopt;
    if (!root) {
        return Failure(ErrorCode::kInvalidParameter, fmt::format("mount {} at {}", request.file.string(), path));
    }
    if (std::ranges::count(path, '\\') > std::ptrdiff_t{kMaxDepth}) {
        return Failure(ErrorCode::kInvalidParameter,
                       fmt::format("mount {}: its key lies deeper than {} levels", request.file.string(), kMaxDepth));
    }
    RecoveryReport recovery;
    Result<MountedHive> mounted = OpenHive(*m_pState->files, request.file, mode, recovery);
    if (!mounted) {
        return tl::unexpected(std::move(mounted.error()));
    }
    const std::unique_lock lock(m_pState->lock);
    NamespaceKey* at = MakePath(m_pState->roots[*root], SplitRoot(*text).rest);
    if (at->hive != nullptr) {
        return Failure(ErrorCode::kAlreadyExists, fmt::format("mount {} at {}: {} is mounted there",
                                                              request.file.string(), path, at->hive->File().string()));
    }
    m_pState->hives.push_back(std::move(*mounted));
    at->hive = &m_pState->hives.back().Reader();
    if (at->hive->Damage()) {
        m_pState->notices.push_back({request.file, *at->hive->Damage(), true});
    }
    if (at->hive->NeedsRecovery() || recovery.DidAnything()) {
        m_pState->notices.push_back(
            {request.file, {ErrorCode::kSuccess, RecoveryNotice(*at->hive, recovery, mode)}, false});
    }
    return {};
}

Result<void> Registry::Flush()
{
    const std::unique_lock lock(m_pState->lock);
    Result<void> result;
    for (const MountedHive& mounted : m_pState->hives) {
        if (auto flushed = mounted.writable ? mounted.writable->Flush() : Result<void>(); !flushed && result) {
            result = std::move(flushed);
        }
    }
    return result;
}

bool Registry::IsChanged() const
{
    const std::shared_lock lock(m_pState->lock);
    return std::ranges::any_of(
        m_pState->hives, [](const MountedHive& mounted) { return mounted.writable && mounted.writable->IsChanged(); });
}

void Registry::SetObserver(RegistryObserver* observer) noexcept
{
    m_pState->observer = observer;
}

std::vector<std::string> Registry::AliasesOf(std::string_view path) const
{
    const std::shared_lock lock(m_pState->lock);
    std::string own(path);
    for (int hops = 0; hops < kMostLinks; ++hops) {
        const auto through = std::ranges::find_if(
            m_pState->links, [&own](const SessionLink& link) { return PathBelow(own, link.path).has_value(); });
        if (through == m_pState->links.end()) {
            break;
        }
        own = JoinPath(through->target, *PathBelow(own, through->path));
    }
    // Each link leads from the paths that are known already to another one, and through that to more.
    std::vector<std::string> paths = {own};
    for (std::size_t i = 0; i < paths.size() && paths.size() < kMostAliases; ++i) {
        for (const SessionLink& link : m_pState->links) {
            const std::optional<std::string_view> below = PathBelow(paths[i], link.target);
            std::string alias = below ? JoinPath(link.path, *below) : std::string();
            if (below && std::ranges::find(paths, alias) == paths.end()) {
                paths.push_back(std::move(alias));
            }
        }
    }
    std::erase_if(paths, [path](const std::string& alias) { return CompareNames(alias, path) == 0; });
    return paths;
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

std::shared_mutex& Registry::Lock() const noexcept
{
    return m_pState->lock;
}

Result<KeyReference> Registry::Find(std::string_view fullPath) const
{
    const std::size_t end = std::min(fullPath.find('\\'), fullPath.size());
    const std::optional<std::u16string> name = ToUtf16(fullPath.substr(0, end));
    const std::optional<std::size_t> root = name ? RootIndex(*name) : std::nullopt;
    if (!root) {
        return Failure(ErrorCode::kFileNotFound, std::string(fullPath));
    }
    Result<KeyReference> key =
        FollowPath(KeyReference::Of(m_pState->roots[*root]), fullPath.substr(std::min(end + 1, fullPath.size())));
    if (!key && key.error().context.empty()) {
        key.error().context = fullPath;
    }
    return key;
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
