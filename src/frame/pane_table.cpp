#include "frame/pane_table.h"

#include <algorithm>

#include "forms/binary_form.h"
#include "forms/dword_form.h"
#include "forms/string_form.h"
#include "journal/tolvar_doc.h"
#include "journal/ui/journal_list.h"
#include "keytree/key_tree.h"
#include "panes/empty_page.h"
#include "valuelist/value_list.h"

namespace tolvar {

namespace {

Pane& MakeKeyTree(const PaneContext& context, const TabPage& /*page*/, QWidget* parent)
{
    const auto apply = [&document = context.document](const ChangeRecord& change) {
        return document.ApplyChange(change);
    };
    return *new CKeyTree(context.window, apply, parent);
}

Pane& MakeJournalList(const PaneContext& context, const TabPage& /*page*/, QWidget* parent)
{
    return *new CJournalList(context.window, context.document, parent);
}

template <TextId text, TopicId topic, EmptyTabPage::TabKey tabKey>
Pane& MakeEmptyTab(const PaneContext& context, const TabPage& page, QWidget* parent)
{
    const ResourceLibrary& language = context.window.language;
    return *new EmptyTabPage(topic, language.String(page.title), language.String(text), tabKey, parent);
}

template <class Form>
Pane& MakeForm(const PaneContext& context, QWidget* parent)
{
    return *new Form(context.window, parent);
}

Pane& MakeSearchForm(const PaneContext& context, QWidget* parent)
{
    const QString name = context.window.language.String(TextId::kSearch);
    return *new EmptyForm(TopicId::kSearch, name, name + u'\n' + context.window.language.String(TextId::kEscapeHint),
                          parent);
}

Pane& MakeBrowser(const PaneContext& context, QWidget* parent)
{
    const ResourceLibrary& language = context.window.language;
    return *new EmptyPage(TopicId::kValueList, language.String(TextId::kHelp), language.String(TextId::kHelpPage),
                          parent);
}

constexpr auto kToFirstTab = EmptyTabPage::TabKey::kToFirstTab;
constexpr auto kToNextOutput = EmptyTabPage::TabKey::kToNextOutput;

constexpr TabPage kLeftPages[] = {
    {TextId::kComputer, IconId::kKeyTree, 1000, MakeKeyTree},
    {TextId::kHelp, IconId::kHelp, 1011, MakeEmptyTab<TextId::kNoTopics, TopicId::kTopics, kToFirstTab>},
};

constexpr TabPage kOutputPages[] = {
    {TextId::kBookmarks, IconId::kBookmarks, 1010,
     MakeEmptyTab<TextId::kNoBookmarks, TopicId::kBookmarks, kToNextOutput>},
    {TextId::kSearchResults, IconId::kSearchResults, 1116,
     MakeEmptyTab<TextId::kNoSearchResults, TopicId::kSearch, kToNextOutput>},
    {TextId::kJournal, IconId::kJournal, 172, MakeJournalList},
};

constexpr RightPage kRightPages[] = {
    {PageId::kStringForm, RightPage::Life::kOneUse, MakeForm<CStringForm>},
    {PageId::kDwordForm, RightPage::Life::kOneUse, MakeForm<CDwordForm>},
    {PageId::kBinaryForm, RightPage::Life::kOneUse, MakeForm<CBinaryForm>},
    {PageId::kBrowser, RightPage::Life::kStays, MakeBrowser},
    {PageId::kSearchForm, RightPage::Life::kOneUse, MakeSearchForm},
};

} // namespace

std::span<const TabPage> LeftPages()
{
    return kLeftPages;
}

std::span<const TabPage> OutputPages()
{
    return kOutputPages;
}

Pane& MakeValueList(const PaneContext& context, QWidget* parent)
{
    return *new CValueList(context.window, parent);
}

const RightPage* FindRightPage(PageId id)
{
    const auto* const page = std::ranges::find(kRightPages, id, &RightPage::id);
    return page != std::end(kRightPages) ? page : nullptr;
}

} // namespace tolvar
