#include "fuzz/hive_reading.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "platform/hive/hive.h"
#include "platform/hive/hive_validator.h"
#include "platform/hive/hive_walk.h"
#include "platform/security/descriptor.h"

namespace tolvar::fuzz {

namespace {

constexpr std::size_t kLastOfBaseBlock = kBaseBlockSize - 1;

// What a single input may cost: a search is worth as much as a pass over a list, and the time of a run is short.
constexpr unsigned kMaxLookups = 48;
constexpr unsigned kMaxSeeks = 8;
constexpr std::size_t kMaxCopied = std::size_t{1} << 18; // bytes

void Promise(bool isKept, const char* promise)
{
    if (!isKept) {
        throw BrokenPromise(promise);
    }
}

/// Visits a whole hive and holds the reader to what its headers say.
class HiveReading {
public:
    HiveReading(const Hive& hive, Reading& reading) : m_hive(hive), m_reading(reading) {}

    void Run()
    {
        Validate();
        HiveWalk(m_hive, *this).Run(m_hive.Root());
        Promise(m_reading.keys <= m_hive.Length() / 8, "a walk enters no cell twice");
        if (m_reading.errors == 0) {
            Promise(m_reading.faults == 0, "a hive without errors is read without faults");
            Promise(m_reading.keys == m_validated.keys, "walk and validator count the same keys");
            Promise(m_reading.values == m_validated.values, "walk and validator count the same values");
            Promise(m_reading.dataBytes == m_validated.dataBytes, "walk and validator count the same bytes");
        }
    }

    bool OnKey(const KeyNode& key, unsigned depth)
    {
        ++m_reading.keys;
        Promise(depth < kMaxDepth && depth <= m_path.size(), "a walk goes down one level at a time");
        m_path.resize(depth);
        Promise(key.name.size() >= 1 && key.name.size() <= 256, "a key's name has its limits");
        ReadName(key.name);
        const Checked<NameView> name = m_hive.KeyName(key.offset);
        Promise(name && name->data == key.name.data && name->size() == key.name.size(), "a key has one name");
        ReadClass(key);
        ReadSecurity(key);
        if (!m_path.empty()) {
            FindKey(m_path.back(), key);
        }
        RunSubkeys(key);
        m_path.push_back(key);
        return true;
    }

    void OnValue(const ValueRecord& value, DataView data)
    {
        ++m_reading.values;
        ReadName(value.name);
        Promise(data.size == value.size, "a value's data has the value's size");
        Promise(value.isInline ? value.size <= 4 : value.size <= m_hive.Length(), "data has its limits");
        Spend(value.name.bytes + (value.isInline ? 0 : std::uint64_t{value.size}));
        FindValueOf(m_path.back(), value);
        ReadData(value, data);
    }

    void OnValuesEnd(const KeyNode& key)
    {
        Promise(key.offset == m_path.back().offset, "values end at the key that they belong to");
    }

    void OnFault(const HiveFault& fault, unsigned depth)
    {
        ++m_reading.faults;
        Promise(depth <= kMaxDepth, "a fault lies within the depth of a hive");
        CheckFault(fault);
    }

    [[nodiscard]] bool IsStopped() const { return false; }

private:
    void Inside(std::span<const std::byte> bytes) const
    {
        const std::span<const std::byte> bins = m_hive.Bins();
        Promise(bytes.empty() ||
                    (bytes.data() >= bins.data() && bytes.size() <= bins.size() &&
                     bytes.data() - bins.data() <= static_cast<std::ptrdiff_t>(bins.size() - bytes.size())),
                "bytes that are handed out lie in the hive");
    }

    void CheckFault(const HiveFault& fault) const
    {
        Promise(fault.breach != Breach::kNone, "a fault names its breach");
        Promise(fault.breach != Breach::kMediumFailed, "memory does not fail");
        Promise(BreachMeaning(fault.breach) != "unknown breach", "a breach has its words");
        Promise(!m_hive.ToError(fault).context.empty(), "an error has its context");
    }

