#pragma once

#include <array>
#include <optional>
#include <vector>

#include "platform/registry/name_space.h"

namespace tolvar {

// What a key holds as the session sees it. Where several stores have their say, as at mounts, links and merged keys,
// it comes together here and nowhere else; enumerating, counting, listing and walking stand on it.

/// A subkey as a run over its sisters meets it. The name points into a hive.
struct SeenSubkey {
    NameView name;   ///< as the session calls it
    KeyRef key;      ///< its stored keys. Where `key.place` is set, NameSpace::At tells what is seen there
    KeyNode node;    ///< of the first stored key; of one of the name space, that key's own
    bool isReadable; ///< otherwise there is one with a damaged record, and nothing of the above is known
    HiveFault fault; ///< then why
};

/// Runs over the subkeys of a key, each once: in stored order where one store has them, else in the order of names. A
/// key of the name space hides stored ones of its name, and the first part of a merged key those of the second, with
/// which they are one. Good as long as nothing is written.
class SubkeyRun {
public:
    SubkeyRun() = default;
    /// `space` must outlive this.
    SubkeyRun(const NameSpace& space, const KeyRef& parent);

    /// The next subkey; null at the end. Leaves of a list that can't be read have no subkeys to show.
    [[nodiscard]] const SeenSubkey* Next();

    /// Goes to subkey number `index`, from where the run stands or, for a smaller one, from the start: Next answers it.
    /// Cost where one store has all subkeys: one step a leaf on the way, else one a subkey.
    void Seek(std::uint32_t index);

    /// Number of subkeys that Next has answered or Seek has passed.
    [[nodiscard]] std::uint32_t Index() const noexcept { return m_index; }

private:
    /// The subkeys that one store has.
    struct Source {
        Mount* mount = nullptr;
        SubkeyCursor cursor;
        SeenSubkey next; ///< only while `isLoaded`
        bool isLoaded = false;
        bool isAtEnd = false; ///< the cursor has met its end, as one does at once that was never set
    };
    static constexpr std::size_t kPlaces = 2; ///< index of the source with the keys of the name space

    void Start();
    [[nodiscard]] bool Load(Source& source);
    [[nodiscard]] bool IsHidden(const NameView& name) const;

    const NameSpace* m_space = nullptr;
    KeyRef m_parent;
    std::array<Source, 3> m_sources; ///< first part, second part, name space
    KeyNode m_places;                ///< the key of the name space, where m_sources[kPlaces] is in use
    bool m_hasPlaces = false;
    std::optional<std::size_t> m_only; ///< index of the source, where there is one
    SeenSubkey m_seen;
    std::uint32_t m_index = 0;
};

/// A value as a key's list has it.
struct SeenValue {
    const Hive* hive = nullptr;
    ValueRecord record;
};

/// The values of a key: those of its first part in stored order, then those of the second whose names the first hasn't.
/// Good as long as nothing is written.
class ValueRun {
public:
    /// Errors: the fault of the first part's list; a second part that can't be read has no values.
    [[nodiscard]] static Checked<ValueRun> Of(const KeyRef& key);

    [[nodiscard]] std::uint32_t Count() const noexcept
    {
        return m_first.count + static_cast<std::uint32_t>(m_more.size());
    }
    /// Value number `index`, below Count.
    [[nodiscard]] Checked<SeenValue> At(std::uint32_t index) const;

private:
    ValueListView m_first;
    const Hive* m_firstHive = nullptr;
    std::vector<CellOffset> m_more; ///< of the second part
    const Hive* m_secondHive = nullptr;
};

/// The value of that name, of the first part that has it; nothing where none does.
[[nodiscard]] Checked<std::optional<SeenValue>> FindValue(const KeyRef& key, std::u16string_view name);

/// The fault as an error with the place in the file.
[[nodiscard]] inline Error ToError(const KeyPart& part, const HiveFault& fault)
{
    return part.Reader().ToError(fault);
}

} // namespace tolvar
