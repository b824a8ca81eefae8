#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/registry/winreg.h"
#include "registry/reg_key.h"

namespace tolvar {

/// The columns of the value list, in their fixed order.
enum class KeyColumn : std::uint8_t { kName, kType, kLastChange, kLength, kOwner, kData };
inline constexpr int kKeyColumnCount = 6;

/// One row: what it is, and just enough to read its cells when they are drawn.
struct KeyRow {
    enum class Kind : std::uint8_t {
        kParent, ///< "../", always first
        kSubkey,
        kRootKey,      ///< in the list of roots
        kDefaultValue, ///< stands for the default value where the key has none
        kValue,
        kDenied, ///< the only row of a key that can't be read
    };
    Kind kind = Kind::kValue;
    bool isRefused = false;  ///< a subkey that may not be read
    std::uint32_t index = 0; ///< of the value in the key, or of the subkey or root in the list
    DWORD type = 0;          ///< of a value

    /// What the row carries for whoever acts on it: -2 the parent row, -1 a key, else the value's type.
    [[nodiscard]] std::int64_t ItemData() const noexcept;

    /// Its place in the image list: 0 a key, type + 1 (at most 13) a value, 14 what is refused.
    [[nodiscard]] int Image() const noexcept;
};

/// Texts that come from the language library.
struct KeyRowTexts {
    std::string emptyData;     ///< in the Data column, for data of no bytes
    std::string defaultName;   ///< the name of the default value
    std::string defaultNoData; ///< in the Data column, for a default value that is not there
    std::string unknownTime;   ///< where the platform keeps no times
};

/// The rows of one key, or of the list of roots. It counts and orders the rows when a key is shown, and reads a cell
/// when it is asked for, so that a key with 100,000 values is there at once.
class KeyRows {
public:
    /// Data of more bytes than this is cut, with "..." behind it.
    static constexpr DWORD kMaxData = 4096;

    KeyRows(KeyRowTexts texts, bool isNT);

    /// Lists the roots.
    void ShowRoots();

    /// Lists a key. Answers 0; 5 with the one row of a refused key; 1015 or 1016 with no row of a value that is there
    /// where the list of values is damaged; any other code with no row at all.
    LSTATUS ShowKey(HKEY root, const std::string& subpath, bool showsSubkeys);

    [[nodiscard]] std::size_t Count() const noexcept { return m_rows.size(); }
    [[nodiscard]] const KeyRow& Row(std::size_t row) const { return m_rows[row]; }

    /// The text of a cell. A value that has gone since the key was listed has empty cells.
    [[nodiscard]] std::string Cell(std::size_t row, KeyColumn column) const;

    /// The name of the value, subkey or root in a row; empty for the default value. A value that has gone since the key
    /// was listed has an empty name too.
    [[nodiscard]] std::string Name(std::size_t row) const;

    /// The last row with exactly that name; Count() for none.
    [[nodiscard]] std::size_t FindName(std::string_view name) const;

private:
    struct Subkey {
        std::string name;
        std::uint64_t lastWrite = 0;
    };

    enum class Wanted : std::uint8_t { kName, kLength, kData };
    struct ReadValue;

    void Clear();
    [[nodiscard]] ReadValue ValueAt(std::uint32_t index, Wanted wanted) const;
    LSTATUS AddValues();
    void AddSubkeys();
    [[nodiscard]] std::string ValueCell(const KeyRow& row, KeyColumn column) const;
    [[nodiscard]] std::string SubkeyCell(const KeyRow& row, KeyColumn column) const;
    [[nodiscard]] std::string ValueData(const KeyRow& row) const;
    [[nodiscard]] std::string OwnerOf(HKEY key) const;
    [[nodiscard]] std::string TimeText(std::uint64_t time) const;

    KeyRowTexts m_texts;
    bool m_bIsNT;
    RegKey m_key; ///< the key shown; null for the roots
    std::string m_keyTime;
    mutable std::string m_keyOwner; ///< read when it is first needed
    mutable std::string m_nameRoom; ///< room for any name, so that reading one allocates nothing
    std::vector<KeyRow> m_rows;
    std::vector<Subkey> m_subkeys; ///< of the subkey rows and root rows
};

} // namespace tolvar
