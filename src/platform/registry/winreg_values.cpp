#include "platform/registry/caller_data.h"
#include "platform/registry/stored_value.h"
#include "platform/registry/winreg.h"
#include "platform/registry/winreg_access.h"
#include "platform/system/text.h"

using namespace tolvar;

namespace {

/// Hands type and data of a value to the caller, by the rules that RegEnumValueA and RegQueryValueExA share. The data
/// is not looked at where the caller does not ask for it.
LSTATUS StoreValue(const Hive& hive, const ValueRecord& value, DWORD* type, BYTE* data, DWORD* dataSize)
{
    Checked<std::size_t> size = 0;
    const DWORD room = data != nullptr ? *dataSize : 0;
    if (dataSize != nullptr) {
        size = DataForCaller(hive, value, std::as_writable_bytes(std::span(data, room)));
        if (!size) {
            return RegistryCall::CodeOf(size.error());
        }
        *dataSize = static_cast<DWORD>(*size);
    }
    if (type != nullptr) {
        *type = value.type;
    }
    return data != nullptr && room < *size ? ERROR_MORE_DATA : ERROR_SUCCESS;
}

} // namespace

LSTATUS RegEnumValueA(HKEY key, DWORD index, char* name, DWORD* nameSize, DWORD* /*reserved*/, DWORD* type, BYTE* data,
                      DWORD* dataSize)
{
    if (name == nullptr || nameSize == nullptr || (data != nullptr && dataSize == nullptr)) {
        return ERROR_INVALID_PARAMETER;
    }
    const RegistryCall call(key, Call::kQueryValue);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const Checked<ValueRun> values = ValueRun::Of(call.Key().key);
    if (!values) {
        return RegistryCall::CodeOf(values.error());
    }
    if (index >= values->Count()) {
        return ERROR_NO_MORE_ITEMS;
    }
    const Checked<SeenValue> value = values->At(index);
    if (!value) {
        return RegistryCall::CodeOf(value.error());
    }
    const std::string text = value->record.name.ToUtf8();
    if (*nameSize <= text.size()) {
        return ERROR_MORE_DATA;
    }
    if (const LSTATUS code = StoreValue(*value->hive, value->record, type, data, dataSize); code != ERROR_SUCCESS) {
        return code;
    }
    return StoreName(text, name, nameSize);
}

namespace {

/// Finds the value of that name and hands it to `take`, whose code is answered.
template <class Take>
LSTATUS WithValue(HKEY key, const char* name, Take&& take)
{
    const RegistryCall call(key, Call::kQueryValue);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const std::optional<std::u16string> text = ToUtf16(name != nullptr ? name : "");
    if (!text) {
        return ERROR_NO_UNICODE_TRANSLATION;
    }
    const Checked<std::optional<SeenValue>> value = FindValue(call.Key().key, *text);
    if (!value) {
        return RegistryCall::CodeOf(value.error());
    }
    return *value ? take(*(*value)->hive, (*value)->record) : ERROR_FILE_NOT_FOUND;
}

} // namespace

LSTATUS RegQueryValueExA(HKEY key, const char* name, DWORD* /*reserved*/, DWORD* type, BYTE* data, DWORD* dataSize)
{
    if (data != nullptr && dataSize == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    return WithValue(key, name, [&](const Hive& hive, const ValueRecord& value) {
        return StoreValue(hive, value, type, data, dataSize);
    });
}

LSTATUS tolvar::QueryStoredValue(HKEY key, const char* name, DWORD* type, std::vector<BYTE>* data)
{
    return WithValue(key, name, [&](const Hive& hive, const ValueRecord& value) {
        const Checked<std::vector<std::byte>> stored = hive.ReadData(value);
        if (!stored) {
            return RegistryCall::CodeOf(stored.error());
        }
        if (type != nullptr) {
            *type = value.type;
        }
        if (data != nullptr) {
            const auto* const bytes = reinterpret_cast<const BYTE*>(stored->data());
            data->assign(bytes, bytes + stored->size());
        }
        return ERROR_SUCCESS;
    });
}
