#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/hive/cell_claims.h"
#include "platform/hive/hive.h"
#include "platform/hive/subkey_list.h"
#include "platform/hive/value_source.h"

namespace tolvar {

/// Writes a key and all below it as a hive of its own: every record once and in the order of a walk, lists of their
/// exact size, equal descriptors shared, nothing free but the ends of bins. Times, classes, security and flags are
/// those of the source; what only a live registry means is left out. The version is that of the source, or 1.3 for an
/// older one.
///
/// Memory: about what is written, once. What more than one record of the source refers to is written for the first.
class HiveComposer {
public:
    /// `rootName` names the new root; empty: it keeps its name. `onFault` is told of each record that can't be read: it
    /// is left out, and the rest goes on.
    HiveComposer(const Hive& source, std::u16string rootName, std::function<void(const HiveFault&)> onFault);

    /// The whole file. Errors: kRegistryCorrupt where not even `top` can be read; kNotEnoughMemory beyond the format's
    /// limits and those of the system; kRegistryIoFailed where the medium fails while data is copied.
    [[nodiscard]] Result<std::vector<std::byte>> Compose(CellOffset top);

private:
    struct Child {
        CellOffset source;
        CellOffset made;
        std::u16string name;
    };
    struct SecurityRecord {
        CellOffset cell;
        std::uint32_t references = 0;
    };

    [[nodiscard]] Result<std::vector<std::byte>> ComposeFile(const KeyNode& top);
    [[nodiscard]] CellOffset Allocate(std::uint32_t payload);
    [[nodiscard]] std::span<std::byte> Payload(CellOffset cell);
    [[nodiscard]] bool Claim(CellOffset cell, std::uint64_t bytes);
    [[nodiscard]] bool ClaimData(const ValueRecord& value, const DataView& data);
    void CloseBin();
    template <class T>
    void Store(CellOffset cell, Field<T> field, std::type_identity_t<T> value);
    void StoreBytes(CellOffset cell, std::uint32_t at, std::span<const std::byte> bytes);
    [[nodiscard]] CellOffset WriteKey(const KeyNode& node, CellOffset parent, unsigned level);
    void WriteNode(CellOffset cell, const KeyNode& node, CellOffset parent, std::u16string_view name);
    void WriteValues(CellOffset cell, const KeyNode& node);
    [[nodiscard]] std::vector<ValueRecord> ReadableValues(const KeyNode& node);
    [[nodiscard]] CellOffset WriteValue(const ValueRecord& value);
    [[nodiscard]] CellOffset WriteData(ValueSource data);
    void Copy(ValueSource& data, std::span<std::byte> to);
    [[nodiscard]] std::vector<Child> ReadableSubkeys(const KeyNode& node);
    void WriteSubkeys(CellOffset cell, const KeyNode& node, unsigned level);
    [[nodiscard]] ListKind LeafKindOf(std::size_t subkeys) const;
    [[nodiscard]] CellOffset AllocateLists(std::size_t count, std::vector<CellOffset>& leaves);
    void FillLeaf(CellOffset leaf, ListKind kind, std::span<const Child> children);
    [[nodiscard]] CellOffset ShareSecurity(const KeyNode& node);
    void CloseSecurity();

    const Hive& m_source;
    std::u16string m_rootName;
    std::function<void(const HiveFault&)> m_onFault;
    CellClaims m_claims;           ///< what was written
    std::uint64_t m_bytesLeft = 0; ///< of names, classes and data that can still be new
    std::uint32_t m_minor;
    std::vector<std::byte> m_file;
    std::size_t m_binBegin = 0; ///< from the start of the file
    std::size_t m_used = 0;     ///< up to here the last bin is in use
    std::optional<Error> m_failure;
    std::map<std::string, SecurityRecord> m_security; ///< by the descriptor's bytes
    std::vector<CellOffset> m_securityOrder;
};

} // namespace tolvar
