#include "platform/registry/value_image.h"

#include "platform/hive/hive_composer.h"
#include "platform/hive/scratch_hive.h"
#include "platform/system/text.h"

namespace tolvar {

tl::expected<KeyPart, LSTATUS> StoredKey(const RegistryCall& call)
{
    if (call.Code() != ERROR_SUCCESS) {
        return tl::unexpected(call.Code());
    }
    const KeyRef& key = call.Key().key;
    if (key.IsMerged() || key.First().mount->IsVolatile()) {
        return tl::unexpected(key.IsMerged() ? ERROR_NOT_SUPPORTED : ERROR_ACCESS_DENIED);
    }
    return key.First();
}

Result<ImagedValue> ReadImaged(const Hive& hive, const PlacedValue& value)
{
    Checked<std::vector<std::byte>> data = hive.ReadData(value.record);
    if (!data) {
        return tl::unexpected(hive.ToError(data.error()));
    }
    return ImagedValue{value.record.name.ToUtf16(), value.record.type, *std::move(data), value.place};
}

Result<std::vector<std::byte>> ComposeImage(std::span<const ImagedValue> values, const Clock& clock)
{
    std::size_t room = std::size_t{1} << 20;
    for (const ImagedValue& value : values) {
        room += 2 * value.data.size();
    }
    const Result<std::unique_ptr<ScratchHive>> made =
        ScratchHive::Make(EmptyHive(u"BEFORE", clock.Now()), room, "image", clock);
    if (!made) {
        return tl::unexpected(made.error());
    }
    ScratchHive& image = **made;
    std::string places;
    for (const ImagedValue& value : values) {
        if (auto set = image.writer.SetValue(image.hive.Root(), value.name, value.type, value.data); !set) {
            return tl::unexpected(set.error());
        }
        places.append(places.empty() ? "" : " ").append(std::to_string(value.place));
    }
    if (auto set = image.writer.SetClass(image.hive.Root(), *ToUtf16(places)); !set) {
        return tl::unexpected(set.error());
    }
    return HiveComposer(image.hive, {}, [](const HiveFault&) {}).Compose(image.hive.Root());
}

} // namespace tolvar