    void Validate()
    {
        std::uint64_t findings = 0;
        m_validated = ValidateHive(m_hive, [&findings](const Finding& finding) {
            ++findings;
            Promise(finding.breach != Breach::kNone && !finding.meaning.empty(), "a finding says what is wrong");
        });
        m_reading.errors = m_validated.errors;
        Promise(m_validated.errors + m_validated.warnings == findings, "the summary counts the findings");
        Promise(m_validated.keys <= m_hive.Length() / kSmallestKeyCell, "keys lie in cells of their own");
        Promise(m_validated.cells <= m_hive.Length() / 8, "cells have their smallest size");
        Promise(m_validated.freeBytes <= m_hive.Length(), "free cells lie in the hive");
        Promise(m_validated.errors != 0 || m_validated.dataBytes <= m_hive.Length(), "data lies in cells of its own");
    }

    void ReadName(const NameView& name)
    {
        Inside({name.data, name.bytes});
        const std::u16string units = name.ToUtf16();
        Promise(units.size() == name.size(), "a name has as many units as it says");
        Promise(name.ToUtf8().find('\0') == std::string::npos, "a name in UTF-8 holds no zero byte");
        Promise(CompareNames(name, units) == 0 && CompareNames(name, name) == 0, "a name is equal to itself");
        Promise(NameHash(name) == NameHash(units), "a name has one hash");
    }

    void ReadClass(const KeyNode& key)
    {
        const Checked<NameView> name = m_hive.ClassName(key);
        if (!name) {
            CheckFault(name.error());
        } else if (name->data != nullptr) {
            Inside({name->data, name->bytes});
            Spend(name->bytes);
            Promise(name->ToUtf16().size() == name->size(), "a class has as many units as it says");
        }
    }

    void ReadSecurity(const KeyNode& key)
    {
        if (key.security == m_lastSecurity) {
            return; // most keys of a hive share one record
        }
        m_lastSecurity = key.security;
        const Checked<std::span<const std::byte>> descriptor = m_hive.SecurityDescriptor(key);
        if (!descriptor) {
            CheckFault(descriptor.error());
            return;
        }
        Inside(*descriptor);
        const Result<DescriptorParts> parts = DescriptorParts::Parse(*descriptor);
        if (!parts) {
            return;
        }
        for (const std::span<const std::byte> part : {parts->owner, parts->group, parts->sacl, parts->dacl}) {
            Promise(part.empty() || (part.data() >= descriptor->data() &&
                                     part.data() + part.size() <= descriptor->data() + descriptor->size()),
                    "a part lies in its descriptor");
        }
        for (const std::span<const std::byte> account : {parts->owner, parts->group}) {
            if (!account.empty()) {
                const Result<Sid> sid = Sid::Parse(account);
                Promise(sid && sid->StoredSize() == account.size(), "an owner is one identifier");
                Promise(!sid->ToText().empty() && !LookupAccountSid(*sid).empty(), "an account has a name");
            }
        }
        const Result<std::vector<std::byte>> all = SelectSecurity(*descriptor, 15);
        Promise(all.has_value(), "a descriptor that was read can be selected from");
        const Result<DescriptorParts> again = DescriptorParts::Parse(*all);
        Promise(again && std::ranges::equal(again->owner, parts->owner) &&
                    std::ranges::equal(again->group, parts->group) && std::ranges::equal(again->sacl, parts->sacl) &&
                    std::ranges::equal(again->dacl, parts->dacl),
                "a selection of everything has every part");
    }

    /// What a walk hands out lies in different places, so that it can't be more than there is.
    void Spend(std::uint64_t bytes)
    {
        m_handedOut += bytes;
        Promise(m_handedOut <= m_hive.Length(), "a walk hands out no more than the hive holds");
    }

    /// Whether a list of `parent` names `key` with the tag of its name: then nothing that is wrong with other keys, or
    /// with the order, may hide this one.
    [[nodiscard]] bool IsListedRight(const KeyNode& parent, const KeyNode& key) const
    {
        SubkeyCursor cursor = m_hive.Subkeys(parent);
        while (const std::optional<CellOffset> subkey = NextReadable(cursor)) {
            if (*subkey != key.offset) {
                continue;
            }
            const std::uint32_t place = cursor.PlaceInLeaf();
            switch (const SubkeyList& leaf = cursor.Leaf(); leaf.kind) {
            case ListKind::kHashes:
                return leaf.Tag(place) == NameHash(key.name);
            case ListKind::kHints:
                return leaf.Tag(place) == NameHint(key.name);
            default:
                return true;
            }
        }
        return false;
    }

