#include "platform/registry/name_space.h"

#include <algorithm>
#include <cstring>
#include <new>

#include <fmt/format.h>

#include "platform/hive/hive_walk.h"
#include "platform/system/text.h"

namespace tolvar {

namespace {

constexpr unsigned kMostLinks = 32;
constexpr std::size_t kMostAliases = 1000; // links in a circle would have no end of them
constexpr std::u16string_view kLinkValue = u"SymbolicLinkValue";

/// A path of the platform's inside, "\Registry\Machine\...", as a full path; any other path as it is.
std::string ToFullPath(std::string_view path)
{
    struct Inside {
        std::string_view path;
        std::string_view root;
    };
    constexpr Inside kInside[] = {{"\\Registry\\Machine", "HKEY_LOCAL_MACHINE"}, {"\\Registry\\User", "HKEY_USERS"}};
    for (const Inside& inside : kInside) {
        if (const std::optional<std::string_view> below = PathBelow(path, inside.path); below) {
            return JoinPath(inside.root, *below);
        }
    }
    return std::string(path);
}

/// Where a stored link leads, in the platform's own form.
Result<std::string> TargetOf(const Hive& hive, const KeyNode& link)
{
    const auto value = hive.FindValue(link, kLinkValue);
    const auto data = value && *value && (*value)->type == REG_LINK ? hive.ReadData(**value)
                      : value                                       ? Checked<std::vector<std::byte>>()
                                                                    : tl::unexpected(value.error());
    if (!data) {
        return tl::unexpected(hive.ToError(data.error()));
    }
    std::u16string units(data->size() / sizeof(char16_t), u'\0');
    std::memcpy(units.data(), data->data(), units.size() * sizeof(char16_t));
    units.resize(units.find_last_not_of(u'\0') + 1); // there should be none, but some programs store one
    return ToUtf8(units);
}

} // namespace

NameSpace::NameSpace()
{
    Result<std::unique_ptr<MemoryMount>> own = MemoryMount::Make();
    bool isMade = own.has_value();
    if (isMade) {
        m_own = *std::move(own);
        m_places[m_own.get()] = m_own->Reader().Root();
        for (const RootKey& root : RootKeys()) {
            isMade = isMade && MakePlace(root.name);
        }
    }
    if (!isMade) {
        throw std::bad_alloc();
    }
}

Result<CellOffset> NameSpace::MakePlace(std::string_view path)
{
    const std::string_view trimmed = TrimPathEnd(path);
    const std::string own = JoinPath(OwnPath(ParentPath(trimmed)), LastName(trimmed)); // links lead to what is shown
    const std::optional<std::u16string> units = ToUtf16(own);
    if (!units || FindRoot(SplitFirst(own).first) == nullptr ||
        std::ranges::count(own, kPathSeparator) + 1 >= std::ptrdiff_t{kMaxDepth}) {
        return Failure(ErrorCode::kInvalidParameter, std::string(path));
    }
    Result<CellOffset> place = m_own->Reader().Root();
    for (const std::u16string_view name : PathUnits(*units)) {
        place = place ? m_own->MakeKey(*place, name) : place;
    }
    return place;
}

Result<void> NameSpace::Show(std::unique_ptr<Mount> mount, std::string_view path)
{
    const Result<CellOffset> place = MakePlace(path);
    if (!place) {
        return tl::unexpected(place.error());
    }
    const auto [at, isNew] = m_junctions.try_emplace(place->value, Junction{mount.get(), {}, {}});
    if (!isNew) {
        const Mount* other = at->second.mount;
        return Failure(ErrorCode::kAlreadyExists,
                       other != nullptr ? other->Reader().File().string() + " is mounted there" : "a link is there");
    }
    m_places[mount.get()] = *place;
    if (const Result<HiveWriter*> writer = mount->Writer()) { // the registry's root is level 1, and in no path
        (*writer)->SetRootLevel(static_cast<unsigned>(std::ranges::count(TrimPathEnd(path), kPathSeparator)) + 2);
    }
    m_mounts.push_back(std::move(mount));
    return {};
}

Result<void> NameSpace::View(std::string_view path, std::string_view first, std::string_view second)
{
    for (const std::string_view target : {first, second}) {
        if (!target.empty() && FindRoot(SplitFirst(target).first) == nullptr) {
            return Failure(ErrorCode::kInvalidParameter, fmt::format("link {} to {}", path, target));
        }
    }
    const Result<CellOffset> place = MakePlace(path);
    if (!place) {
        return tl::unexpected(place.error());
    }
    Junction& junction = m_junctions[place->value];
    if (junction.mount != nullptr) {
        return Failure(ErrorCode::kAlreadyExists, std::string(path));
    }
    if (junction.target.empty()) {
        m_named.emplace_back(path, *place);
    }
    junction.target = first;
    junction.second = second;
    return {};
}

Result<void> NameSpace::Link(std::string_view path, std::string_view target)
{
    return target.empty() ? Failure(ErrorCode::kInvalidParameter, std::string(path)) : View(path, target, {});
}

bool NameSpace::IsLink(CellOffset place) const noexcept
{
    const auto junction = m_junctions.find(place.value);
    return junction != m_junctions.end() && junction->second.mount == nullptr;
}

Result<KeyRef> NameSpace::Resolve(std::string_view fullPath, LastLink last) const
{
    unsigned links = 0;
    const std::string path = ToFullPath(fullPath);
    const std::optional<std::u16string> units = ToUtf16(path);
    if (FindRoot(SplitFirst(path).first) == nullptr) {
        return Failure(ErrorCode::kFileNotFound, std::string(fullPath));
    }
    Result<KeyRef> key = !units ? Failure(ErrorCode::kNoUnicodeTranslation)
                                : ResolveNames(Own(m_own->Reader().Root()), *units, last, links);
    if (!key && key.error().context.empty()) {
        key.error().context = fullPath;
    }
    return key;
}

Result<KeyRef> NameSpace::Resolve(const KeyRef& start, std::string_view path, LastLink last) const
{
    unsigned links = 0;
    const std::optional<std::u16string> units = ToUtf16(path);
    return units ? ResolveNames(start, *units, last, links) : Failure(ErrorCode::kNoUnicodeTranslation);
}

Result<KeyRef> NameSpace::ResolveNames(KeyRef at, std::u16string_view path, LastLink last, unsigned& links) const
{
    const PathUnits names(path);
    for (auto name = names.begin(); name != names.end(); ++name) {
        const Result<KeyRef> next = Subkey(at, *name, name.IsLast() ? last : LastLink::kFollow, links);
        if (!next) {
            return next;
        }
        at = *next;
    }
    return at;
}

Result<KeyRef> NameSpace::Follow(std::string_view target, unsigned& links) const
{
    if (++links > kMostLinks) {
        return Failure(ErrorCode::kCantResolveFilename);
    }
    const std::string path = ToFullPath(target);
    const std::optional<std::u16string> units = ToUtf16(path);
    if (!units || FindRoot(SplitFirst(path).first) == nullptr) {
        return Failure(ErrorCode::kFileNotFound);
    }
    return ResolveNames(Own(m_own->Reader().Root()), *units, LastLink::kFollow, links);
}

KeyRef NameSpace::Own(CellOffset place) const noexcept
{
    return KeyRef{{KeyPart{m_own.get(), place}, {}}, place, {}};
}

Result<KeyRef> NameSpace::Subkey(const KeyRef& parent, std::u16string_view name, LastLink last, unsigned& links) const
{
    if (parent.IsOfSession()) {
        const Hive& places = m_own->Reader();
        const Checked<KeyNode> node = places.Key(parent.place);
        const Checked<CellOffset> place = node ? places.FindSubkey(*node, name) : tl::unexpected(node.error());
        if (place && !place->IsNil()) {
            return AtPlace(*place, parent, last, links);
        }
    }
    KeyRef found;
    std::size_t count = 0;
    for (const KeyPart& part : parent.Parts()) {
        const Hive& hive = part.Reader();
        const Checked<KeyNode> node = part.Node();
        const Checked<CellOffset> cell = node ? hive.FindSubkey(*node, name) : tl::unexpected(node.error());
        const Checked<KeyNode> child = !cell           ? tl::unexpected(cell.error())
                                       : cell->IsNil() ? Checked<KeyNode>()
                                                       : hive.Key(*cell);
        if (!child) {
            return tl::unexpected(hive.ToError(child.error()));
        }
        if (cell->IsNil()) {
            continue;
        }
        if (child->Is(key_flags::kSymbolicLink) && last == LastLink::kFollow && count == 0) {
            const Result<std::string> target = TargetOf(hive, *child);
            return target ? Follow(*target, links) : tl::unexpected(target.error());
        }
        found.parts[count++] = {part.mount, *cell};
    }
    found.view = count == 2 ? parent.view : CellOffset{};
    return count != 0 ? Result<KeyRef>(found) : Failure(ErrorCode::kFileNotFound);
}

Result<KeyRef> NameSpace::AtPlace(CellOffset place, const KeyRef& under, LastLink last, unsigned& links) const
{
    const auto junction = m_junctions.find(place.value);
    if (junction == m_junctions.end()) {
        // On the way to a mount or link further down: the name space lies over what the mounts have there.
        const Checked<NameView> name = m_own->Reader().KeyName(place);
        KeyRef found;
        std::size_t count = 0;
        for (const KeyPart& part : under.Parts()) {
            const Checked<KeyNode> node = part.mount != m_own.get() ? part.Node() : Fault(Breach::kNone, {});
            const Checked<CellOffset> cell =
                node && name ? part.Reader().FindSubkey(*node, name->ToUtf16()) : Checked<CellOffset>();
            if (cell && !cell->IsNil()) {
                found.parts[count++] = {part.mount, *cell};
            }
        }
        found.place = place;
        found.view = count == 2 ? under.view : CellOffset{};
        return count != 0 ? Result<KeyRef>(found) : Own(place);
    }
    const Junction& shown = junction->second;
    if (shown.mount != nullptr) {
        return KeyRef{{KeyPart{shown.mount, shown.mount->Reader().Root()}, {}}, place, {}};
    }
    if (last == LastLink::kOpen) {
        return Own(place);
    }
    if (shown.IsView()) {
        return AtView(place, shown, links);
    }
    Result<KeyRef> target = Follow(shown.target, links);
    return !target && target.error().code == ErrorCode::kFileNotFound ? Own(place) : target;
}

Result<KeyRef> NameSpace::AtView(CellOffset place, const Junction& view, unsigned& links) const
{
    KeyRef merged;
    std::size_t count = 0;
    for (const std::string& target : {view.target, view.second}) {
        const Result<KeyRef> part = Follow(target, links);
        if (part && !part->First().mount->IsVolatile()) {
            merged.parts[count++] = part->First();
        } else if (!part && part.error().code != ErrorCode::kFileNotFound) {
            return part;
        }
    }
    merged.place = place;
    merged.view = count == 2 ? place : CellOffset{};
    return count != 0 ? Result<KeyRef>(merged) : Own(place);
}

KeyRef NameSpace::At(CellOffset place, const KeyRef& under) const
{
    unsigned links = 0;
    return AtPlace(place, under, LastLink::kFollow, links).value_or(Own(place));
}

/// Appends the names of a key and those above it, down from the root of its hive, which is left out.
void NameSpace::AppendNames(std::string& path, const Hive& hive, CellOffset cell) const
{
    std::vector<NameView> names;
    while (cell != hive.Root() && names.size() < kMaxDepth) {
        const Checked<KeyNode> node = hive.Key(cell);
        if (!node) {
            break;
        }
        names.push_back(node->name);
        cell = node->parent;
    }
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        if (!path.empty()) {
            path.push_back(kPathSeparator);
        }
        name->AppendUtf8(path);
    }
}

