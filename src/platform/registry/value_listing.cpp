#include "platform/registry/value_listing.h"

#include <string>

#include "platform/registry/caller_data.h"
#include "platform/registry/winreg_access.h"

namespace tolvar {

namespace {

/// Whether the size of a value can be told: that of a text counts what is in it.
bool CanBeMeasured(const SeenValue& value)
{
    const Checked<DataView> data = value.hive->Data(value.record);
    return data && (!IsTextType(value.record.type) || value.hive->CheckPieces(*data));
}

} // namespace

LSTATUS ListValues(HKEY key, const std::function<void(const ListedValue&)>& visit)
{
    const RegistryCall call(key, Call::kQueryValue);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    const Checked<ValueRun> values = ValueRun::Of(call.Key().key);
    if (!values) {
        return RegistryCall::CodeOf(values.error());
    }
    std::string name;
    for (DWORD index = 0; index < values->Count(); ++index) {
        const Checked<SeenValue> value = values->At(index);
        if (value && CanBeMeasured(*value)) {
            name.clear();
            value->record.name.AppendUtf8(name);
            visit({name, index, value->record.type});
        }
    }
    return ERROR_SUCCESS;
}

} // namespace tolvar