    /// The first four units as bytes, where all of them are bytes and none is 0; otherwise a hint that says nothing.
    [[nodiscard]] static std::uint32_t NameHint(const NameView& name)
    {
        std::uint32_t hint = 0;
        for (std::uint32_t i = 0; i < std::min<std::size_t>(4, name.size()); ++i) {
            if (name[i] > 0xFF || name[i] == 0) {
                return 0;
            }
            hint |= static_cast<std::uint32_t>(name[i]) << (8 * i);
        }
        return hint;
    }

    void FindKey(const KeyNode& parent, const KeyNode& key)
    {
        if (++m_reading.lookups > kMaxLookups) {
            return;
        }
        std::u16string name = key.name.ToUtf16();
        const Checked<CellOffset> found = FindSound(parent, name);
        if (m_reading.errors == 0) {
            Promise(found && *found == key.offset, "a sound hive finds each of its keys");
        } else if (IsListedRight(parent, key)) {
            const bool isEndless = !found && found.error().breach == Breach::kShared; // the same leaves again and again
            Promise(isEndless || (found && !found->IsNil()), "a list in wrong order hides nothing");
        }
        name.push_back(u'~');
        const Checked<CellOffset> missing = FindSound(parent, name);
        Promise(m_reading.errors != 0 || missing.has_value(), "a sound hive answers any name");
    }

    /// FindSubkey, with what is true of its answer whatever the hive holds.
    [[nodiscard]] Checked<CellOffset> FindSound(const KeyNode& parent, std::u16string_view name) const
    {
        const Checked<CellOffset> found = m_hive.FindSubkey(parent, name);
        if (!found) {
            CheckFault(found.error());
        } else if (!found->IsNil()) {
            const Checked<KeyNode> key = m_hive.Key(*found);
            Promise(key && CompareNames(key->name, name) == 0, "the key that is found has the name");
        }
        return found;
    }

    void FindValueOf(const KeyNode& key, const ValueRecord& value)
    {
        if (++m_reading.lookups > kMaxLookups) {
            return;
        }
        std::u16string name = value.name.ToUtf16();
        const Checked<std::optional<ValueRecord>> found = m_hive.FindValue(key, name);
        Promise(found && *found, "a value that is listed is found");
        Promise(CompareNames((*found)->name, name) == 0, "the value that is found has the name");
        name.push_back(u'~');
        const Checked<std::optional<ValueRecord>> other = m_hive.FindValue(key, name);
        Promise(other && (!*other || CompareNames((*other)->name, name) == 0), "a value that is found has the name");
    }

    void ReadData(const ValueRecord& value, DataView data)
    {
        const DataView whole = data;
        std::uint64_t size = 0;
        std::optional<HiveFault> fault;
        while (true) {
            const Checked<std::span<const std::byte>> piece = m_hive.NextPiece(data);
            if (!piece) {
                fault = piece.error();
                CheckFault(*fault);
                break;
            }
            if (piece->empty()) {
                break;
            }
            Inside(*piece);
            size += piece->size();
        }
        m_reading.dataBytes += size;
        Promise(size <= value.size && (fault || size == value.size), "the pieces make up the data");
        if (whole.IsSegmented() && fault) {
            ++m_reading.faults; // the walk leaves segments to whom it tells of them
        }
        if (m_copied + value.size > kMaxCopied) {
            return;
        }
        m_copied += value.size;
        const Checked<std::vector<std::byte>> bytes = m_hive.ReadData(value);
        Promise(bytes.has_value() == !fault.has_value(), "data is read at once where it is read in pieces");
        Promise(!bytes || bytes->size() == value.size, "data that is read at once is whole");
        Promise(!bytes || whole.IsSegmented() || std::ranges::equal(*bytes, whole.flat), "both ways read the same");
    }

