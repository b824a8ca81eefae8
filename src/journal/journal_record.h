#pragma once

#include <string>
#include <string_view>

#include "journal/change_record.h"

namespace tolvar {

/// A record of the journal, taken apart from the right. There are no escapes: a ";" inside a path or a name moves the
/// fields before it.
struct JournalRecord {
    int kind = 0;
    int object = 0;
    std::string path;
    std::string secondPath;
    int type = 0;
    std::string name;
    std::string newName;
    std::string user;
    std::string stamp;
    bool isPlain = false; ///< it holds eight separators, so that each field is what it was

    [[nodiscard]] bool IsGroup() const noexcept { return kind == 8 || kind == 9; }
};

/// Takes any text apart. A field that is missing is empty, a number 0, the object 11.
[[nodiscard]] JournalRecord ParseRecord(std::string_view text);

/// The same, but for what no text tells for sure: the change is that of the record's seal.
[[nodiscard]] JournalRecord ParseRecord(std::string_view text, const ChangeRecord& sealed);

/// The change that a record tells of, without its data. `emptyNameLabel`, unless it is empty, stands for an empty name.
[[nodiscard]] ChangeRecord ChangeOf(const JournalRecord& record, const std::string& emptyNameLabel);

/// What was done, to be named by whoever shows it.
enum class JournalOperation { kDelete, kRename, kModify, kNew, kFirstGroup, kSecondGroup, kOther, kCount };

[[nodiscard]] JournalOperation OperationOf(const JournalRecord& record);

/// The text behind the last ";" of a record.
[[nodiscard]] std::string_view StampOf(std::string_view record);

/// What a list shows of a record.
struct JournalRow {
    int image = 0;    ///< 0 to 10 a value by its type, 11 a key, 12 a value of another type, 13 and 14 a group
    std::string date; ///< "23.03.2004 - 21:28"
    std::string user;
    JournalOperation operation = JournalOperation::kOther;
    std::string what; ///< the key's or value's name
    std::string path;
};

/// `emptyName` stands for the empty name of a default value.
[[nodiscard]] JournalRow RowOf(const JournalRecord& record, std::string_view emptyName);

} // namespace tolvar
