#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/registry/key_path.h"
#include "platform/registry/key_ref.h"

namespace tolvar {

/// What resolving does with a link that the last name of a path leads to. Links on the way are always followed.
enum class LastLink { kFollow, kOpen };

/// The tree of all keys of a session: the predefined roots, the mounts below them, links and views. It alone turns
/// paths into keys.
///
/// Links are those of the session (see Link) and stored ones: keys with the link flag, whose value SymbolicLinkValue of
/// type 6 names "\Registry\Machine\..." or "\Registry\User\...". At most 32 of them are followed for one path.
///
/// Thread safety: resolving side by side, Show, Link and View alone.
class NameSpace {
public:
    /// With the roots and nothing below them. Ends with std::bad_alloc where there is no memory for that.
    NameSpace();

    /// Shows a mount's root at a full path; what is missing on the way appears as empty keys. Errors: kInvalidParameter
    /// for a path that begins with no root or goes deeper than a hive can; kAlreadyExists if something is shown there.
    [[nodiscard]] Result<void> Show(std::unique_ptr<Mount> mount, std::string_view path);

    /// Shows at `path` whatever lies at `target`, at each look anew. A target that is not there is an empty key.
    /// Errors: as Show, but that a link may be replaced.
    [[nodiscard]] Result<void> Link(std::string_view path, std::string_view target);

    /// Shows at `path` the trees at `first` and `second` as one. Either may be missing. Errors: as Link.
    [[nodiscard]] Result<void> View(std::string_view path, std::string_view first, std::string_view second);

    /// The key at a full path, or at one that begins with "\Registry\Machine" or "\Registry\User".
    /// Errors: kFileNotFound for an unknown root, a missing key, or a stored link that leads nowhere;
    /// kCantResolveFilename behind 32 links; kNoUnicodeTranslation for a path that is no UTF-8; kRegistryCorrupt or
    /// kRegistryIoFailed, with the place, where a hive is damaged or unreadable on the way.
    [[nodiscard]] Result<KeyRef> Resolve(std::string_view fullPath, LastLink last = LastLink::kFollow) const;

    /// The key at a path below another one; `start` itself for an empty path. Errors: as the other.
    [[nodiscard]] Result<KeyRef> Resolve(const KeyRef& start, std::string_view path,
                                         LastLink last = LastLink::kFollow) const;

    /// One step of resolving. `links` counts those that were followed for the path so far.
    [[nodiscard]] Result<KeyRef> Subkey(const KeyRef& parent, std::u16string_view name, LastLink last,
                                        unsigned& links) const;

    /// What is seen at a key of the name space: what is mounted there or what its link leads to; for one on the way to
    /// a mount `under`, the stored key of that name, which the name space may lie over. Never fails: a link that leads
    /// nowhere is the empty key itself.
    [[nodiscard]] KeyRef At(CellOffset place, const KeyRef& under) const;

    /// The session's own key at `place`, and not what is seen there.
    [[nodiscard]] KeyRef Own(CellOffset place) const noexcept;

    /// The key's own full path: through no link, names spelled as they are stored. Of a merged key, its path in the
    /// view. Names above a damaged record are missing.
    [[nodiscard]] std::string PathOf(const KeyRef& key) const;
    [[nodiscard]] std::string PathOf(const KeyPart& part) const;

    /// The other full paths of the key at `path`: see Registry::AliasesOf.
    [[nodiscard]] std::vector<std::string> AliasesOf(std::string_view path) const;

    /// The session's own keys: `place` of a KeyRef is a cell of it.
    [[nodiscard]] const Hive& Places() const noexcept { return m_own->Reader(); }

    /// Every mount that is shown, in order of Show.
    [[nodiscard]] const std::vector<std::unique_ptr<Mount>>& Mounts() const noexcept { return m_mounts; }

    /// Whether `place` is a link or a view.
    [[nodiscard]] bool IsLink(CellOffset place) const noexcept;

private:
    /// What a key of the name space shows in its place.
    struct Junction {
        Mount* mount = nullptr;
        std::string target; ///< of a link, or a view's first
        std::string second; ///< of a view
        [[nodiscard]] bool IsView() const noexcept { return !second.empty(); }
    };

    [[nodiscard]] Result<CellOffset> MakePlace(std::string_view path);
    [[nodiscard]] Result<KeyRef> Follow(std::string_view target, unsigned& links) const;
    [[nodiscard]] Result<KeyRef> ResolveNames(KeyRef at, std::u16string_view path, LastLink last,
                                              unsigned& links) const;
    [[nodiscard]] Result<KeyRef> AtPlace(CellOffset place, const KeyRef& under, LastLink last, unsigned& links) const;
    [[nodiscard]] Result<KeyRef> AtView(CellOffset place, const Junction& view, unsigned& links) const;
    void AppendNames(std::string& path, const Hive& hive, CellOffset cell) const;
    [[nodiscard]] std::string OwnPath(std::string_view path) const;

    std::unique_ptr<MemoryMount> m_own;
    std::vector<std::unique_ptr<Mount>> m_mounts;
    std::unordered_map<std::uint32_t, Junction> m_junctions; ///< by the key's cell in `m_own`
    std::unordered_map<const Mount*, CellOffset> m_places;
    std::vector<std::pair<std::string, CellOffset>> m_named; ///< links and views by path, in order of making
};

} // namespace tolvar
