#include "journal/journal_record.h"

#include <algorithm>
#include <charconv>

#include "platform/registry/key_path.h"

namespace tolvar {

namespace {

constexpr int kNoObject = 11;
constexpr int kKeyImage = 11;
constexpr int kOtherTypeImage = 12;
constexpr int kFirstGroup = 8;
constexpr int kSecondGroup = 9;
constexpr int kFirstGroupImage = 13;
constexpr int kSecondGroupImage = 14;
constexpr std::size_t kEmptyNameRoom = 39; // bytes of the label
constexpr std::ptrdiff_t kSeparators = 8;

int NumberIn(std::string_view text)
{
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// Takes the last field off a record. Nothing, and the record stays, where there is no separator left.
std::string_view TakeLast(std::string_view& rest, std::string_view missing = {})
{
    const std::size_t at = rest.rfind(';');
    if (at == std::string_view::npos) {
        return missing;
    }
    const std::string_view field = rest.substr(at + 1);
    rest = rest.substr(0, at);
    return field;
}

std::string DateText(const std::string& stamp)
{
    const auto part = [&stamp](std::size_t at, std::size_t size) {
        return stamp.substr(std::min(at, stamp.size()), size);
    };
    return part(6, 2) + "." + part(4, 2) + "." + part(0, 4) + " - " + part(8, 2) + ":" + part(10, 2);
}

int ImageOf(const JournalRecord& record)
{
    if (record.IsGroup()) {
        return record.kind == kFirstGroup ? kFirstGroupImage : kSecondGroupImage;
    }
    const int image = record.object == 0 ? kKeyImage : record.type;
    return image < 0 || image > kOtherTypeImage ? kOtherTypeImage : image;
}

} // namespace

JournalRecord ParseRecord(std::string_view text)
{
    JournalRecord record;
    record.isPlain = std::ranges::count(text, ';') == kSeparators;
    for (std::string* field : {&record.stamp, &record.user, &record.newName, &record.name}) {
        *field = TakeLast(text);
    }
    record.type = NumberIn(TakeLast(text));
    record.secondPath = TakeLast(text);
    record.path = TakeLast(text);
    const std::size_t separator = text.rfind(';');
    record.object = separator == std::string_view::npos ? kNoObject : NumberIn(TakeLast(text));
    record.kind = NumberIn(text);
    return record;
}

JournalRecord ParseRecord(std::string_view text, const ChangeRecord& sealed)
{
    JournalRecord record = ParseRecord(text);
    record.kind = static_cast<int>(sealed.kind);
    record.object = static_cast<int>(sealed.object);
    record.path = sealed.path;
    record.secondPath = sealed.secondPath;
    record.type = static_cast<int>(sealed.type);
    record.name = sealed.Name();
    record.newName = sealed.NewName();
    return record;
}

ChangeRecord ChangeOf(const JournalRecord& record, const std::string& emptyNameLabel)
{
    const auto name = [&emptyNameLabel](const std::string& text) {
        return !emptyNameLabel.empty() && text == emptyNameLabel ? std::string() : text;
    };
    ChangeRecord change;
    change.kind = static_cast<ChangeKind>(record.kind);
    change.object = static_cast<ChangeObject>(record.object);
    change.path = record.path;
    change.secondPath = record.secondPath;
    change.type = static_cast<DWORD>(record.type);
    change.name = name(record.name);
    change.newName = name(record.newName);
    return change;
}

JournalOperation OperationOf(const JournalRecord& record)
{
    switch (record.kind) {
    case static_cast<int>(ChangeKind::kDelete):
        return JournalOperation::kDelete;
    case static_cast<int>(ChangeKind::kRename):
        return JournalOperation::kRename;
    case static_cast<int>(ChangeKind::kModify):
        return JournalOperation::kModify;
    case static_cast<int>(ChangeKind::kNew):
        return JournalOperation::kNew;
    case kFirstGroup:
        return JournalOperation::kFirstGroup;
    case kSecondGroup:
        return JournalOperation::kSecondGroup;
    default:
        return JournalOperation::kOther;
    }
}

std::string_view StampOf(std::string_view record)
{
    return TakeLast(record);
}

JournalRow RowOf(const JournalRecord& record, std::string_view emptyName)
{
    JournalRow row{ImageOf(record), DateText(record.stamp), record.user, OperationOf(record), {}, record.path};
    if (record.object == 0) {
        constexpr int kNewKey = 7;
        row.what = record.kind == kNewKey ? record.secondPath : std::string(LastName(record.path));
    } else if (record.kind != kSecondGroup) {
        row.what = record.name.empty() ? std::string(emptyName.substr(0, kEmptyNameRoom)) : record.name;
    }
    return row;
}

} // namespace tolvar
