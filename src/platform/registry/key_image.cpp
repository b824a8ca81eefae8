#include "platform/registry/key_image.h"

#include <algorithm>
#include <charconv>
#include <unordered_set>

#include "platform/hive/hive_composer.h"
#include "platform/hive/hive_walk.h"
#include "platform/registry/key_path.h"
#include "platform/registry/value_image.h"
#include "platform/registry/writing_call.h"
#include "platform/system/text.h"

namespace tolvar {

namespace {

tl::unexpected<Error> FailureOf(LSTATUS code, const std::string& context)
{
    return Failure(static_cast<ErrorCode>(code), context);
}

/// Asks the session's access check for every key of a walk.
struct AccessWalk {
    const Registry::State& state;
    const Hive& hive;
    REGSAM access;
    std::vector<std::string> paths; ///< of the keys from the top to the current one
    LSTATUS code = ERROR_SUCCESS;

    bool OnKey(const KeyNode& node, unsigned depth)
    {
        if (depth > 0) {
            paths.resize(depth);
            paths.push_back(JoinPath(paths.back(), node.name.ToUtf8()));
        }
        code = state.Grant(paths.back(), hive, node, access) != 0 ? code : ERROR_ACCESS_DENIED;
        return true;
    }
    void OnValue(const ValueRecord& /*value*/, DataView /*data*/) {}
    void OnValuesEnd(const KeyNode& /*key*/) {}
    void OnFault(const HiveFault& fault, unsigned /*depth*/) { code = RegistryCall::CodeOf(fault); }
    [[nodiscard]] bool IsStopped() const { return code != ERROR_SUCCESS; }
};

/// The places that the class of a value image lists.
std::vector<std::uint32_t> PlacesOf(const Hive& image, const KeyNode& root)
{
    const Checked<NameView> text = image.ClassName(root);
    const std::string list = text ? ToUtf8(text->ToUtf16()) : std::string();
    std::vector<std::uint32_t> places;
    const char* at = list.data();
    const char* end = at + list.size();
    std::uint32_t place = 0;
    for (auto read = std::from_chars(at, end, place); read.ec == std::errc(); read = std::from_chars(at, end, place)) {
        places.push_back(place);
        at = read.ptr + (read.ptr != end ? 1 : 0);
    }
    return places;
}

/// The values of an image, by their places.
Result<std::vector<ImagedValue>> ValuesOf(const Hive& image)
{
    const Checked<KeyNode> root = image.Key(image.Root());
    const Checked<ValueListView> list = root ? image.Values(*root) : tl::unexpected(root.error());
    if (!list) {
        return tl::unexpected(image.ToError(list.error()));
    }
    const std::vector<std::uint32_t> places = PlacesOf(image, *root);
    std::vector<ImagedValue> values;
    for (std::uint32_t i = 0; i < list->count; ++i) {
        const Checked<ValueRecord> value = image.Value((*list)[i]);
        if (!value) {
            return tl::unexpected(image.ToError(value.error()));
        }
        Result<ImagedValue> read = ReadImaged(image, {i < places.size() ? places[i] : ~0U, *value});
        if (!read) {
            return tl::unexpected(std::move(read.error()));
        }
        values.push_back(*std::move(read));
    }
    std::ranges::sort(values, {}, &ImagedValue::place);
    return values;
}

/// One value of a key with its place in the list, ready to be stored elsewhere.
Result<std::optional<ImagedValue>> FindImaged(const Hive& hive, const KeyNode& node, const std::string& name)
{
    const std::optional<std::u16string> wanted = ToUtf16(name);
    if (!wanted) {
        return Failure(ErrorCode::kNoUnicodeTranslation, name);
    }
    const Checked<std::optional<PlacedValue>> found = hive.FindPlacedValue(node, *wanted);
    if (!found || !*found) {
        return found ? Result<std::optional<ImagedValue>>(std::nullopt) : tl::unexpected(hive.ToError(found.error()));
    }
    Result<ImagedValue> value = ReadImaged(hive, **found);
    return value ? Result<std::optional<ImagedValue>>(*std::move(value)) : tl::unexpected(std::move(value.error()));
}

/// Runs `change` with the writer of the key's mount and the key's cell.
template <class Change>
Result<void> Write(HKEY key, const char* what, KeyChange changes, Change&& change)
{
    WritingCall call(key, Call::kLayImage);
    if (call.Code() != ERROR_SUCCESS) {
        return FailureOf(call.Code(), what);
    }
    const KeyPart part = call.Key().key.ForValues();
    const Result<HiveWriter*> writer = part.mount->Writer();
    if (!writer) {
        return Failure(writer.error().code, call.State().names.PathOf(part));
    }
    auto changed = change(**writer, part.cell);
    call.NoteChange(part, changes); // also where only a part of it was done
    return changed;
}

} // namespace

KeyImage::KeyImage(std::unique_ptr<Hive> hive) noexcept : m_hive(std::move(hive)) {}
KeyImage::~KeyImage() = default;
KeyImage::KeyImage(KeyImage&& other) noexcept = default;
KeyImage& KeyImage::operator=(KeyImage&& other) noexcept = default;

Result<KeyImage> KeyImage::FromBytes(std::span<const std::byte> bytes, std::string name)
{
    Result<Hive> hive = Hive::FromBytes(bytes, std::move(name));
    if (!hive || hive->Damage()) {
        return tl::unexpected(hive ? *hive->Damage() : hive.error());
    }
    return KeyImage(std::make_unique<Hive>(*std::move(hive)));
}

std::string KeyImage::KeyName() const
{
    const Checked<NameView> name = m_hive->KeyName(m_hive->Root());
    return name ? name->ToUtf8() : std::string();
}

bool KeyImage::HasValues() const
{
    const Checked<KeyNode> root = m_hive->Key(m_hive->Root());
    return root && root->valueCount != 0;
}

std::optional<ValueRecord> KeyImage::FindValue(const std::string& name) const
{
    const Checked<KeyNode> root = m_hive->Key(m_hive->Root());
    const std::optional<std::u16string> units = ToUtf16(name);
    return root && units ? m_hive->FindValue(*root, *units).value_or(std::nullopt) : std::nullopt;
}

LSTATUS CheckWritable(HKEY key)
{
    const RegistryCall call(key, Call::kInspect);
    LSTATUS code = call.Code();
    for (std::size_t i = 0; code == ERROR_SUCCESS && i < call.Key().key.Parts().size(); ++i) {
        code = CodeOf(call.Key().key.parts[i].mount->Writer());
    }
    return code;
}

LSTATUS CheckTree(HKEY key, REGSAM access)
{
    if (const LSTATUS code = CheckWritable(key); code != ERROR_SUCCESS) {
        return code;
    }
    const RegistryCall call(key, Call::kInspect);
    if (call.Code() != ERROR_SUCCESS) {
        return call.Code();
    }
    for (const KeyPart& part : call.Key().key.Parts()) {
        if (call.Key().key.IsOfSession() || part.cell == part.Reader().Root()) {
            return ERROR_ACCESS_DENIED;
        }
        if (call.State().accessCheck != nullptr) {
            AccessWalk walk{call.State(), part.Reader(), access, {call.State().names.PathOf(part)}};
            HiveWalk(part.Reader(), walk).Run(part.cell);
            if (walk.code != ERROR_SUCCESS) {
                return walk.code;
            }
        }
    }
    return ERROR_SUCCESS;
}

Result<std::string> StoredKeyName(HKEY key)
{
    const RegistryCall call(key, Call::kInspect);
    const tl::expected<KeyNode, LSTATUS> node =
        call.Code() == ERROR_SUCCESS ? call.Node() : tl::unexpected(call.Code());
    return node ? Result<std::string>(node->name.ToUtf8()) : FailureOf(node.error(), "name of a key");
}

Result<std::vector<std::byte>> ImageOfKey(HKEY key)
{
    const RegistryCall call(key, Call::kTakeImage);
    const tl::expected<KeyPart, LSTATUS> part = StoredKey(call);
    if (!part) {
        return FailureOf(part.error(), "image of a key");
    }
    std::optional<HiveFault> first;
    HiveComposer composer(part->Reader(), {}, [&first](const HiveFault& fault) { first = first.value_or(fault); });
    Result<std::vector<std::byte>> content = composer.Compose(part->cell);
    if (content && first) {
        return tl::unexpected(part->Reader().ToError(*first));
    }
    return content;
}

Result<std::vector<std::byte>> ImageOfValues(HKEY key, std::span<const std::string> names)
{
    const RegistryCall call(key, Call::kTakeImage);
    const tl::expected<KeyPart, LSTATUS> part = StoredKey(call);
    const tl::expected<KeyNode, LSTATUS> node = part ? call.Node() : tl::unexpected(part.error());
    if (!node) {
        return FailureOf(node.error(), "image of values");
    }
    const Hive& source = part->Reader();
    std::vector<ImagedValue> values;
    std::unordered_set<std::uint32_t> taken; // places: a name may be there twice
    for (const std::string& name : names) {
        Result<std::optional<ImagedValue>> found = FindImaged(source, *node, name);
        if (!found) {
            return tl::unexpected(found.error());
        }
        if (*found && taken.insert((*found)->place).second) {
            values.push_back(**std::move(found));
        }
    }
    return ComposeImage(values, call.State().clock);
}

Result<void> LayKeyImage(HKEY key, const KeyImage& image)
{
    return Write(key, "restore a key", KeyChange::kAll, [&image](HiveWriter& writer, CellOffset cell) {
        return writer.Merge(cell, image.Inside(), image.Inside().Root());
    });
}

Result<void> LayValueImage(HKEY key, const KeyImage& image)
{
    const Result<std::vector<ImagedValue>> values = ValuesOf(image.Inside());
    if (!values) {
        return tl::unexpected(values.error());
    }
    return Write(key, "restore values", KeyChange::kValues, [&values](HiveWriter& writer, CellOffset cell) {
        Result<void> stored;
        for (const ImagedValue& value : *values) {
            stored = stored ? writer.InsertValue(cell, value.place, value.name, value.type, value.data) : stored;
        }
        return stored;
    });
}

} // namespace tolvar
