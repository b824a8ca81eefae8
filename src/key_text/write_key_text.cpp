#include "key_text/write_key_text.h"

#include <algorithm>
#include <charconv>
#include <shared_mutex>

#include "key_text/key_text_line.h"
#include "platform/registry/key_cursor.h"
#include "platform/registry/key_text.h"
#include "platform/registry/registry.h"
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
        if (key.depth == 0) {
            m_section = m_form == KeyTextForm::kAbsolute ? m_top : "";
            m_ends = {m_section.size()};
            m_lostFrom = kNowhere;
            if (!m_section.empty()) {
                m_block.append("[").append(m_section).append("]").append(kLineEnd);
            }
            return;
        }
        m_ends.resize(key.depth);
        m_section.resize(m_ends.back());
        m_section.append(m_section.empty() ? "" : "\\");
        const std::size_t nameAt = m_section.size();
        key.AppendName(m_section);
        m_ends.push_back(m_section.size());
        m_lostFrom = key.depth <= m_lostFrom ? kNowhere : m_lostFrom;
        if (m_lostFrom == kNowhere && !LineHoldsKeyName(std::string_view(m_section).substr(nameAt))) {
            m_lostFrom = key.depth;
        }
        if (m_lostFrom != kNowhere) {
            Lose({});
            return;
        }
        m_block.append("[").append(m_section).append("]").append(kLineEnd);
        Send(kBlock);
    }

    void OnValue(const Hive& hive, const ValueRecord& value, DataView data)
    {
        m_name.clear();
        value.name.AppendUtf8(m_name);
        if (m_lostFrom != kNowhere || !AppendLine(hive, value, data, m_name.empty() ? "@" : m_name)) {
            Lose(m_name);
            return;
        }
        m_block.append(kLineEnd);
        Send(kBlock);
    }

    /// The line of a value, without its end, under a name that may stand for another one. False where it can't be had.
    bool AppendLine(const Hive& hive, const ValueRecord& value, DataView data, std::string_view writtenName)
    {
        m_data.resize(IsTextType(value.type) ? kMaxUtf8 * (data.size / 2) : data.size);
        const Checked<std::size_t> size = DataForCaller(hive, value, std::as_writable_bytes(std::span(m_data)));
        if (!size) {
            return false;
        }
        m_data.resize(*size);
        const std::string text = ValueToText(value.type, m_data, ExpandStrings::kNo);
        const bool isHeld = TextHoldsData(hive, value, data);
        if (!LineHoldsValue(m_name, text) || (!isHeld && !ValueFromText(value.type, text))) {
            return false; // its line would be read as something else, or not at all
        }
        if (!isHeld) {
            Lose(m_name);
        }
        char number[16];
        const auto end = std::to_chars(std::begin(number), std::end(number), static_cast<std::int32_t>(value.type));
        m_block.append(writtenName).append("=").append(number, end.ptr).append(":").append(text);
        return true;
    }

    void OnValuesEnd() {}
    void OnFault(const Hive& /*hive*/, const HiveFault& /*fault*/, unsigned /*depth*/) { Lose({}); }
    [[nodiscard]] bool IsStopped() const { return !m_result; }

    void NameValue(const ValueRecord& value)
    {
        m_name.clear();
        value.name.AppendUtf8(m_name);
    }
    void Lose(std::string_view name)
    {
        if (m_losses.count++ == 0) {
            const std::string key = m_form == KeyTextForm::kAbsolute ? m_section
                                    : m_section.empty()              ? m_top
                                                                     : m_top + "\\" + m_section;
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
    static constexpr std::size_t kMaxUtf8 = 3; // bytes that one unit takes at most

    static bool TextHoldsData(const Hive& hive, const ValueRecord& value, DataView data)
    {
        if (!data.IsSegmented()) {
            return TextFormHolds(value.type, data.size, data.flat);
        }
        const Checked<std::vector<std::byte>> all = hive.ReadData(value);
        return all && TextFormHolds(value.type, all->size(), *all);
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

/// The one value of that name, where there is one.
void WriteOne(const KeyReference& key, const std::string& name, TextVisitor& visitor)
{
    const Checked<KeyNode> node = key.HasHive() ? key.Node() : Fault(Breach::kNone, {});
    const std::optional<std::u16string> wanted = ToUtf16(name);
    const auto value = node && wanted ? key.hive->FindValue(*node, *wanted) : Checked<std::optional<ValueRecord>>();
    if (!value || !*value) {
        return;
    }
    visitor.NameValue(**value);
    const Checked<DataView> data = key.hive->Data(**value);
    std::string written;
    (*value)->name.AppendUtf8(written);
    if (!data || !visitor.AppendLine(*key.hive, **value, *data, written)) {
        visitor.Lose(written);
    }
}

} // namespace

Result<KeyTextLosses> WriteKeyText(const std::string& path, KeyTextForm form, const std::string& valueName,
                                   const KeyTextSink& sink)
{
    Registry* registry = Registry::Current();
    if (RootKeyFromName(path) == nullptr || registry == nullptr) {
        return Failure(ErrorCode::kBadCommand, path + " begins with no root key");
    }
    const std::shared_lock lock(registry->Lock());
    const Result<KeyReference> key = registry->Find(path);
    if (!key) {
        return tl::unexpected(key.error());
    }
    TextVisitor visitor(path, form, sink);
    if (form == KeyTextForm::kSingleValue) {
        WriteOne(*key, valueName, visitor);
    } else {
        KeyWalk<TextVisitor>(visitor).Run(*key);
    }
    return visitor.Finish();
}

Result<KeyTextLosses> WriteKeyTextFile(const std::string& path, KeyTextForm form, const std::filesystem::path& file,
                                       FileStore& files)
{
    const std::filesystem::path fresh = file.string() + ".new";
    Result<std::unique_ptr<StoredFile>> stored = files.Open(fresh, FileStore::Mode::kCreate);
    if (!stored) {
        return tl::unexpected(stored.error());
    }
    std::uint64_t size = 0;
    Result<KeyTextLosses> losses;
    if (auto cut = (*stored)->Resize(0); !cut) {
        losses = tl::unexpected(cut.error());
    } else {
        losses = WriteKeyText(path, form, {}, [&](std::string_view piece) {
            const std::uint64_t at = std::exchange(size, size + piece.size());
            return (*stored)->Write(at, std::as_bytes(std::span(piece)));
        });
    }
    Result<void> done;
    for (const auto& step :
         {std::function([&] { return (*stored)->Sync(); }), std::function([&] { return files.Rename(fresh, file); }),
          std::function([&] { return files.SyncFolder(file.parent_path()); })}) {
        done = losses && done ? step() : done;
    }
    if (!losses || !done) {
        static_cast<void>(files.Remove(fresh)); // it may have got its name already
        return losses ? tl::unexpected(done.error()) : losses;
    }
    return losses;
}

} // namespace tolvar