std::string NameSpace::PathOf(const KeyPart& part) const
{
    std::string path;
    AppendNames(path, m_own->Reader(), m_places.at(part.mount));
    AppendNames(path, part.Reader(), part.cell);
    return path;
}

std::string NameSpace::PathOf(const KeyRef& key) const
{
    if (key.view.IsNil()) {
        return PathOf(key.First());
    }
    const std::string path = PathOf(key.First());
    const std::optional<std::string_view> below = PathBelow(path, OwnPath(m_junctions.at(key.view.value).target));
    return JoinPath(PathOf(KeyPart{m_own.get(), key.view}), below.value_or(std::string_view()));
}

/// The path with every link of the session on its way followed.
std::string NameSpace::OwnPath(std::string_view path) const
{
    std::string own(path);
    for (unsigned links = 0; links < kMostLinks; ++links) {
        const auto through = std::ranges::find_if(m_named, [&](const auto& named) {
            return !m_junctions.at(named.second.value).IsView() && PathBelow(own, named.first);
        });
        if (through == m_named.end()) {
            break;
        }
        own = JoinPath(m_junctions.at(through->second.value).target, *PathBelow(own, through->first));
    }
    return own;
}

std::vector<std::string> NameSpace::AliasesOf(std::string_view path) const
{
    std::vector<std::string> paths = {OwnPath(path)};
    const auto add = [&paths](std::string alias) {
        if (std::ranges::find(paths, alias) == paths.end()) {
            paths.push_back(std::move(alias));
        }
    };
    for (const auto& [named, place] : m_named) { // what a view shows lies in its trees
        const Junction& junction = m_junctions.at(place.value);
        const std::string own = paths.front();
        const std::optional<std::string_view> below = PathBelow(own, named);
        if (junction.IsView() && below) {
            add(OwnPath(JoinPath(junction.target, *below)));
            add(OwnPath(JoinPath(junction.second, *below)));
        }
    }
    // Each link leads from the paths that are known already to another one, and through that to more.
    for (std::size_t i = 0; i < paths.size() && paths.size() < kMostAliases; ++i) {
        for (const auto& [named, place] : m_named) {
            const Junction& junction = m_junctions.at(place.value);
            for (const std::string& target : {junction.target, junction.second}) {
                const std::string known = paths[i];
                const std::optional<std::string_view> below = target.empty() ? std::nullopt : PathBelow(known, target);
                if (below) {
                    add(JoinPath(named, *below));
                }
            }
        }
    }
    std::erase_if(paths, [path](const std::string& alias) { return CompareNames(alias, path) == 0; });
    return paths;
}

} // namespace tolvar
