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

constexpr int kHelpName = 61494;
constexpr int kBookmarksText = 62020;
constexpr int kResultsText = 62021;
constexpr int kNoTopicsText = 62023;
constexpr int kHelpText = 62024;
constexpr int kSearchText = 62025;
constexpr int kEscapeText = 62029;
constexpr int kTopicsTopic = 196;
constexpr int kSearchTopic = 198;
constexpr int kBookmarksTopic = 202;
constexpr int kListTopic = 229;

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

template <int text, int topic, EmptyTabPage::TabKey tabKey>
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
    const QString name = context.window.language.String(kSearchText);
    return *new EmptyForm(kSearchTopic, name, name + u'\n' + context.window.language.String(kEscapeText), parent);
}

Pane& MakeBrowser(const PaneContext& context, QWidget* parent)
{
    const ResourceLibrary& language = context.window.language;
    return *new EmptyPage(kListTopic, language.String(kHelpName), language.String(kHelpText), parent);
}

constexpr auto kToFirstTab = EmptyTabPage::TabKey::kToFirstTab;
constexpr auto kToNextOutput = EmptyTabPage::TabKey::kToNextOutput;

constexpr TabPage kLeftPages[] = {
    {61491, 121, 1000, MakeKeyTree},
    {61494, 184, 1011, MakeEmptyTab<kNoTopicsText, kTopicsTopic, kToFirstTab>},
};

constexpr TabPage kOutputPages[] = {
    {61572, 179, 1010, MakeEmptyTab<kBookmarksText, kBookmarksTopic, kToNextOutput>},
    {61573, 106, 1116, MakeEmptyTab<kResultsText, kSearchTopic, kToNextOutput>},
    {61574, 178, 172, MakeJournalList},
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
