#include "platform/registry/open_value.h"

#include "platform/registry/value_image.h"
#include "platform/registry/writing_call.h"
#include "platform/system/text.h"

namespace tolvar {

OpenValue OpenValue::Find(HKEY key, const std::string& name, LSTATUS& code)
{
    const std::optional<std::u16string> units = ToUtf16(name);
    OpenValue value(key, units.value_or(std::u16string()));
    const RegistryCall call(key, Call::kQueryValue);
    code = call.Code() != ERROR_SUCCESS ? call.Code()
           : !units                     ? ERROR_NO_UNICODE_TRANSLATION
                                        : value.LookUp(call.State(), call.Key().key);
    return value;
}

LSTATUS OpenValue::LookUp(const Registry::State& state, const KeyRef& key)
{
    if (m_generation == state.generation) {
        return ERROR_SUCCESS;
    }
    m_found.reset();
    for (const KeyPart& part : key.Parts()) {
        const Checked<KeyNode> node = part.Node();
        const auto found = node ? part.Reader().FindPlacedValue(*node, m_name) : tl::unexpected(node.error());
        if (!found) {
            return RegistryCall::CodeOf(found.error());
        }
        if (*found) {
            m_part = part;
            m_found = *found;
            break;
        }
    }
    m_generation = state.generation;
    return ERROR_SUCCESS;
}

LSTATUS OpenValue::Visit(const std::function<void(const ValueCursor&)>& visit)
{
    const RegistryCall call(m_key, Call::kQueryValue);
    LSTATUS code = call.Code() == ERROR_SUCCESS ? LookUp(call.State(), call.Key().key) : call.Code();
    if (code != ERROR_SUCCESS || !m_found) {
        return code != ERROR_SUCCESS ? code : ERROR_FILE_NOT_FOUND;
    }
    const Hive& hive = m_part.Reader();
    const Checked<DataView> data = hive.Data(m_found->record);
    if (!data) {
        return RegistryCall::CodeOf(data.error());
    }
    visit(ValueCursor(hive, m_found->record, *data));
    return ERROR_SUCCESS;
}

Result<std::vector<std::byte>> OpenValue::Image()
{
    const RegistryCall call(m_key, Call::kTakeImage);
    const tl::expected<KeyPart, LSTATUS> part = StoredKey(call);
    const LSTATUS code = part ? LookUp(call.State(), call.Key().key) : part.error();
    if (code != ERROR_SUCCESS) {
        return Failure(static_cast<ErrorCode>(code), "image of a value");
    }
    std::vector<ImagedValue> values;
    if (m_found) {
        Result<ImagedValue> value = ReadImaged(part->Reader(), *m_found);
        if (!value) {
            return tl::unexpected(value.error());
        }
        values.push_back(*std::move(value));
    }
    return ComposeImage(values, call.State().clock);
}

LSTATUS OpenValue::Store(DWORD type, std::span<const BYTE> data)
{
    WritingCall call(m_key, Call::kSetValue);
    const LSTATUS code = call.Code() == ERROR_SUCCESS ? LookUp(call.State(), call.Key().key) : call.Code();
    if (code != ERROR_SUCCESS) {
        return code;
    }
    const KeyPart part = call.Key().key.ForValues();
    const Result<HiveWriter*> writer = part.mount->Writer();
    if (!writer) {
        return CodeOf(writer);
    }
    const bool isThere = m_found && m_part == part; // another part's is hidden by the new one
    const Result<void> stored = (*writer)->SetFoundValue(
        part.cell, isThere ? std::optional(m_found->record) : std::nullopt, m_name, type, std::as_bytes(data));
    if (stored) {
        call.NoteChange(part, KeyChange::kValues);
    }
    return CodeOf(stored);
}

} // namespace tolvar
