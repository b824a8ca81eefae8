#pragma once

#include <map>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tolvar {

class Registry;

/// What has changed of a key.
enum class KeyChange : unsigned {
    kValues = 1,  ///< values of the key itself came, went or hold something else
    kSubkeys = 2, ///< subkeys came, went or got other names
    kAll = 4,     ///< anything in the key and below it
};

/// A key that is not as it was.
struct ChangedKey {
    std::string path;                 ///< the key's own full path, which leads through no link
    std::vector<std::string> aliases; ///< the other full paths at which the session shows the key
    unsigned changes = 0;             ///< KeyChange, or-ed

    [[nodiscard]] bool Has(KeyChange change) const noexcept { return (changes & static_cast<unsigned>(change)) != 0; }
};

/// Is told what was changed in a registry: see Registry::SetObserver.
class RegistryObserver {
public:
    virtual ~RegistryObserver() = default;

    /// The keys that one outermost call or ChangeScope has changed, each once, in the order of a walk. No key
    /// stands below one that has changed with all below it. Told after the change, with no lock held, on the thread
    /// that made it; the registry may be read and written from here.
    virtual void OnChanged(std::span<const ChangedKey> keys) = 0;
};

/// While one of these stands, changes are gathered; when the outermost one goes, they are told at once. Each call that
/// changes something is a scope of its own.
class ChangeScope {
public:
    /// For the registry that is current; for nothing where there is none.
    ChangeScope();
    explicit ChangeScope(Registry& registry);
    ~ChangeScope();
    ChangeScope(const ChangeScope&) = delete;
    ChangeScope& operator=(const ChangeScope&) = delete;

private:
    Registry* m_registry;
};

/// Gathers what has changed until it may be told. Thread-safe.
class ChangeFeed {
public:
    void Open();
    void Note(std::string_view path, KeyChange change);

    /// Ends a scope. What is to be told now: nothing unless it was the outermost one. Aliases are not filled in.
    [[nodiscard]] std::vector<ChangedKey> Close();

private:
    /// The order of a walk: what lies below a key follows it at once.
    struct WalkOrder {
        using is_transparent = void;
        [[nodiscard]] bool operator()(std::string_view left, std::string_view right) const noexcept;
    };
    using Changes = std::map<std::string, unsigned, WalkOrder>;

    std::mutex m_mutex;
    unsigned m_depth = 0;
    Changes m_changes; ///< by path
};

} // namespace tolvar
