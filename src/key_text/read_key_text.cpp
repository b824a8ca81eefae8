#include "key_text/read_key_text.h"

#include "key_text/key_text_line.h"
#include "platform/files/mapped_file.h"
#include "registry/key_path.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {

namespace {

constexpr REGSAM kMakeKey = KEY_WRITE;

/// Applies lines to the key of the last section.
class LineReader {
public:
    /// `top` takes the values before the first section; null for nowhere.
    explicit LineReader(HKEY top) : m_target(top) {}

    void Store(const KeyTextLine& line)
    {
        const ValueLine* value = std::get_if<ValueLine>(&line);
        const bool isStored = value != nullptr && m_target != nullptr &&
                              RegSetValueExA(m_target, value->name.c_str(), 0, value->type, value->data.data(),
                                             static_cast<DWORD>(value->data.size())) == ERROR_SUCCESS;
        const OtherLine* other = std::get_if<OtherLine>(&line);
        m_reading.applied += isStored ? 1 : 0;
        m_reading.skipped += isStored || (other != nullptr && other->isBlank) ? 0 : 1;
    }

    /// Goes on with the key at `path` below `parent`; nowhere, where it can't be made.
    void Enter(HKEY parent, std::string_view path)
    {
        const std::string text(path);
        m_key.Close();
        m_target = RegCreateKeyExA(parent, text.c_str(), 0, nullptr, 0, kMakeKey, nullptr, m_key.Put(), nullptr) ==
                           ERROR_SUCCESS
                       ? m_key.Get()
                       : nullptr;
        m_reading.skipped += m_target == nullptr ? 1 : 0;
    }

    [[nodiscard]] const KeyTextReading& Reading() const noexcept { return m_reading; }

private:
    HKEY m_target;
    RegKey m_key;
    KeyTextReading m_reading;
};

/// Hands the text of a file to `read`.
template <class Read>
Result<KeyTextReading> ReadMapped(const std::filesystem::path& file, Read&& read)
{
    const Result<MappedFile> map = MappedFile::Open(file);
    if (!map) {
        return tl::unexpected(map.error());
    }
    const auto bytes = map->Bytes();
    Result<KeyTextReading> reading = read(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    if (reading && map->AnyFailed()) {
        return Failure(ErrorCode::kReadFault, "read " + file.string());
    }
    return reading;
}

} // namespace

Result<KeyTextReading> ReadKeyText(std::string_view text)
{
    LineReader reader(nullptr);
    while (const std::optional<std::string_view> line = NextLine(text)) {
        const KeyTextLine parsed = ParseKeyTextLine(*line);
        const SectionLine* section = std::get_if<SectionLine>(&parsed);
        if (section == nullptr) {
            reader.Store(parsed);
            continue;
        }
        const HKEY root = RootKeyFromName(section->path);
        if (root == nullptr) {
            return Failure(ErrorCode::kBadCommand, "the section [" + std::string(section->path) + "]");
        }
        reader.Enter(root, SplitFirst(section->path).rest);
    }
    return reader.Reading();
}

KeyTextReading RestoreKeyText(HKEY key, std::string_view text)
{
    LineReader reader(key);
    while (const std::optional<std::string_view> line = NextLine(text)) {
        const KeyTextLine parsed = ParseKeyTextLine(*line);
        if (const SectionLine* section = std::get_if<SectionLine>(&parsed)) {
            reader.Enter(key, section->path);
        } else {
            reader.Store(parsed);
        }
    }
    return reader.Reading();
}

Result<KeyTextReading> ReadKeyFile(const std::filesystem::path& file)
{
    return ReadMapped(file, [](std::string_view text) { return ReadKeyText(text); });
}

Result<KeyTextReading> RestoreKeyFile(HKEY key, const std::filesystem::path& file)
{
    return ReadMapped(file, [key](std::string_view text) { return Result<KeyTextReading>(RestoreKeyText(key, text)); });
}

bool IsWholeKeyText(std::string_view text)
{
    if (text.find('\x1A') != std::string_view::npos) {
        return false;
    }
    while (const std::optional<std::string_view> line = NextLine(text)) {
        const KeyTextLine parsed = ParseKeyTextLine(*line);
        const SectionLine* section = std::get_if<SectionLine>(&parsed);
        if (std::holds_alternative<OtherLine>(parsed) || (section != nullptr && !line->ends_with(']'))) {
            return false;
        }
    }
    return true;
}

} // namespace tolvar
