#include <gtest/gtest.h>

#include "fixtures/journal_session.h"
#include "platform/hive/scratch_hive.h"
#include "platform/registry/name_space.h"

// How often a change resolves a path and looks a value up, counted by the linker: CMakeLists.txt wraps the functions
// that do it, so that calls from other files go through those below. They take the object that a member function is
// called on as their first argument.

namespace tolvar::lookups {

const Hive* watched = nullptr;
unsigned paths = 0;
unsigned values = 0;

Result<KeyRef> ResolveItself(const NameSpace* self, const KeyRef& start, std::string_view path, LastLink last) //
    asm("__real__ZNK6tolvar9NameSpace7ResolveERKNS_6KeyRefESt17basic_string_viewIcSt11char_traitsIcEENS_8LastLinkE");
Result<KeyRef> Resolve(const NameSpace* self, const KeyRef& start, std::string_view path, LastLink last) //
    asm("__wrap__ZNK6tolvar9NameSpace7ResolveERKNS_6KeyRefESt17basic_string_viewIcSt11char_traitsIcEENS_8LastLinkE");

Result<KeyRef> ResolveFullItself(const NameSpace* self, std::string_view path, LastLink last) //
    asm("__real__ZNK6tolvar9NameSpace7ResolveESt17basic_string_viewIcSt11char_traitsIcEENS_8LastLinkE");
Result<KeyRef> ResolveFull(const NameSpace* self, std::string_view path, LastLink last) //
    asm("__wrap__ZNK6tolvar9NameSpace7ResolveESt17basic_string_viewIcSt11char_traitsIcEENS_8LastLinkE");

Checked<std::optional<ValueRecord>> FindItself(const Hive* self, const KeyNode& key, std::u16string_view name) //
    asm("__real__ZNK6tolvar4Hive9FindValueERKNS_7KeyNodeESt17basic_string_viewIDsSt11char_traitsIDsEE");
Checked<std::optional<ValueRecord>> Find(const Hive* self, const KeyNode& key, std::u16string_view name) //
    asm("__wrap__ZNK6tolvar4Hive9FindValueERKNS_7KeyNodeESt17basic_string_viewIDsSt11char_traitsIDsEE");

Checked<std::optional<PlacedValue>> FindPlacedItself(const Hive* self, const KeyNode& key, std::u16string_view name) //
    asm("__real__ZNK6tolvar4Hive15FindPlacedValueERKNS_7KeyNodeESt17basic_string_viewIDsSt11char_traitsIDsEE");
Checked<std::optional<PlacedValue>> FindPlaced(const Hive* self, const KeyNode& key, std::u16string_view name) //
    asm("__wrap__ZNK6tolvar4Hive15FindPlacedValueERKNS_7KeyNodeESt17basic_string_viewIDsSt11char_traitsIDsEE");

Result<KeyRef> Resolve(const NameSpace* self, const KeyRef& start, std::string_view path, LastLink last)
{
    paths += path.empty() ? 0 : 1;
    return ResolveItself(self, start, path, last);
}

Result<KeyRef> ResolveFull(const NameSpace* self, std::string_view path, LastLink last)
{
    paths += path.find('\\') == std::string_view::npos ? 0 : 1; // a root alone costs nothing
    return ResolveFullItself(self, path, last);
}

Checked<std::optional<ValueRecord>> Find(const Hive* self, const KeyNode& key, std::u16string_view name)
{
    values += self == watched ? 1 : 0;
    return FindItself(self, key, name);
}

Checked<std::optional<PlacedValue>> FindPlaced(const Hive* self, const KeyNode& key, std::u16string_view name)
{
    values += self == watched ? 1 : 0;
    return FindPlacedItself(self, key, name);
}

} // namespace tolvar::lookups

namespace tolvar {
namespace {

TEST(JournalLookups, ASetValueIsLookedUpOnceInAKeyThatIsResolvedOnce)
{
    fixtures::PowerCutStore store;
    store.Put(fixtures::kJournalHive, EmptyHive(u"ROOT", 1));
    fixtures::JournalSession session(store);
    ASSERT_TRUE(session.Opened());
    CTolvarDoc& document = session.Document();
    const std::string key = std::string(fixtures::kJournalTop) + "\\k";
    ASSERT_TRUE(document.ApplyChange(ChangeRecord::NewKey(fixtures::kJournalTop, "k")));
    lookups::watched = &session.Reader();
    const std::string large(100'000, 'x');
    struct Case {
        const char* what;
        ChangeRecord change;
    };
    for (const Case& c : {
             Case{"new", ChangeRecord::NewValue(key, "v", REG_SZ, "text")},
             Case{"there already", ChangeRecord::NewValue(key, "V", REG_SZ, "other")},
             Case{"larger than its cell", ChangeRecord::NewValue(key, "v", REG_SZ, large)},
             Case{"edited", ChangeRecord::EditValue(key, "v", REG_DWORD, "0000002a")},
             Case{"without a name", ChangeRecord::NewValue(key, "", REG_SZ, "text")},
         }) {
        SCOPED_TRACE(c.what);
        lookups::paths = 0;
        lookups::values = 0;
        ASSERT_TRUE(document.ApplyChange(c.change));
        EXPECT_EQ(lookups::paths, 1U);
        EXPECT_EQ(lookups::values, 1U);
    }
}

} // namespace
} // namespace tolvar