    /// Runs over the subkeys of a key, and goes back to some of them by number.
    void RunSubkeys(const KeyNode& key)
    {
        if (m_seeks >= kMaxSeeks || key.subkeyCount == 0) {
            return;
        }
        SubkeyCursor cursor = m_hive.Subkeys(key);
        std::vector<std::pair<std::uint32_t, CellOffset>> listed;
        while (const std::optional<CellOffset> subkey = NextReadable(cursor)) {
            Promise(listed.empty() || cursor.Index() - 1 > listed.back().first, "a cursor counts what it answers");
            Promise(cursor.Leaf().Offset(cursor.PlaceInLeaf()) == *subkey, "a cursor knows its place");
            listed.emplace_back(cursor.Index() - 1, *subkey);
        }
        const std::uint32_t most = m_hive.Length() / kSmallestKeyCell;
        Promise(listed.size() <= most, "a key lists no more keys than lie in the hive");
        Promise(cursor.Index() >= most || cursor.PlaceInLeaf() + 1 == cursor.Leaf().count,
                "a run ends where the last leaf does");
        if (listed.empty()) {
            return;
        }
        for (const std::size_t place : {listed.size() - 1, std::size_t{0}, listed.size() / 2, listed.size() / 3}) {
            ++m_seeks;
            cursor.Seek(listed[place].first);
            Promise(NextReadable(cursor) == listed[place].second, "a cursor goes to the subkey with this number");
        }
        cursor.Seek(0xFFFFFFFF);
        Promise(!NextReadable(cursor), "there is nothing behind the end");
    }

    /// The next subkey, past leaves that can't be read; nothing at the end.
    [[nodiscard]] std::optional<CellOffset> NextReadable(SubkeyCursor& cursor) const
    {
        while (true) {
            const Checked<CellOffset> next = cursor.Next();
            if (next) {
                return next->IsNil() ? std::nullopt : std::optional(*next);
            }
            CheckFault(next.error());
        }
    }

    const Hive& m_hive;
    Reading& m_reading;
    ValidationSummary m_validated;
    std::vector<KeyNode> m_path; ///< the keys above the next one
    CellOffset m_lastSecurity;
    std::uint64_t m_handedOut = 0; ///< bytes of names of values, classes and data
    unsigned m_seeks = 0;
    std::size_t m_copied = 0;
};

} // namespace

std::vector<std::byte> ShapeFile(std::span<const std::byte> input)
{
    std::vector<std::byte> file(input.begin(), input.end());
    const auto choice = file.size() > kLastOfBaseBlock ? std::to_integer<unsigned>(file[kLastOfBaseBlock]) : 0U;
    if (choice >= 0xF0) {
        return file;
    }
    if (choice < 0xE0) {
        file.resize(std::max(file.size(), kBaseBlockSize + kBinAlignment));
        const auto put = [&file](std::size_t at, std::uint32_t value) {
            std::memcpy(file.data() + at, &value, sizeof value);
        };
        put(0, 0x66676572); // "regf"
        put(20, 1);
        const auto minor = LoadLittle<std::uint32_t>(file.data() + 24);
        put(24, minor >= 2 && minor <= 6 ? minor : 2 + minor % 5);
        put(28, 0);
        put(32, 1);
        const auto length = LoadLittle<std::uint32_t>(file.data() + 40);
        if (length == 0 || length % kBinAlignment != 0 || length > kMaxLength) {
            put(40, static_cast<std::uint32_t>((file.size() - kBaseBlockSize) / kBinAlignment * kBinAlignment));
        }
    }
    if (file.size() >= kBaseBlockChecked) {
        const std::uint32_t checksum = BaseBlockChecksum(std::span(file).first(kBaseBlockChecked));
        std::memcpy(file.data() + 508, &checksum, sizeof checksum);
    }
    file.shrink_to_fit(); // so that a sanitizer sees the first byte behind the file
    return file;
}

Reading ReadHiveFile(std::span<const std::byte> file)
{
    Reading reading;
    const Result<Hive> hive = Hive::FromBytes(file, "input");
    reading.isOpen = hive.has_value();
    if (!hive) {
        Promise(hive.error().code != ErrorCode::kSuccess && !Describe(hive.error()).empty(), "a refusal has a reason");
        return reading;
    }
    Promise(hive->Length() <= file.size() && hive->Bins().size() == hive->Length(), "the bins lie in the file");
    Promise(hive->Damage().has_value() == (hive->Length() < hive->Base().length), "a file cut short says so");
    HiveReading(*hive, reading).Run();
    return reading;
}

} // namespace tolvar::fuzz
