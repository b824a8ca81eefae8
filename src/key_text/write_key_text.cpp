#include "key_text/write_key_text.h"

#include <algorithm>
#include <charconv>

#include "key_text/key_text_line.h"
#include "platform/files/fresh_file.h"
#include "platform/registry/key_cursor.h"
#include "platform/registry/registry.h"
#include "platform/system/text.h"
#include "registry/key_path.h"
#include "registry/root_keys.h"
#include "registry/value_text.h"

namespace tolvar {

namespace {

constexpr std::string_view kLineEnd = "\r\n";

/// Turns a walk into lines.
class TextVisitor {
public:
    TextVisitor(std::string top, KeyTextForm form, const KeyTextSink& sink)
        : m_top(std::move(top)), m_form(form), m_sink(sink)
    {}

    void OnKey(const KeyCursor& key)
    {
        if (key.Depth() == 0) {
            m_section = m_form == KeyTextForm::kAbsolute ? m_top : "";
            m_ends = {m_section.size()};
            m_lostFrom = kNowhere;
            if (!m_section.empty()) {
                m_block.append("[").append(m_section).append("]").append(kLineEnd);
            }
            return;
        }
        m_ends.resize(key.Depth());
        m_section.resize(m_ends.back());
        AppendPath(m_section, key.Name().ToUtf8());
        m_ends.push_back(m_section.size());
        m_lostFrom = key.Depth() <= m_lostFrom ? kNowhere : m_lostFrom;
        if (m_lostFrom == kNowhere && !LineHoldsKeyName(LastName(m_section))) {
            m_lostFrom = key.Depth();
        }
        if (m_lostFrom != kNowhere) {
            Lose({});
            return;
        }
        m_block.append("[").append(m_section).append("]").append(kLineEnd);
        Send(kBlock);
    }

    void OnValue(const ValueCursor& value)
    {
        NameValue(value);
        if (m_lostFrom != kNowhere || !AppendLine(value, m_name.empty() ? "@" : m_name)) {
            Lose(m_name);
            return;
        }
        m_block.append(kLineEnd);
        Send(kBlock);
    }

    /// The line of a value, without its end, under a name that may stand for another one. False where it can't be had.
    bool AppendLine(const ValueCursor& value, std::string_view writtenName)
    {
        if (value.ReadForCaller(m_data)) {
            return false;
        }
        const std::string text = ValueToText(value.Type(), m_data, ExpandStrings::kNo);
        const bool isHeld = TextHoldsData(value);
        if (!LineHoldsValue(m_name, text) || (!isHeld && !ValueFromText(value.Type(), text))) {
            return false; // its line would be read as something else, or not at all
        }
        if (!isHeld) {
            Lose(m_name);
        }
        char number[16];
        const auto end = std::to_chars(std::begin(number), std::end(number), static_cast<std::int32_t>(value.Type()));
        m_block.append(writtenName).append("=").append(number, end.ptr).append(":").append(text);
        return true;
    }

    void OnValuesEnd() {}
    void OnFault(const KeyFault& /*fault*/) { Lose({}); }
    [[nodiscard]] bool IsStopped() const { return !m_result; }

    void NameValue(const ValueCursor& value)
    {
        m_name.clear();
        value.Name().AppendUtf8(m_name);
    }
    void Lose(std::string_view name)
    {
        if (m_losses.count++ == 0) {
            const std::string key = m_form == KeyTextForm::kAbsolute ? m_section : JoinPath(m_top, m_section);
            m_losses.first = key + ", value \"" + std::string(name) + "\"";
        }
    }

    Result<KeyTextLosses> Finish()
    {
        Send(0);
        return m_result ? Result<KeyTextLosses>(std::move(m_losses)) : tl::unexpected(m_result.error());
    }

private:
    static constexpr std::size_t kBlock = 1 << 18; // bytes
    static constexpr unsigned kNowhere = ~0U;

    static bool TextHoldsData(const ValueCursor& value)
    {
        if (const auto flat = value.FlatData(); flat) {
            return TextFormHolds(value.Type(), flat->size(), *flat);
        }
        const auto all = value.StoredData();
        return all && TextFormHolds(value.Type(), all->size(), *all);
    }

    void Send(std::size_t full)
    {
        if (m_block.size() > full && m_result) {
            m_result = m_sink(m_block);
            m_block.clear();
        }
    }

    std::string m_top;
    KeyTextForm m_form;
    const KeyTextSink& m_sink;
    std::string m_section;
    std::vector<std::size_t> m_ends; ///< of the section's path, for each level from the top on
    unsigned m_lostFrom = kNowhere;  ///< the level of the key whose name no section can hold, on the way to this one
    std::string m_name;
    std::vector<BYTE> m_data;
    std::string m_block;
    KeyTextLosses m_losses;
    Result<void> m_result;
};

} // namespace

Result<KeyTextLosses> WriteKeyText(const std::string& path, KeyTextForm form, const KeyTextSink& sink)
{
    Registry* registry = Registry::Current();
    if (RootKeyFromName(path) == nullptr || registry == nullptr) {
        return Failure(ErrorCode::kBadCommand, path + " begins with no root key");
    }
    WalkPermit permit(*registry);
    const Result<KeyRef> key = permit.Find(path);
    if (!key) {
        return tl::unexpected(key.error());
    }
    TextVisitor visitor(path, form, sink);
    KeyWalk(permit, visitor).Run(*key);
    return visitor.Finish();
}

Result<KeyTextLosses> WriteValueText(const std::string& path, OpenValue& value, const KeyTextSink& sink)
{
    TextVisitor visitor(path, KeyTextForm::kRelative, sink);
    const LSTATUS code = value.Visit([&visitor](const ValueCursor& cursor) {
        visitor.NameValue(cursor);
        if (const std::string name = cursor.Name().ToUtf8(); !visitor.AppendLine(cursor, name)) {
            visitor.Lose(name);
        }
    });
    if (code != ERROR_SUCCESS && code != ERROR_FILE_NOT_FOUND) {
        visitor.Lose(ToUtf8(value.Name()));
    }
    return visitor.Finish();
}

Result<KeyTextLosses> WriteKeyTextFile(const std::string& path, KeyTextForm form, const std::filesystem::path& file,
                                       FileStore& files)
{
    const Registry* registry = Registry::Current();
    Result<FreshFile> fresh = FreshFile::Begin(files, file, FreshFile::Existing::kReplace,
                                               registry != nullptr ? registry->FileOf(path) : std::filesystem::path());
    if (!fresh) {
        return tl::unexpected(fresh.error());
    }
    Result<KeyTextLosses> losses = WriteKeyText(
        path, form, [&](std::string_view piece) { return fresh->Append(std::as_bytes(std::span(piece))); });
    const Result<void> done = losses ? fresh->TakePlace() : Result<void>();
    return done ? losses : tl::unexpected(done.error());
}

} // namespace tolvar
